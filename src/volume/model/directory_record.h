// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The directory record of ECMA-119 9.1, without its System Use field.
#pragma once

#include "volume/model/dates.h"
#include "volume/model/sectors.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace larkspin {

struct DirectoryRecord {
    static constexpr uint32_t kHeadBytes = 33; // everything before the name
    static constexpr uint32_t kLongest = 255;
    static constexpr uint8_t kFlagHidden = 0x01;
    static constexpr uint8_t kFlagDirectory = 0x02;
    static constexpr uint8_t kFlagAssociated = 0x04;
    static constexpr uint8_t kFlagMoreExtents = 0x80; // the file continues in the next record

    uint8_t length = 0; // of the whole record on disc, System Use data included
    uint8_t extended_length = 0;
    uint8_t flags = 0;
    uint8_t unit_size = 0;
    uint8_t gap = 0;
    uint16_t volume_sequence = 1;
    RecordDate date = {};
    uint32_t extent = 0; // absolute sector; 0 until assigned
    uint32_t size = 0;   // bytes
    std::string name;    // as on disc: a single byte 0 for ".", 1 for ".."

    bool IsDirectory() const { return (flags & kFlagDirectory) != 0; }
    bool IsDot() const { return name.size() == 1 && name[0] == '\0'; }
    bool IsDotDot() const { return name.size() == 1 && name[0] == '\1'; }
    bool IsDots() const { return IsDot() || IsDotDot(); }

    // Bytes of head and name, padded to an even number: the offset of System Use data.
    static constexpr uint32_t PlainLength(uint32_t nameBytes) {
        return RoundToEven(kHeadBytes + nameBytes);
    }

    // The record that fills `bytes`, which are not empty; nothing if it is too short for its own
    // name. Numbers are taken from their little-endian halves, as some writers omit the others.
    static std::optional<DirectoryRecord> Read(std::span<const uint8_t> bytes);

    // Writes head and name at the start of `bytes`, which holds at least PlainLength bytes.
    void Write(std::span<uint8_t> bytes) const;
};

} // namespace larkspin
