// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Sense data in fixed format (SPC, "Fixed format sense data").
#pragma once

#include "drive/port.h"
#include "platform/byte_order.h"
#include "virtualdrive/sense_code.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>

namespace larkspin {

constexpr size_t kSenseBytes = 18;

// `progress` is that of an operation in progress, as a fraction of 65536.
inline std::array<uint8_t, kSenseBytes> SenseData(const SenseCode& code,
                                                  std::optional<uint16_t> progress) {
    std::array<uint8_t, kSenseBytes> bytes = {};
    bytes[0] = 0x70; // current error
    bytes[2] = code.key;
    bytes[7] = kSenseBytes - 8; // additional length
    bytes[12] = code.asc;
    bytes[13] = code.ascq;
    if (progress) {
        bytes[15] = 0x80; // the sense-key specific bytes are valid
        StoreBe16(&bytes[16], *progress);
    }
    return bytes;
}

// The completion of a command that ended with this sense; nothing was transferred.
inline PortCompletion SenseCompletion(const SenseCode& code, std::optional<uint16_t> progress) {
    constexpr uint8_t kCheckCondition = 2;
    PortCompletion completion;
    completion.status = kCheckCondition;
    std::ranges::copy(SenseData(code, progress), completion.sense.begin());
    return completion;
}

} // namespace larkspin
