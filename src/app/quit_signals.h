// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Treats the signals that end a program as a request to exit: a running job is first ended in good
// order.
#pragma once

#include <QSocketNotifier>

#include <functional>
#include <memory>
#include <vector>

namespace larkspin {

// All signals that by default end the process (signal(7)), except those that can't be handled,
// those that report a fault in the process itself, and SIGPIPE.
std::vector<int> QuitSignals();

class CQuitSignals {
  public:
    // `onQuit` is called from the main thread's loop for each signal. Only one object at a time.
    explicit CQuitSignals(std::function<void()> onQuit);
    CQuitSignals(const CQuitSignals&) = delete;
    CQuitSignals& operator=(const CQuitSignals&) = delete;
    // Restores the signals' usual effect.
    ~CQuitSignals();

  private:
    std::unique_ptr<QSocketNotifier> m_pNotifier;
};

} // namespace larkspin
