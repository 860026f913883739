// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Operation codes and error codes of the command set (SPC, MMC) that this library sends and meets.
#pragma once

#include <cstdint>

namespace larkspin::mmc {

constexpr uint8_t kTestUnitReady = 0x00;
constexpr uint8_t kFormatUnit = 0x04;
constexpr uint8_t kInquiry = 0x12;
constexpr uint8_t kStartStopUnit = 0x1B;
constexpr uint8_t kPreventAllowMediumRemoval = 0x1E;
constexpr uint8_t kReadFormatCapacities = 0x23;
constexpr uint8_t kRead10 = 0x28;
constexpr uint8_t kWrite10 = 0x2A;
constexpr uint8_t kSynchronizeCache = 0x35;
constexpr uint8_t kReadToc = 0x43;
constexpr uint8_t kGetConfiguration = 0x46;
constexpr uint8_t kGetEventStatus = 0x4A;
constexpr uint8_t kReadDiscInformation = 0x51;
constexpr uint8_t kReadTrackInformation = 0x52;
constexpr uint8_t kReserveTrack = 0x53;
constexpr uint8_t kSendOpcInformation = 0x54;
constexpr uint8_t kModeSelect10 = 0x55;
constexpr uint8_t kModeSense10 = 0x5A;
constexpr uint8_t kCloseTrackSession = 0x5B;
constexpr uint8_t kReadBufferCapacity = 0x5C;
constexpr uint8_t kSendCueSheet = 0x5D;
constexpr uint8_t kBlank = 0xA1;
constexpr uint8_t kGetPerformance = 0xAC;
constexpr uint8_t kReadDvdStructure = 0xAD;
constexpr uint8_t kSetStreaming = 0xB6;
constexpr uint8_t kSetCdSpeed = 0xBB;
constexpr uint8_t kReadCd = 0xBE;
constexpr uint8_t kSendDvdStructure = 0xBF;

// Results of CScsiCommand::Transport: (sense key << 16) | (ASC << 8) | ASCQ.
constexpr int kBecomingReady = 0x20401;
constexpr int kFormatInProgress = 0x20404;
constexpr int kOperationInProgress = 0x20407;
constexpr int kLongWriteInProgress = 0x20408;
constexpr int kInvalidOperationCode = 0x52000;
constexpr int kLbaOutOfRange = 0x52100;
constexpr int kCommandSequenceError = 0x52C00;

} // namespace larkspin::mmc
