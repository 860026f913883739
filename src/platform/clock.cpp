// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "platform/clock.h"
#include "platform/text.h"

#include <array>
#include <clocale>
#include <locale.h>
#include <thread>

namespace larkspin {

namespace {

class RealClock final : public IClock {
  public:
    int64_t Now() override { return std::time(nullptr); }
    uint64_t TickMs() override {
        const auto since = std::chrono::steady_clock::now().time_since_epoch();
        return static_cast<uint64_t>(
            std::chrono::duration_cast<std::chrono::milliseconds>(since).count());
    }
    void Sleep(std::chrono::milliseconds time) override { std::this_thread::sleep_for(time); }
};

// The user's locale, only for dates; otherwise the process uses the C locale.
locale_t UserTimeLocale() {
    static const locale_t locale = [] {
        const locale_t user = ::newlocale(LC_TIME_MASK | LC_CTYPE_MASK, "", nullptr);
        return user != nullptr ? user : ::newlocale(LC_ALL_MASK, "C", nullptr);
    }();
    return locale;
}

std::u16string FormatLocal(const char* picture, int64_t moment) {
    const std::tm local = LocalTime(moment);
    std::array<char, 128> text = {};
    ::strftime_l(text.data(), text.size(), picture, &local, UserTimeLocale());
    return ToWide(text.data());
}

} // namespace

IClock& SystemClock() {
    static RealClock clock;
    return clock;
}

std::tm LocalTime(int64_t moment) {
    const std::time_t seconds = moment;
    std::tm local = {};
    ::localtime_r(&seconds, &local);
    return local;
}

int32_t UtcOffsetSeconds(int64_t moment) {
    return static_cast<int32_t>(LocalTime(moment).tm_gmtoff);
}

std::u16string FormatDayMonthYear(int64_t moment) {
    return FormatLocal("%d %b %Y", moment);
}

std::u16string FormatShortDateTime(int64_t moment) {
    // %x is the locale's date; %H:%M is a time without seconds that is readable in every locale.
    return FormatLocal("%x %H:%M", moment);
}

} // namespace larkspin
