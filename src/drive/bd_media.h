// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Blu-ray discs (MMC). A BD-RE is recorded like other media that are written in place: by
// WriteDvdChunk and the loop around it, with descriptors renewed at the end, a flush and no
// closing. The drive itself reads the rest of a cluster of 32 blocks and rewrites it. A BD-R in
// sequential mode is recorded like a DVD+R: from the next writable address on, closed by CLOSE
// TRACK/SESSION 1 and 2, and never finalised. A blank BD-R is not formatted: the first WRITE
// selects sequential recording without a spare area ("BD-R recording"). One that has been formatted
// keeps its spare area. A BD-R in random mode is not recorded.
//
// Block numbers are signed 32-bit, which limits a disc to 4 TiB.
#pragma once

#include "drive/dvd_detail.h"
#include "drive/scsi_command.h"

#include <cstdint>

namespace larkspin {

constexpr double kBdBase = 4496.0; // KB/s at 1x
constexpr int32_t kBdClusterBlocks = 32;

// Formats an unformatted BD-RE: FORMAT UNIT type 00h, the usual spare area, without certification.
// Throws CgrowisofsException when the list of formats does not offer it, or when the drive refuses,
// fails or does not finish. Like other formats, it can't be cancelled.
void FormatBdRe(DvdRecording& dvd, CScsiCommand& command);

} // namespace larkspin
