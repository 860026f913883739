// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

// Blu-ray discs (MMC). A BD-RE is recorded as other media that are written in place: WriteDvdChunk
// and the loop around it, descriptors renewed at the end, a flush and no closing. A drive reads
// what is left of a cluster of 32 blocks and writes it anew. A BD-R in sequential mode is recorded
// as a DVD+R: from the next writable address on, closed by CLOSE TRACK/SESSION 1 and 2, and never
// finalised. A blank one is not formatted: its first WRITE makes it one of sequential recording
// without a spare area ("BD-R recording"), and one that was formatted keeps the area it has. One in
// random mode is not recorded.
//
// A block number is a signed 32-bit one: the limit is a disc of 4 TiB.
#pragma once

#include "drive/dvd_detail.h"
#include "drive/scsi_command.h"

#include <cstdint>

namespace larkspin {

constexpr double kBdBase = 4496.0; // KB/s of 1x
constexpr int32_t kBdClusterBlocks = 32;

// Gives a BD-RE that has no format one: FORMAT UNIT type 00h, the usual spare area, without
// certification. Throws CgrowisofsException when the list of formats does not offer it, or the
// drive refuses, fails or does not end it. Like other formats it asks no cancel functor.
void FormatBdRe(DvdRecording& dvd, CScsiCommand& command);

} // namespace larkspin
