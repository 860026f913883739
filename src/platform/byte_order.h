// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Numbers at the start of raw bytes, in the byte order that a standard requires. Each function
// takes the bytes where the number begins and needs 2 or 4 of them (8 for the both-endian form).
#pragma once

#include <cstdint>

namespace larkspin {

constexpr uint16_t LoadBe16(const uint8_t* bytes) {
    return static_cast<uint16_t>(bytes[0] << 8 | bytes[1]);
}

constexpr uint32_t LoadBe32(const uint8_t* bytes) {
    return static_cast<uint32_t>(LoadBe16(bytes)) << 16 | LoadBe16(bytes + 2);
}

constexpr uint16_t LoadLe16(const uint8_t* bytes) {
    return static_cast<uint16_t>(bytes[1] << 8 | bytes[0]);
}

constexpr uint32_t LoadLe32(const uint8_t* bytes) {
    return static_cast<uint32_t>(bytes[3]) << 24 | static_cast<uint32_t>(bytes[2]) << 16 |
           static_cast<uint32_t>(bytes[1]) << 8 | bytes[0];
}

constexpr void StoreBe16(uint8_t* bytes, uint16_t value) {
    bytes[0] = static_cast<uint8_t>(value >> 8);
    bytes[1] = static_cast<uint8_t>(value);
}

constexpr void StoreBe32(uint8_t* bytes, uint32_t value) {
    StoreBe16(bytes, static_cast<uint16_t>(value >> 16));
    StoreBe16(bytes + 2, static_cast<uint16_t>(value));
}

constexpr void StoreLe32(uint8_t* bytes, uint32_t value) {
    bytes[0] = static_cast<uint8_t>(value);
    bytes[1] = static_cast<uint8_t>(value >> 8);
    bytes[2] = static_cast<uint8_t>(value >> 16);
    bytes[3] = static_cast<uint8_t>(value >> 24);
}

// Both byte orders, little-endian first (ECMA-119 7.3.3): eight bytes.
constexpr void StoreBoth32(uint8_t* bytes, uint32_t value) {
    StoreLe32(bytes, value);
    StoreBe32(bytes + 4, value);
}

} // namespace larkspin
