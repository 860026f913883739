// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/model/path_table.h"

#include "volume/model/sectors.h"

namespace larkspin {

namespace {

constexpr uint32_t kHeadBytes = 8; // of a record, in front of the name (ECMA-119 9.4, table 10)

} // namespace

void PathTables::CountRecord(uint32_t nameBytes) {
    bytes = RoundToEven(bytes + kHeadBytes + nameBytes);
}

void PathTables::FixSectors() {
    sectors = RoundToEven(SectorsOf(bytes));
}

} // namespace larkspin
