// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Reads sense data in fixed format (SPC, "Sense data").
#pragma once

#include "platform/byte_order.h"

#include <cstdint>
#include <optional>
#include <span>

namespace larkspin {

enum SenseKey : uint8_t {
    kKeyRecovered = 1,
    kKeyNotReady = 2,
    kKeyMediumError = 3,
    kKeyHardwareError = 4,
    kKeyIllegalRequest = 5,
    kKeyUnitAttention = 6,
    kKeyDataProtect = 7,
    kKeyBlankCheck = 8,
};

// The additional sense codes that matter here.
enum AdditionalSense : uint8_t {
    kAscNotReady = 0x04,
    kAscOutOfRange = 0x21,
    kAscInvalidFieldInCdb = 0x24,
    kAscMediumChanged = 0x28,
    kAscReset = 0x29,
    kAscIncompatibleMedium = 0x30,
    kAscMediumNotPresent = 0x3A,
    kAscPowerCalibration = 0x73,
};

// Qualifiers of kAscNotReady.
enum NotReadyQualifier : uint8_t {
    kAscqFormatInProgress = 0x04,
    kAscqOperationInProgress = 0x07,
    kAscqLongWrite = 0x08,
};

// Sense of this length includes the code and its qualifier.
constexpr uint8_t kShortSenseBytes = 14;
// Sense of this length also includes the progress indication.
constexpr uint8_t kLongSenseBytes = 18;

// A drive's report that blocks it had already accepted could not be recorded. It is sent once, with
// whatever command comes next (SPC, "Deferred errors").
constexpr bool IsRecordingError(uint8_t key) {
    return key == kKeyMediumError || key == kKeyHardwareError;
}

constexpr bool HasSense(std::span<const uint8_t> sense) {
    return (sense[0] & 0x70) != 0;
}

constexpr uint8_t SenseKeyOf(std::span<const uint8_t> sense) {
    return sense[2] & 0x0F;
}

// The command succeeded, but the drive had to try harder than usual.
constexpr bool IsRecovered(std::span<const uint8_t> sense) {
    return HasSense(sense) && SenseKeyOf(sense) == kKeyRecovered;
}

// The report belongs to a command that was answered long ago; the one that returned it was not run
// (SPC, "Deferred errors").
constexpr bool IsDeferred(std::span<const uint8_t> sense) {
    return (sense[0] & 0x7F) == 0x71;
}

// The progress of a running operation, as a fraction of 65536, if sense of kLongSenseBytes has it.
inline std::optional<uint16_t> ProgressOf(std::span<const uint8_t> sense) {
    constexpr uint8_t kValid = 0x80; // the sense-key specific bytes hold a progress indication
    return (sense[15] & kValid) != 0 ? std::optional(LoadBe16(&sense[16])) : std::nullopt;
}

// (sense key << 16) | (ASC << 8) | ASCQ
constexpr int SenseCode(std::span<const uint8_t> sense) {
    return (sense[2] & 0x0F) << 16 | sense[12] << 8 | sense[13];
}

} // namespace larkspin
