// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// One row of the table of output fragments: a range of sectors of the volume.
#pragma once

#include <cstdint>
#include <functional>

namespace larkspin {

class SectorStream;

struct OutputFragment {
    enum class Kind {
        Structure, // all of it has a meaning for a reader
        Contents,  // the files
        Padding,
    };

    const char* name; // used in messages
    Kind kind = Kind::Structure;

    // Advances VolumeRun::plan_sector by the size of the fragment. Any of the three functions may
    // be empty.
    std::function<void()> size = {};
    // Builds whatever must exist before the first sector goes out.
    std::function<void()> generate = {};
    // Sends exactly as many sectors as `size` reserved.
    std::function<void(SectorStream&)> write = {};

    uint32_t start = 0;   // plan_sector before `size`
    uint32_t sectors = 0; // reserved by `size`
};

} // namespace larkspin
