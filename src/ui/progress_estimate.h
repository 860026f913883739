// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Estimates a job's speed and remaining time by watching its bar. Single-threaded.
#pragma once

#include <cstdint>
#include <deque>
#include <string>

namespace larkspin {

// The speed is that of the bar's last steps: a drive gets faster towards the outside, and the first
// blocks only go into buffers. A bar that stands still reduces it.
class CProgressEstimate {
  public:
    // Another part of the work begins.
    void Start() { m_steps.clear(); }
    // The current bar, 0 to 100. If it goes back, another part begins.
    void Look(int percent, uint64_t tickMs);
    // "Time left: 1:05, speed: 5.16 Mb/s"; `bytes` is what the whole bar stands for, 0 for work
    // without a speed. Empty until there is a sensible estimate.
    std::u16string Text(uint64_t bytes, uint64_t tickMs) const;

  private:
    struct Step {
        int nPercent;
        uint64_t nTickMs;
    };
    std::deque<Step> m_steps; // the last few moments at which the bar had moved
};

} // namespace larkspin
