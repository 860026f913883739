// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// How fast a job is and how long it will take, from looks at its bar. One thread.
#pragma once

#include <cstdint>
#include <deque>
#include <string>

namespace larkspin {

// The pace is that of the last steps of the bar: a drive gets faster on its way outwards, and the
// first blocks go into buffers alone. A bar that stands still slows it down.
class CProgressEstimate {
  public:
    // Another part of the work begins.
    void Start() { m_steps.clear(); }
    // The bar as it is now, 0 to 100. One that goes back begins another part.
    void Look(int percent, uint64_t tickMs);
    // "Time left: 1:05, speed: 5.16 Mb/s"; `bytes` are what the whole bar stands for, 0 for what
    // has no speed. Empty as long as nothing sane can be said.
    std::u16string Text(uint64_t bytes, uint64_t tickMs) const;

  private:
    struct Step {
        int nPercent;
        uint64_t nTickMs;
    };
    std::deque<Step> m_steps; // each moment at which the bar had moved, up to a number of them
};

} // namespace larkspin
