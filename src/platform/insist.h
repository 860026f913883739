// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// For what must be done even if there is no memory for it right now: unlocking a door, reporting a
// failure, ending the program.
#pragma once

#include <chrono>
#include <exception>
#include <new>
#include <thread>

namespace larkspin {

// Calls `work` every 100 ms for up to five seconds until it finds the memory that it needs. False
// if it never did, or failed for another reason. For any thread that may sleep.
template <typename Work>
bool Insist(const Work& work) noexcept {
    constexpr int kTries = 50;
    constexpr std::chrono::milliseconds kPause{100};
    for (int tries = 0; tries < kTries; ++tries) {
        try {
            work();
            return true;
        } catch (const std::bad_alloc&) {
            std::this_thread::sleep_for(kPause);
        } catch (const std::exception&) {
            return false;
        }
    }
    return false;
}

} // namespace larkspin
