// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The sections of a file: its contents in several extents, each with a directory record of its own
// (ECMA-119 6.5.1), as a record counts its bytes in 32 bits.
//
// All records of a file carry the same name and the same System Use data: some readers ask the
// first of them, others the last.
#pragma once

#include "volume/model/tree.h"

#include <cstdint>
#include <vector>

namespace larkspin {

// Bytes of the longest extent that another one can follow: whole sectors in a field of 32 bits.
inline constexpr uint32_t kLongestSection = 0xFFFFF800;

// Gives `entry`, a file whose other fields are set, the records of a file of `bytes` bytes. They
// have no extents yet.
void MakeSections(IsoTree& tree, IsoEntry& entry, uint64_t bytes);

// Lets `entry` have its contents where `old` and the sections in front of it have theirs.
void KeepSections(IsoTree& tree, IsoEntry& entry, const std::vector<IsoEntry>& inFront,
                  const IsoEntry& old);

} // namespace larkspin
