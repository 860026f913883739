// The Joliet tree: a second set of directories, path tables and a Supplementary Volume Descriptor
// that show the files of the ISO tree under their long names in big-endian UCS-2.
//
// Relocated directories stand at their true places, and the extents of all directories follow one
// another in that order, from parent to child. Names keep their UTF-16 units, but for
// those that no reader takes: control characters and the characters that Joliet forbids become
// '_'; so does half of a surrogate pair that the limit of the length has cut. A byte of a name that
// is no UTF-8 shows as the Latin-1 character of that byte, as such names mostly are Latin-1, and so
// differs from its neighbours. Names that become equal only by the '_' are not told apart.
#pragma once

#include "volume/fragment.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace larkspin {

struct GenOptions;
struct VolumeRun;

// Unit `index` of `text` as Joliet shows it. `text` is cut to its limit already.
char16_t JolietUnit(std::u16string_view text, size_t index);

// Bytes of `name` in a Joliet record: two per unit, cut at the limit of the options.
uint32_t JolietNameLength(std::u16string_view name, const GenOptions& options);

// The first `byteCount` bytes of `text` in big-endian units, padded with zero bytes.
std::string ToJoliet(std::u16string_view text, size_t byteCount);

// Sorts and measures all Joliet directories, and counts the Joliet path table. Gives the number
// of clashes: names of a directory that agree in their first `joliet_name_limit` units. A positive
// number ends the walk.
uint32_t SortJolietTree(VolumeRun& run);

OutputFragment JolietDescriptorFragment(VolumeRun& run);
OutputFragment JolietPathTableFragment(VolumeRun& run);
OutputFragment JolietDirectoryTreeFragment(VolumeRun& run);

} // namespace larkspin
