// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// One row of the table of output fragments: a stretch of sectors of the volume.
#pragma once

#include <cstdint>
#include <functional>

namespace larkspin {

class SectorStream;

struct OutputFragment {
    enum class Kind {
        Structure, // all of it means something to a reader
        Contents,  // the files
        Padding,
    };

    const char* name; // stands in messages
    Kind kind = Kind::Structure;

    // Moves VolumeRun::plan_sector on by the sectors of the fragment. Any of the three may be
    // empty.
    std::function<void()> size = {};
    // Builds what must exist before the first sector goes out.
    std::function<void()> generate = {};
    // Sends exactly the sectors that `size` took.
    std::function<void(SectorStream&)> write = {};

    uint32_t start = 0;   // plan_sector before `size`
    uint32_t sectors = 0; // that `size` took
};

} // namespace larkspin
