// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The volume descriptors of a disc that is written in place (ECMA-119 6.7.1), once something was
// added to it: readers pick one of them, so all must lead to the same tree.
#pragma once

#include <cstdint>
#include <span>

namespace larkspin {

// Lays the new descriptors over the old ones. Both spans hold the same number of blocks of 2048
// bytes, from the primary volume descriptor on.
//
// Only the blocks of the old set are used, and those of the ECMA-167 recognition sequence behind
// it, which would lead to the old tree: what follows may belong to a file. In this order come the
// new primary descriptor, the old boot records whose catalog lies in front of block `keptEnd`, and
// the other new ones as far as there is room in front of a terminator; further terminators fill
// the rest. An old set without room for Joliet thus stays without, and is true all the same.
//
// `spaceSize` is the size of old and new together, in blocks; it goes into all but boot records.
// True if a recognition sequence was there: an anchor may still lead to the old tree.
bool MergeDescriptorSets(std::span<uint8_t> older, std::span<const uint8_t> newer,
                         uint32_t spaceSize, uint32_t keptEnd);

} // namespace larkspin
