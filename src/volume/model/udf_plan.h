// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Where the UDF view of a volume stands, filled while the volume is planned.
#pragma once

#include <cstdint>

namespace larkspin {

// Sectors are absolute on the disc, but for those of UDF's tree of directories, which are written
// relative to the partition.
struct UdfPlan {
    uint32_t main_sequence = 0;
    uint32_t reserve_sequence = 0;
    uint32_t integrity_sequence = 0;
    uint32_t partition_start = 0; // the File Set Descriptor is its first block
    uint32_t partition_end = 0;   // first sector behind it
    uint32_t root_entry = 0;      // the file entry of the root
    uint32_t last_entry = 0;      // the file entry with the highest unique identifier
    uint32_t files = 0;
    uint32_t directories = 0; // the root is one

    uint32_t PartitionSectors() const { return partition_end - partition_start; }
    uint32_t BlockOf(uint32_t sector) const { return sector - partition_start; }
};

} // namespace larkspin
