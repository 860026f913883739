// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Path tables (ECMA-119 9.4) of the primary and the Joliet tree.
#pragma once

#include "volume/model/fragment.h"

#include <cstdint>
#include <functional>
#include <string>

namespace larkspin {

struct IsoDirectory;
struct PathTables;
struct VolumeRun;

// How a tree's directories appear in its path tables.
struct PathTableView {
    uint16_t excluded; // flag of the directories left out
    uint32_t IsoDirectory::*extent;
    uint32_t IsoDirectory::*index; // receives the position in the tables
    std::function<IsoDirectory*(const IsoDirectory&)> parentOf;
    std::function<std::string(const IsoDirectory&)> nameOf; // in disc form
    const char* emptySlot;                                  // texts of the three failures
    const char* noSelf;
    const char* parentTooHigh;
};

// Both tables of `run.*tables`, one after the other: the root first, then by the parent's position,
// then by the bytes of the name (ECMA-119 6.9.1). Built when all directories have their extents.
OutputFragment PathTablesFragment(VolumeRun& run, const char* name, PathTables VolumeRun::*tables,
                                  PathTableView view);

} // namespace larkspin
