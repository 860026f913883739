// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The Joliet tree: a second set of directories, path tables and a Supplementary Volume Descriptor
// that show the files of the ISO tree under their long names in big-endian UCS-2.
//
// Relocated directories stand at their true places, and the extents of all directories follow one
// another in that order, from parent to child. Names keep their UTF-16 units, but for
// those that no reader takes: control characters and the characters that Joliet forbids become
// '_'; so does half of a surrogate pair that the limit of the length has cut. A byte of a name that
// is no UTF-8 shows as the Latin-1 character of that byte, as such names mostly are Latin-1, and so
// differs from its neighbours.
//
// Names that would show alike, by the '_' or by their limit, are told apart as in the ISO tree: the
// entry scanned first keeps its name, others get three digits in front of their extension. UDF has
// the same names.
#pragma once

#include "volume/model/fragment.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace larkspin {

struct GenOptions;
struct IsoEntry;
struct VolumeRun;

// Unit `index` of `text` as Joliet shows it. `text` is cut to its limit already.
char16_t JolietUnit(std::u16string_view text, size_t index);

// The name that Joliet and UDF have for `entry`, cut to its limit, before JolietUnit.
std::u16string_view JolietName(const IsoEntry& entry, const GenOptions& options);

// The first `byteCount` bytes of `text` in big-endian units, padded with zero bytes.
std::string ToJoliet(std::u16string_view text, size_t byteCount);

// Gives the entries of each directory names that Joliet shows apart. Entries must stand in the
// order of arrival. Fails if the digits run out.
void MakeJolietNamesUnique(VolumeRun& run);

// Sorts and measures all Joliet directories, and counts the Joliet path table.
void SortJolietTree(VolumeRun& run);

OutputFragment JolietDescriptorFragment(VolumeRun& run);
OutputFragment JolietPathTableFragment(VolumeRun& run);
OutputFragment JolietDirectoryTreeFragment(VolumeRun& run);

} // namespace larkspin
