// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Arithmetic for 2048-byte sectors.
#pragma once

#include <cstdint>

namespace larkspin {

inline constexpr uint32_t kSectorBytes = 2048;

// Addresses have 32 bits, and the jobs use signed sector counts; no disc is that large.
inline constexpr uint32_t kMostSectors = INT32_MAX;

// The number of sectors for `bytes` bytes.
constexpr uint32_t SectorsOf(uint64_t bytes) {
    return static_cast<uint32_t>((bytes + kSectorBytes - 1) / kSectorBytes);
}

// `bytes` rounded up to whole sectors.
constexpr uint32_t RoundToSectors(uint32_t bytes) {
    return SectorsOf(bytes) * kSectorBytes;
}

// Where an item of `length` bytes (at most 2047) goes when `offset` is the next free byte. ECMA-119
// 6.8.1.1 does not allow a directory record to cross a sector; here none ends on a sector's last
// byte either. Directories and continuation areas follow this rule both when they are sized and
// when they are built, so the two always agree.
constexpr uint32_t PlaceInSector(uint32_t offset, uint32_t length) {
    return offset % kSectorBytes + length > kSectorBytes - 1 ? RoundToSectors(offset) : offset;
}

constexpr uint32_t RoundToEven(uint32_t value) {
    return value + (value & 1);
}

} // namespace larkspin
