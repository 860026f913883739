// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Files of the queue whose name is already taken in their folder, because two items have the same
// name, or two folders of one name both contain such a file. Each gets a name of its own, "photo
// (2).jpg", so that none hides another.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace larkspin {

struct IsoDirectory;
struct VolumeRun;

// `name` with a number before its extension, at most 255 native bytes long.
std::u16string NumberedName(std::u16string_view name, uint32_t number);

// Renames the twins in `directory`. Folders and entries without a file on disk keep their names;
// among files, the first one does. A file that was added twice is kept once.
void SeparateTwins(VolumeRun& run, IsoDirectory& directory);

} // namespace larkspin
