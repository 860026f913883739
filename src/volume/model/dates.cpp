// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/model/dates.h"

#include "platform/clock.h"
#include "platform/text.h"

#include <algorithm>

namespace larkspin {

namespace {

constexpr int32_t kQuarterHour = 15 * 60;
// A day inside the ends of the field's range, so that every zone stays within it.
constexpr int64_t kEarliest = -2'208'988'800 + 86'400; // 2 January 1900
constexpr int64_t kLatest = 5'869'583'999 - 86'400;    // 30 December 2155
// The same for a year of four digits.
constexpr int64_t kFirstOfDigits = -62'135'596'800 + 86'400; // 2 January of the year 1
constexpr int64_t kLastOfDigits = 253'402'300'799 - 86'400;  // 30 December 9999

// A moment in a zone of the field.
struct ZonedTime {
    std::tm local = {};
    uint8_t zone = 0; // a signed number of quarter hours
};

// ECMA-119 8.4.26.1 has zones in quarter hours from 12 hours behind UTC to 13 ahead. For any other
// zone, historic ones between the steps included, the nearest one towards UTC is used.
ZonedTime InZone(int64_t moment) {
    constexpr int32_t kWest = -48;
    constexpr int32_t kEast = 52;
    const int32_t zone = std::clamp(UtcOffsetSeconds(moment) / kQuarterHour, kWest, kEast);
    const std::time_t shifted = moment + int64_t{zone} * kQuarterHour;
    ZonedTime result;
    ::gmtime_r(&shifted, &result.local);
    result.zone = static_cast<uint8_t>(zone);
    return result;
}

} // namespace

RecordDate MakeRecordDate(int64_t moment) {
    const auto [local, zone] = InZone(std::clamp(moment, kEarliest, kLatest));
    return {static_cast<uint8_t>(local.tm_year),
            static_cast<uint8_t>(local.tm_mon + 1),
            static_cast<uint8_t>(local.tm_mday),
            static_cast<uint8_t>(local.tm_hour),
            static_cast<uint8_t>(local.tm_min),
            static_cast<uint8_t>(local.tm_sec),
            zone};
}

std::string DescriptorDate(int64_t moment) {
    const auto [local, zone] = InZone(std::clamp(moment, kFirstOfDigits, kLastOfDigits));
    std::string date =
        Format("%4.4d%2.2d%2.2d%2.2d%2.2d%2.2d00", local.tm_year + 1900, local.tm_mon + 1,
               local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    date += static_cast<char>(zone);
    return date;
}

const RecordDate& RecordDateCache::Get(int64_t moment) {
    Slot& slot = m_slots[static_cast<uint64_t>(moment) % m_slots.size()];
    if (slot.moment != moment) {
        slot.date = MakeRecordDate(moment);
        slot.moment = moment;
    }
    return slot.date;
}

} // namespace larkspin
