// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The answer of READ FORMAT CAPACITIES (MMC): a header with the length of the list, the current
// capacity with its descriptor type, then the formattable capacities. All descriptors have eight
// bytes and begin with a count of blocks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace larkspin {

constexpr size_t kListHeaderBytes = 4;
constexpr size_t kListLength = 3;
constexpr size_t kCurrentBlocks = 4;
constexpr size_t kCurrentType = 8; // low two bits
constexpr size_t kBlockLength = 9; // three bytes

enum CurrentCapacityType : uint8_t { kUnformatted = 1, kFormatted = 2 };

// The format types that matter here; FORMAT UNIT uses the same numbers.
enum FormatType : uint8_t {
    kFormatTypeFull = 0x00,
    kFormatTypeQuickGrow = 0x13,
    kFormatTypePlusRw = 0x26,
};

inline uint8_t CurrentCapacityTypeOf(std::span<const uint8_t> formats) {
    return formats[kCurrentType] & 3;
}

// The first formattable capacity of this type; null if the list has none.
inline const uint8_t* FindFormat(std::span<const uint8_t> formats, FormatType type) {
    for (size_t offset = 8; offset < formats[kListLength]; offset += 8) {
        const uint8_t* const descriptor = &formats[offset + kListHeaderBytes];
        if (descriptor[4] >> 2 == type) {
            return descriptor;
        }
    }
    return nullptr;
}

} // namespace larkspin
