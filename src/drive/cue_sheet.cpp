// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/cue_sheet.h"
#include "drive/aspi_cd.h"

#include <algorithm>

namespace larkspin {

namespace {

constexpr int32_t kFramesPerSecond = 75;
constexpr int32_t kFramesPerMinute = 60 * kFramesPerSecond;

// The user's data begins at 00:02:00.
constexpr int32_t kFirstFrame = 2 * kFramesPerSecond;

constexpr uint32_t kAudioBlockBytes = 2352;

constexpr uint8_t kLeadInTrack = 0x00;
constexpr uint8_t kLeadOutTrack = 0xAA;

// ADR 1 in the low nibble. In the high nibble "data" and "copy permitted".
constexpr uint8_t kAdr = 0x01;
constexpr uint8_t kControlData = 0x40;
constexpr uint8_t kControlCopy = 0x20;

// DATA FORM: data from the host, or an area that the drive creates itself.
constexpr uint8_t kFormAudio = 0x00;
constexpr uint8_t kFormAudioMadeByDrive = 0x01;
constexpr uint8_t kFormMode1 = 0x10;
constexpr uint8_t kFormMode1MadeByDrive = 0x14;

struct CueEntry {
    uint8_t control;
    uint8_t track;
    uint8_t index;
    uint8_t form;
    MsfAddress address;
};

void Append(std::vector<uint8_t>* sheet, const CueEntry& entry) {
    constexpr uint8_t kScms = 0;
    // If the minutes don't fit, the address stays one that no disc has, and the drive refuses it.
    const int32_t minutes = std::min<int32_t>(entry.address.minutes, UINT8_MAX);
    sheet->insert(sheet->end(),
                  {entry.control, entry.track, entry.index, entry.form, kScms,
                   static_cast<uint8_t>(minutes), static_cast<uint8_t>(entry.address.seconds),
                   static_cast<uint8_t>(entry.address.frames)});
}

} // namespace

MsfAddress::MsfAddress(int32_t frameCount) : total(frameCount < 0 ? 0 : frameCount) {
    minutes = total / kFramesPerMinute;
    seconds = total % kFramesPerMinute / kFramesPerSecond;
    frames = total % kFramesPerSecond;
}

std::vector<uint8_t> BuildImageCueSheet(int64_t imageBytes) {
    constexpr uint8_t kOuter = kControlData | kAdr;
    constexpr uint8_t kTrack = kControlData | kControlCopy | kAdr;
    const auto end = static_cast<int32_t>(imageBytes / kLogicalBlockBytes + kFirstFrame);
    std::vector<uint8_t> sheet;
    Append(&sheet, {kOuter, kLeadInTrack, 0, kFormMode1MadeByDrive, MsfAddress(0)});
    Append(&sheet, {kTrack, 1, 0, kFormMode1, MsfAddress(0)});
    Append(&sheet, {kTrack, 1, 1, kFormMode1, MsfAddress(kFirstFrame)});
    Append(&sheet, {kOuter, kLeadOutTrack, 1, kFormMode1MadeByDrive, MsfAddress(end)});
    return sheet;
}

std::vector<uint8_t> BuildAudioCueSheet(std::span<const uint32_t> trackBytes) {
    constexpr uint8_t kOuter = kAdr;
    constexpr uint8_t kTrack = kControlCopy | kAdr;
    std::vector<uint8_t> sheet;
    Append(&sheet, {kOuter, kLeadInTrack, 0, kFormAudioMadeByDrive, MsfAddress(0)});
    Append(&sheet, {kTrack, 1, 0, kFormAudio, MsfAddress(0)});
    int32_t position = kFirstFrame;
    uint8_t track = 0;
    for (const uint32_t bytes : trackBytes) {
        Append(&sheet, {kTrack, ++track, 1, kFormAudio, MsfAddress(position)});
        position += static_cast<int32_t>(bytes / kAudioBlockBytes);
    }
    Append(&sheet, {kOuter, kLeadOutTrack, 1, kFormAudioMadeByDrive, MsfAddress(position)});
    return sheet;
}

} // namespace larkspin
