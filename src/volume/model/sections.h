// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The sections of a file: its contents in several extents, each with its own directory record
// (ECMA-119 6.5.1), because a record counts bytes in 32 bits.
//
// All records of a file have the same name and the same System Use data: some readers look at the
// first, others at the last.
#pragma once

#include "volume/model/tree.h"

#include <cstdint>
#include <vector>

namespace larkspin {

// Bytes of the longest extent that another may follow: whole sectors in a 32-bit field.
inline constexpr uint32_t kLongestSection = 0xFFFFF800;

// Gives `entry`, a file whose other fields are set, the records for a size of `bytes` bytes. They
// have no extents yet.
void MakeSections(IsoTree& tree, IsoEntry& entry, uint64_t bytes);

// Makes the contents of `entry` those of `old` and the sections before it.
void KeepSections(IsoTree& tree, IsoEntry& entry, const std::vector<IsoEntry>& inFront,
                  const IsoEntry& old);

} // namespace larkspin
