// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The contents of files: their places on the volume, and the sending of them.
#pragma once

#include "volume/dates.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace larkspin {

struct IsoEntry;
struct VolumeRun;
class SectorStream;

// Contents to stream. Built when addresses are assigned, sent after the tree is gone.
struct DeferredFile {
    IsoEntry* entry = nullptr; // until DetachContents
    uint32_t extent = 0;       // first sector
    uint64_t size = 0;         // bytes, as the scan saw them
    RecordDate date = {};      // of its last change, as the scan saw it
    uint32_t pad_sectors = 0;  // empty sectors behind the contents
    // The rest is filled by DetachContents.
    const std::u16string* source_folder = nullptr;
    std::u16string name;
    std::unique_ptr<std::vector<uint8_t>> memory_contents;
};

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
