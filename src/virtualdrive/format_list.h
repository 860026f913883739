// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The parameter list of FORMAT UNIT.
#pragma once

#include "platform/byte_order.h"

#include <cstdint>
#include <span>

namespace larkspin {

// The format type known to all but DVD+RW, and a number of blocks that means all of them (MMC,
// "FORMAT UNIT command").
constexpr uint8_t kFormatFull = 0x00;
constexpr uint32_t kAllBlocks = 0xFFFFFFFF;

// A descriptor of FORMAT UNIT's parameter list.
struct FormatDescriptor {
    uint32_t blocks = 0;
    uint8_t type = 0;
    uint8_t subType = 0;
    uint32_t parameter = 0; // 24 bits
};

// The list is a header of 4 bytes and a descriptor of 8.
inline FormatDescriptor ParseFormatList(std::span<const uint8_t> parameterList) {
    FormatDescriptor descriptor;
    descriptor.blocks = LoadBe32(&parameterList[4]);
    descriptor.type = parameterList[8] >> 2;
    descriptor.subType = parameterList[8] & 3;
    descriptor.parameter = LoadBe32(&parameterList[8]) & 0xFFFFFF;
    return descriptor;
}

} // namespace larkspin
