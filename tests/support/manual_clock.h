// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A clock for tests: it stands still but for the sleeps, which take no time.
//
// May be used on any thread.
#pragma once

#include "platform/clock.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

namespace larkspin {

class ManualClock final : public IClock {
  public:
    int64_t Now() override { return kStart + static_cast<int64_t>(m_ticks.load() / 1000); }
    uint64_t TickMs() override { return m_ticks.load(); }

    void Sleep(std::chrono::milliseconds time) override {
        m_ticks += static_cast<uint64_t>(time.count());
        std::function<void()> onSleep;
        {
            const std::lock_guard lock(m_mutex);
            m_sleeps.push_back(time.count());
            onSleep = m_onSleep;
        }
        if (onSleep) {
            onSleep();
        }
    }

    void Advance(uint64_t milliseconds) { m_ticks += milliseconds; }

    // Called at the end of each sleep, on the sleeping thread.
    void SetOnSleep(std::function<void()> onSleep) {
        const std::lock_guard lock(m_mutex);
        m_onSleep = std::move(onSleep);
    }

    // Every sleep so far, in milliseconds.
    std::vector<int64_t> Sleeps() {
        const std::lock_guard lock(m_mutex);
        return m_sleeps;
    }

    int64_t TotalSleep() {
        int64_t total = 0;
        for (const int64_t sleep : Sleeps()) {
            total += sleep;
        }
        return total;
    }

  private:
    static constexpr int64_t kStart = 1'215'259'200; // 2008-07-05 12:00 UTC

    std::atomic<uint64_t> m_ticks{1000};
    std::mutex m_mutex;
    std::vector<int64_t> m_sleeps;
    std::function<void()> m_onSleep;
};

} // namespace larkspin
