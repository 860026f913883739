// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "jobs/volume_title.h"
#include "platform/clock.h"

#include <algorithm>
#include <array>
#include <locale.h>

namespace larkspin {

namespace {

constexpr size_t kLongestTitle = 127;

bool IsSmall(char16_t unit) {
    return unit >= u'a' && unit <= u'z';
}
bool IsCapital(char16_t unit) {
    return unit >= u'A' && unit <= u'Z';
}
bool IsDigit(char16_t unit) {
    return unit >= u'0' && unit <= u'9';
}

// One byte for each unit of the title.
char NarrowUnit(char16_t unit) {
    if (IsSmall(unit)) {
        return static_cast<char>(unit - u'a' + u'A');
    }
    return IsCapital(unit) || IsDigit(unit) ? static_cast<char>(unit) : '_';
}

// The month's name is English regardless of the user's locale: the field takes no other letters.
std::string NarrowDate(int64_t moment) {
    static const locale_t english = ::newlocale(LC_ALL_MASK, "C", nullptr);
    const std::tm local = LocalTime(moment);
    std::array<char, 16> text = {};
    const size_t length = ::strftime_l(text.data(), text.size(), "%d %b %Y", &local, english);
    std::string date(text.data(), length);
    for (char& c : date) {
        c = NarrowUnit(static_cast<unsigned char>(c));
    }
    return date;
}

} // namespace

VolumeTitle MakeVolumeTitle(const std::u16string& title, int64_t moment) {
    VolumeTitle names;
    names.wide = FormatDayMonthYear(moment);
    bool hasLetter = false;
    if (title != names.wide) {
        names.wide = title.substr(0, kLongestTitle);
        for (const char16_t unit : names.wide) {
            names.narrow += NarrowUnit(unit);
        }
        hasLetter = std::any_of(names.wide.begin(), names.wide.end(),
                                [](char16_t unit) { return IsSmall(unit) || IsCapital(unit); });
    }
    if (!hasLetter) {
        names.narrow = NarrowDate(moment);
    }
    return names;
}

} // namespace larkspin
