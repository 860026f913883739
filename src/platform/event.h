// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Waitable events. CSyncObject is the base of everything that can be waited for; CEvent is the only
// kind that the program needs. All functions may be called on any thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace larkspin {

class CSyncObject {
  public:
    static constexpr std::chrono::milliseconds kForever = std::chrono::milliseconds::max();

    virtual ~CSyncObject() = default;

    // Waits until the object is signalled; false if `timeout` expires first.
    virtual bool Lock(std::chrono::milliseconds timeout) = 0;
    virtual bool Unlock() = 0;
};

class CEvent final : public CSyncObject {
  public:
    enum class Reset { Manual, Auto };

    // Initially not signalled. An auto-reset event releases one waiter for each signal.
    explicit CEvent(Reset reset) : m_reset(reset) {}

    bool Lock(std::chrono::milliseconds timeout = kForever) override;
    bool Unlock() override { return true; }

    void Set();
    bool IsSet();

  private:
    const Reset m_reset;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_bSet = false;
};

} // namespace larkspin
