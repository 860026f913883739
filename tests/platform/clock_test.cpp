#include "platform/clock.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

namespace larkspin {
namespace {

// The process's time zone for the length of a test. The rules are written out, so that no zone
// files are needed.
class TimeZone {
  public:
    explicit TimeZone(const char* rules) {
        const char* before = std::getenv("TZ");
        m_bHadOne = before != nullptr;
        m_strBefore = m_bHadOne ? before : "";
        Set(rules);
    }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;
    ~TimeZone() {
        if (m_bHadOne) {
            Set(m_strBefore.c_str());
        } else {
            ::unsetenv("TZ");
            ::tzset();
        }
    }

  private:
    static void Set(const char* rules) {
        ::setenv("TZ", rules, 1);
        ::tzset();
    }

    bool m_bHadOne = false;
    std::string m_strBefore;
};

constexpr const char* kCentralEurope = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr int64_t kSpring2008 = 1'206'838'800; // 2008-03-30 01:00:00 UTC, clocks go on
constexpr int64_t kAutumn2008 = 1'224'982'800; // 2008-10-26 01:00:00 UTC, clocks go back

TEST(Clock, OffsetFollowsDaylightSaving) {
    {
        const TimeZone zone(kCentralEurope);
        EXPECT_EQ(UtcOffsetSeconds(kSpring2008 - 1), 3600);
        EXPECT_EQ(UtcOffsetSeconds(kSpring2008), 7200);
        EXPECT_EQ(UtcOffsetSeconds(kAutumn2008 - 1), 7200);
        EXPECT_EQ(UtcOffsetSeconds(kAutumn2008), 3600);
        EXPECT_EQ(LocalTime(kSpring2008 - 1).tm_hour, 1);
        EXPECT_EQ(LocalTime(kSpring2008).tm_hour, 3);
    }
    const TimeZone zone("NST3:30");
    EXPECT_EQ(UtcOffsetSeconds(kSpring2008), -12600) << "west, by no whole hours";
}

TEST(Clock, DatesAreLocalOnesWithAnEnglishMonthInTheCLocale) {
    // The user's locale is looked up at the first date that is asked for: this one.
    ASSERT_EQ(::setenv("LC_ALL", "C", 1), 0);
    const TimeZone zone(kCentralEurope);
    constexpr int64_t july = 1'215'208'800; // 2008-07-04 22:00:00 UTC, after midnight there
    EXPECT_EQ(FormatDayMonthYear(july), u"05 Jul 2008");
    EXPECT_EQ(FormatDayMonthYear(july - 1), u"04 Jul 2008");
    EXPECT_EQ(FormatDayMonthYear(-1), u"01 Jan 1970");
    EXPECT_EQ(FormatShortDateTime(july), u"07/05/08 00:00");
}

TEST(Clock, TicksNeverGoBack) {
    IClock& clock = SystemClock();
    const uint64_t before = clock.TickMs();
    clock.Sleep(std::chrono::milliseconds(5));
    EXPECT_GE(clock.TickMs(), before + 5 - 1);
    EXPECT_LE(std::abs(clock.Now() - static_cast<int64_t>(std::time(nullptr))), 1);
}

} // namespace
} // namespace larkspin
