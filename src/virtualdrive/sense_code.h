// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The drive's sense codes (SPC, "Sense key and additional sense code definitions").
#pragma once

#include <cstdint>

namespace larkspin {

// Key 0 is success.
struct SenseCode {
    uint8_t key = 0;
    uint8_t asc = 0;
    uint8_t ascq = 0;

    constexpr bool IsGood() const { return key == 0; }
    constexpr bool operator==(const SenseCode&) const = default;
};

namespace sense {

constexpr SenseCode kGood = {};

constexpr SenseCode kBecomingReady = {2, 0x04, 0x01};
constexpr SenseCode kFormatInProgress = {2, 0x04, 0x04};
constexpr SenseCode kOperationInProgress = {2, 0x04, 0x07};
constexpr SenseCode kLongWriteInProgress = {2, 0x04, 0x08};
constexpr SenseCode kNoMediumTrayClosed = {2, 0x3A, 0x01};
constexpr SenseCode kNoMediumTrayOpen = {2, 0x3A, 0x02};

constexpr SenseCode kWriteError = {3, 0x0C, 0x00};
constexpr SenseCode kUnrecoveredRead = {3, 0x11, 0x05};
constexpr SenseCode kMediumNotFormatted = {3, 0x31, 0x00};

constexpr SenseCode kParameterListLength = {5, 0x1A, 0x00};
constexpr SenseCode kInvalidOpcode = {5, 0x20, 0x00};
constexpr SenseCode kAddressOutOfRange = {5, 0x21, 0x00};
constexpr SenseCode kInvalidAddressForWrite = {5, 0x21, 0x02};
constexpr SenseCode kInvalidFieldInCdb = {5, 0x24, 0x00};
constexpr SenseCode kInvalidFieldInParameterList = {5, 0x26, 0x00};
constexpr SenseCode kCommandSequenceError = {5, 0x2C, 0x00};
constexpr SenseCode kCannotReadIncompatibleMedium = {5, 0x30, 0x02};
constexpr SenseCode kCannotWriteIncompatibleMedium = {5, 0x30, 0x05};
constexpr SenseCode kCannotFormatIncompatibleMedium = {5, 0x30, 0x06};
constexpr SenseCode kSavingNotSupported = {5, 0x39, 0x00};
constexpr SenseCode kRemovalPrevented = {5, 0x53, 0x02};
constexpr SenseCode kEndOfUserArea = {5, 0x63, 0x00};
constexpr SenseCode kIllegalModeForTrack = {5, 0x64, 0x00};
constexpr SenseCode kIncompleteTrackInSession = {5, 0x72, 0x03};

constexpr SenseCode kMediumMayHaveChanged = {6, 0x28, 0x00};
constexpr SenseCode kPowerOnOrReset = {6, 0x29, 0x00};

constexpr SenseCode kMiscompare = {0x0E, 0x1D, 0x00};

constexpr SenseCode kDataPhaseError = {0x0B, 0x4B, 0x00};

} // namespace sense

} // namespace larkspin
