// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The contents of files: their places on the volume, and the sending of them.
#pragma once

namespace larkspin {

struct VolumeRun;
class SectorStream;

// Gives each entry of the tree its extent, in the order of directories and of their ISO chains, or,
// in a DVD-Video folder with `dvd_video`, in the order that dvdvideo.h tells. An entry that has one
// (a file kept from a previous session) is passed over. Directories must have their extents.
// Fails if the volume would get more sectors than can be counted.
void AssignContents(VolumeRun& run);

// Moves what StreamContents needs out of the entries, so that the tree can be cleared.
void DetachContents(VolumeRun& run);

// Sends all contents. The size of the scan rules: a file that has become shorter is filled up
// with zeros, one that has grown is cut at its recorded size rounded up to a sector. Each file is
// looked at once more when it has been read, and told if its size, its date (to the second) or its
// kind is not that of the scan. Fails if a file can't be opened or read.
void StreamContents(VolumeRun& run, SectorStream& stream);

} // namespace larkspin
