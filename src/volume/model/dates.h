// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Dates of a volume: local time with the zone in effect at that moment, daylight saving included,
// so two dates of one volume can differ in their zone. A zone that the fields can't hold is
// replaced by the nearest one towards UTC that they can; the moment stays the same.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace larkspin {

// ECMA-119 9.1.5: years since 1900, month, day, hour, minute, second, zone in quarter hours.
using RecordDate = std::array<uint8_t, 7>;

// `moment` is in seconds since 1970, UTC. The field can't hold years before 1900 or after 2155; for
// such a moment it gets the first or the last second that it can hold.
RecordDate MakeRecordDate(int64_t moment);

// ECMA-119 8.4.26.1: sixteen digits, hundredths 00, and the zone byte; 17 bytes in all. Years are 1
// to 9999, limited in the same way.
std::string DescriptorDate(int64_t moment);

// Caches recent conversions: the files of a folder often share their times.
class RecordDateCache {
  public:
    const RecordDate& Get(int64_t moment);

  private:
    struct Slot {
        std::optional<int64_t> moment;
        RecordDate date = {};
    };
    std::array<Slot, 256> m_slots;
};

} // namespace larkspin
