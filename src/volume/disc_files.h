// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Lists the files of a volume on a disc from its directories (ECMA-119, with the names of RRIP),
// for reading them all.
#pragma once

#include "platform/byte_stream.h"
#include "volume/extent_list.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace larkspin {

struct DiscVolume {
    uint64_t end = 0; // where the volume ends, in bytes, as it claims; 0: there is none
    // What files and folders occupy, in disc order. One that shares a block with the one before
    // begins after it.
    ExtentList extents;
    size_t files = 0;
    uint64_t fileBytes = 0;
    // One line for each folder that can't be read or understood, so that its contents are unknown,
    // and for each file that is not on the disc as a whole.
    std::vector<std::u16string> problems;
};

// Reads the directories of the volume whose descriptors begin at sector `start`, and nothing at or
// after sector `end`. `goOn` is called before each directory. If it returns false, the volume is
// what has been found so far.
DiscVolume ListVolume(IBlockReader& drive, uint32_t start, uint32_t end,
                      const std::function<bool()>& goOn);

} // namespace larkspin
