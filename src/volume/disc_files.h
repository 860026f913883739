// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The files of a volume on a disc, by its own directories (ECMA-119, with the names of RRIP), for
// whoever reads them all.
#pragma once

#include "platform/byte_stream.h"
#include "volume/extent_list.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace larkspin {

struct DiscVolume {
    uint64_t end = 0; // byte of the disc behind the volume, by its own word; 0: there is no volume
    // What files and folders occupy, in the order of the disc; one that takes a block from the one
    // before begins behind it.
    ExtentList extents;
    size_t files = 0;
    uint64_t fileBytes = 0;
    // A line for each folder that can't be read or understood, so that nobody knows what is in it,
    // and for each file that is not on the disc as a whole.
    std::vector<std::u16string> problems;
};

// Reads the directories of the volume whose descriptors begin at sector `start`, and nothing at or
// behind sector `end`. `goOn` is asked before each directory; when it says no, the volume is what
// has been found so far.
DiscVolume ListVolume(IBlockReader& drive, uint32_t start, uint32_t end,
                      const std::function<bool()>& goOn);

} // namespace larkspin
