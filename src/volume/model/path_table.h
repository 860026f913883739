// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The two path tables of a tree (ECMA-119 9.4) and the space that they need.
#pragma once

#include <cstdint>
#include <vector>

namespace larkspin {

struct PathTables {
    uint32_t bytes = 0;          // of the records of one table, unrounded
    uint32_t sectors = 0;        // of one table: even
    uint32_t start = 0;          // first sector of the L table; the M table follows it
    std::vector<uint8_t> little; // the L table
    std::vector<uint8_t> big;    // the M table

    // Counts the record of a directory with a name of `nameBytes` bytes; 1 for the root.
    void CountRecord(uint32_t nameBytes);
    // To be called once all records are counted.
    void FixSectors();
};

} // namespace larkspin
