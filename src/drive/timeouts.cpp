// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/timeouts.h"
#include "drive/mmc.h"

#include <algorithm>
#include <iterator>

namespace larkspin {

namespace {

struct CommandTime {
    uint8_t opcode;
    uint32_t seconds;
    uint8_t immediateBit = 0;      // in byte 1 of the CDB: the drive answers before it is done
    uint32_t immediateSeconds = 0; // if that bit is set
};

constexpr uint32_t kTray = 60;     // the mechanism, and spinning up a disc
constexpr uint32_t kReading = 30;  // commands that may have to examine a new disc first
constexpr uint32_t kSettling = 60; // until a long operation is under way
constexpr uint32_t kWorking = 120; // flush, calibration
constexpr uint32_t kWriting = 180; // some drives record the lead-in at the first write
constexpr uint32_t kClosing = 480;
constexpr uint32_t kErasing = 9600;

constexpr CommandTime kTimes[] = {
    {mmc::kStartStopUnit, kTray},
    {mmc::kPreventAllowMediumRemoval, kReading},
    {mmc::kRead10, kReading},
    {mmc::kReadCd, kReading},
    {mmc::kReadToc, kReading},
    {mmc::kReadDiscInformation, kReading},
    {mmc::kReadTrackInformation, kReading},
    {mmc::kReadDvdStructure, kReading},
    {mmc::kReadFormatCapacities, kReading},
    {mmc::kReserveTrack, kSettling},
    {mmc::kSendDvdStructure, kSettling},
    {mmc::kFormatUnit, kSettling}, // always sent with the immediate bit
    {mmc::kWrite10, kWriting},
    {mmc::kSynchronizeCache, kWorking, 0x02, kReading},
    {mmc::kSendOpcInformation, kWorking},
    {mmc::kSendCueSheet, kWorking},
    {mmc::kCloseTrackSession, kClosing, 0x01, kSettling},
    {mmc::kBlank, kErasing},
};

} // namespace

uint32_t LeastSeconds(std::span<const uint8_t> cdb) {
    const auto* found =
        std::find_if(std::begin(kTimes), std::end(kTimes), [cdb](const CommandTime& time) {
            return cdb.size() > 1 && time.opcode == cdb[0];
        });
    if (found == std::end(kTimes)) {
        return 0;
    }
    return (cdb[1] & found->immediateBit) != 0 ? found->immediateSeconds : found->seconds;
}

} // namespace larkspin
