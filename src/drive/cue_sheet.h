// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Cue sheets for session-at-once recording (SEND CUE SHEET, MMC): arrays of 8-byte entries.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace larkspin {

// A Red Book address. Negative frame counts become 0.
struct MsfAddress {
    explicit MsfAddress(int32_t frameCount);

    int32_t minutes = 0;
    int32_t seconds = 0;
    int32_t frames = 0;
    int32_t total = 0;
};

// One data track of `imageBytes` bytes: exactly 4 entries.
std::vector<uint8_t> BuildImageCueSheet(int64_t imageBytes);

// One audio track for each item of `trackBytes` (bytes of PCM). Only the first has a gap. The sheet
// has three more entries than there are tracks.
std::vector<uint8_t> BuildAudioCueSheet(std::span<const uint32_t> trackBytes);

} // namespace larkspin
