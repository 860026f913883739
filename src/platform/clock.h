// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Time and dates, behind an interface so that runs can be reproduced byte for byte.
//
// All functions may be called on any thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>
#include <string>

namespace larkspin {

class IClock {
  public:
    virtual ~IClock() = default;

    // Seconds since 1970, UTC.
    virtual int64_t Now() = 0;
    // Milliseconds of a clock that never goes back; its zero is arbitrary.
    virtual uint64_t TickMs() = 0;
    virtual void Sleep(std::chrono::milliseconds time) = 0;
};

IClock& SystemClock();

// A moment (seconds since 1970, UTC) in the process's time zone.
std::tm LocalTime(int64_t moment);

// Local time minus UTC at that moment, in seconds, including daylight saving.
int32_t UtcOffsetSeconds(int64_t moment);

// "dd MMM yyyy" with the short month name of the user's locale, such as "05 Jul 2008".
std::u16string FormatDayMonthYear(int64_t moment);

// Short date and time without seconds in the user's locale, separated by a blank.
std::u16string FormatShortDateTime(int64_t moment);

} // namespace larkspin
