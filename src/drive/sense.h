// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Reading sense data in fixed format (SPC, "Sense data").
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

// Additional sense codes that decide something here.
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

// Sense of this many bytes reaches up to the code and its qualifier.
constexpr uint8_t kShortSenseBytes = 14;
// Sense of this many bytes holds the progress indication too.
constexpr uint8_t kLongSenseBytes = 18;

// What a drive says of blocks that it had taken and could not record. It says so once, at whatever
// command comes next (SPC, "Deferred errors").
constexpr bool IsRecordingError(uint8_t key) {
    return key == kKeyMediumError || key == kKeyHardwareError;
}

constexpr bool HasSense(std::span<const uint8_t> sense) {
    return (sense[0] & 0x70) != 0;
}

constexpr uint8_t SenseKeyOf(std::span<const uint8_t> sense) {
    return sense[2] & 0x0F;
}

// The command did what it was to do, but the drive had to try harder than usual for it.
constexpr bool IsRecovered(std::span<const uint8_t> sense) {
    return HasSense(sense) && SenseKeyOf(sense) == kKeyRecovered;
}

// The news is of a command that has long been answered; the one that brought it was not run (SPC,
// "Deferred errors").
constexpr bool IsDeferred(std::span<const uint8_t> sense) {
    return (sense[0] & 0x7F) == 0x71;
}

// How far an operation in progress is, as a share of 65536, if sense of kLongSenseBytes tells it.
inline std::optional<uint16_t> ProgressOf(std::span<const uint8_t> sense) {
    constexpr uint8_t kValid = 0x80; // the sense-key specific bytes hold a progress
    return (sense[15] & kValid) != 0 ? std::optional(LoadBe16(&sense[16])) : std::nullopt;
}

// (sense key << 16) | (ASC << 8) | ASCQ
constexpr int SenseCode(std::span<const uint8_t> sense) {
    return (sense[2] & 0x0F) << 16 | sense[12] << 8 | sense[13];
}

} // namespace larkspin
