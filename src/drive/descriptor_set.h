// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The volume descriptors of a disc that is written in place (ECMA-119 6.7.1) after something was
// added to it. Readers pick any one of them, so all must lead to the same tree.
#pragma once

#include <cstdint>
#include <span>

namespace larkspin {

// Merges the new descriptors into the old ones. Both spans hold the same number of blocks of 2048
// bytes, starting with the primary volume descriptor.
//
// Only the blocks of the old set are used, and those of the ECMA-167 recognition sequence after it,
// which would lead to the old tree; what follows may belong to a file. The result is, in this
// order: the new primary descriptor, the old boot records whose catalog lies before block
// `keptEnd`, and as many of the other new descriptors as leave room for a terminator. More
// terminators fill the rest. If the old set had no room for Joliet, the result has no Joliet
// either, but is still correct.
//
// `spaceSize` is the size of old and new together, in blocks; it goes into all but boot records.
// Returns true if there was a recognition sequence: an anchor may still lead to the old tree.
bool MergeDescriptorSets(std::span<uint8_t> older, std::span<const uint8_t> newer,
                         uint32_t spaceSize, uint32_t keptEnd);

} // namespace larkspin
