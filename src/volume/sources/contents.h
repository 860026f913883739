// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The contents of files: placing them on the volume, and sending them.
#pragma once

namespace larkspin {

struct VolumeRun;
class SectorStream;

// Assigns each entry of the tree its extent, in the order of directories and their ISO chains, or,
// in a DVD-Video folder with `dvd_video`, in the order described in dvdvideo.h. Skips entries that
// already have one (files kept from a previous session). Directories must have their extents. Fails
// if the volume would get too many sectors to count.
void AssignContents(VolumeRun& run);

// Moves what StreamContents needs out of the entries, so that the tree can be cleared.
void DetachContents(VolumeRun& run);

// Sends all contents. The size at the time of the scan counts: a file that has become shorter is
// padded with zeros, and one that has grown is cut at its recorded size rounded up to a sector.
// After a file has been read, its status is checked again, and the user is told if its size, date
// (to the second) or kind has changed since the scan. Fails if a file can't be opened or read.
void StreamContents(VolumeRun& run, SectorStream& stream);

} // namespace larkspin
