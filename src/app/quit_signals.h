// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The signals that end a program as the wish to leave: a job that runs is ended in good order
// first.
#pragma once

#include <QSocketNotifier>

#include <functional>
#include <memory>
#include <vector>

namespace larkspin {

// All signals that end a process which does not handle them (signal(7)), but those that nobody can
// handle, that tell of a fault in the process itself, and SIGPIPE.
std::vector<int> QuitSignals();

class CQuitSignals {
  public:
    // `onQuit` is called on the main thread's loop for each signal. One object at a time.
    explicit CQuitSignals(std::function<void()> onQuit);
    CQuitSignals(const CQuitSignals&) = delete;
    CQuitSignals& operator=(const CQuitSignals&) = delete;
    // The signals have their usual effect again.
    ~CQuitSignals();

  private:
    std::unique_ptr<QSocketNotifier> m_pNotifier;
};

} // namespace larkspin
