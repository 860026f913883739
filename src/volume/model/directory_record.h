// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The directory record of ECMA-119 9.1, less its System Use field.
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
    static constexpr uint8_t kFlagMoreExtents = 0x80; // the file goes on in the next record

    uint8_t length = 0; // of the whole record on disc, System Use data included
    uint8_t extended_length = 0;
    uint8_t flags = 0;
    uint8_t unit_size = 0;
    uint8_t gap = 0;
    uint16_t volume_sequence = 1;
    RecordDate date = {};
    uint32_t extent = 0; // absolute sector; 0 while it has none
    uint32_t size = 0;   // bytes
    std::string name;    // as on disc: one byte 0 for ".", one byte 1 for ".."

    bool IsDirectory() const { return (flags & kFlagDirectory) != 0; }
    bool IsDot() const { return name.size() == 1 && name[0] == '\0'; }
    bool IsDotDot() const { return name.size() == 1 && name[0] == '\1'; }
    bool IsDots() const { return IsDot() || IsDotDot(); }

    // Bytes of head and name, padded to an even number: where System Use data begins.
    static constexpr uint32_t PlainLength(uint32_t nameBytes) {
        return RoundToEven(kHeadBytes + nameBytes);
    }

    // The record that fills `bytes`, of which there is at least one; nothing if it can't hold its
    // own name. Numbers come from their little-endian halves, as some writers leave the others out.
    static std::optional<DirectoryRecord> Read(std::span<const uint8_t> bytes);

    // Writes head and name at the start of `bytes`, which holds at least PlainLength bytes.
    void Write(std::span<uint8_t> bytes) const;
};

} // namespace larkspin
