// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A boot image: the values for its catalog entry, and its boot information table.
#pragma once

#include "volume/model/boot_patches.h"
#include "volume/model/options.h"

#include <cstdint>

namespace larkspin {

struct IsoEntry;

// Values of an entry of the boot catalog (El Torito 2.2).
struct BootImage {
    uint8_t media = 0;
    uint8_t partition_type = 0;
    uint16_t load_sectors = 0; // of 512 bytes
    uint32_t start = 0;        // absolute sector of the disc
};

// Fails with "Bad boot image." for a size that no medium of its emulation has, for an empty image,
// for one whose sectors to load don't fit into 16 bits, and for a hard disk without exactly one
// partition. `entry` has its extent.
BootImage ReadBootImage(IFileSystem& files, const BootEntry& boot, const IsoEntry& entry);

// The table for the image of `entry`, and the bytes that it will replace. Fails for an image that
// can't hold the table, or is no longer the file that was scanned.
BootPatches::Patch MakeBootTable(IFileSystem& files, const IsoEntry& entry,
                                 uint32_t primaryDescriptor);

} // namespace larkspin
