// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The Joliet tree: a second set of directories, path tables and a Supplementary Volume Descriptor
// that show the files of the ISO tree under their long names in big-endian UCS-2.
//
// Relocated directories are shown at their real places, and the extents of all directories follow
// one another in that order, from parent to child. Names keep their UTF-16 units, except that
// control characters and the characters that Joliet forbids become '_', because no reader accepts
// them. So does half a surrogate pair left over when a name is truncated. A byte of a name that is
// not UTF-8 becomes the Latin-1 character of that byte, because such names are mostly Latin-1, and
// this keeps them distinct.
//
// Names that would look the same, because of '_' or truncation, are told apart as in the ISO tree:
// the entry scanned first keeps its name, and the others get three digits before their extension.
// UDF uses the same names.
#pragma once

#include "volume/model/fragment.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace larkspin {

struct GenOptions;
struct IsoEntry;
struct VolumeRun;

// Unit `index` of `text` as Joliet shows it. `text` is already truncated to its limit.
char16_t JolietUnit(std::u16string_view text, size_t index);

// The name of `entry` for Joliet and UDF, truncated to its limit, before JolietUnit.
std::u16string_view JolietName(const IsoEntry& entry, const GenOptions& options);

// The first `byteCount` bytes of `text` in big-endian units, padded with zero bytes.
std::string ToJoliet(std::u16string_view text, size_t byteCount);

// Makes the names that Joliet shows unique in each directory. The entries must still be in order of
// arrival. Fails if the digits run out.
void MakeJolietNamesUnique(VolumeRun& run);

// Sorts and measures all Joliet directories, and counts the Joliet path table.
void SortJolietTree(VolumeRun& run);

OutputFragment JolietDescriptorFragment(VolumeRun& run);
OutputFragment JolietPathTableFragment(VolumeRun& run);
OutputFragment JolietDirectoryTreeFragment(VolumeRun& run);

} // namespace larkspin
