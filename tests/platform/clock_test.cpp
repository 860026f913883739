// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "platform/clock.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace larkspin {
namespace {

// The process's time zone from here on. The rules are written out, so that no zone files are
// needed.
void SetTimeZone(const char* rules) {
    ASSERT_EQ(::setenv("TZ", rules, 1), 0);
    ::tzset();
}

constexpr const char* kCentralEurope = "CET-1CEST,M3.5.0,M10.5.0/3";

TEST(Clock, OffsetFollowsDaylightSaving) {
    constexpr int64_t kSpring = 1'206'838'800; // 2008-03-30 01:00:00 UTC, clocks go on
    constexpr int64_t kAutumn = 1'224'982'800; // 2008-10-26 01:00:00 UTC, clocks go back
    const auto expect = [](const char* rules, int64_t moment, int32_t offset, int hour) {
        SetTimeZone(rules);
        EXPECT_EQ(UtcOffsetSeconds(moment), offset) << rules << " " << moment;
        EXPECT_EQ(LocalTime(moment).tm_hour, hour) << rules << " " << moment;
    };
    expect(kCentralEurope, kSpring - 1, 3600, 1);
    expect(kCentralEurope, kSpring, 7200, 3);
    expect(kCentralEurope, kAutumn - 1, 7200, 2);
    expect(kCentralEurope, kAutumn, 3600, 2);
    expect("NST3:30", kSpring, -12600, 21); // west, by no whole hours
}

TEST(Clock, DatesAreLocalOnesWithAnEnglishMonthInTheCLocale) {
    // The user's locale is looked up at the first date that is asked for: this one.
    ASSERT_EQ(::setenv("LC_ALL", "C", 1), 0);
    SetTimeZone(kCentralEurope);
    constexpr int64_t july = 1'215'208'800; // 2008-07-04 22:00:00 UTC, after midnight there
    EXPECT_EQ(FormatDayMonthYear(july), u"05 Jul 2008");
    EXPECT_EQ(FormatDayMonthYear(july - 1), u"04 Jul 2008");
    EXPECT_EQ(FormatDayMonthYear(-1), u"01 Jan 1970");
    EXPECT_EQ(FormatShortDateTime(july), u"07/05/08 00:00");
}

TEST(Clock, TicksAreMillisecondsThatNeverGoBack) {
    IClock& clock = SystemClock();
    const auto start = std::chrono::steady_clock::now();
    const uint64_t before = clock.TickMs();
    clock.Sleep(std::chrono::milliseconds(5));
    const std::chrono::milliseconds ticks(clock.TickMs() - before);
    EXPECT_GE(ticks.count(), 5 - 1);
    EXPECT_LE(ticks, std::chrono::steady_clock::now() - start + std::chrono::milliseconds(1));
    EXPECT_LE(std::abs(clock.Now() - static_cast<int64_t>(std::time(nullptr))), 1);
}

} // namespace
} // namespace larkspin
