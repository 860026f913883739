// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// An application object whose main thread outlives what a handler throws.
#pragma once

#include <cstdio>
#include <exception>

class QEvent;
class QObject;

namespace larkspin {

// `Application` is one of the toolkit's. What a handler throws, which is std::bad_alloc if
// anything, ends that handler, and standard error tells of it; the toolkit itself would end the
// process, and a disc that is being written with it.
template <typename Application>
class Guarded final : public Application {
  public:
    using Application::Application;

    bool notify(QObject* receiver, QEvent* event) override {
        try {
            return Application::notify(receiver, event);
        } catch (const std::exception& failure) {
            std::fprintf(stderr, "larkspin: %s\n", failure.what());
            return false;
        }
    }
};

} // namespace larkspin
