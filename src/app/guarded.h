// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// An application object whose event loop survives exceptions from handlers.
#pragma once

#include <cstdio>
#include <exception>

class QEvent;
class QObject;

namespace larkspin {

// `Application` is one of the toolkit's classes. An exception, which can only be std::bad_alloc,
// ends just the handler and is reported on standard error; the toolkit itself would end the
// process, and with it a disc that is being written.
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
