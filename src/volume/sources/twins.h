// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Files of the queue that would show under a name that is taken in their folder: two items of one
// name, folders of one name that both hold such a file. Each gets a name of its own, "photo
// (2).jpg", so that none hides the other.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace larkspin {

struct IsoDirectory;
struct VolumeRun;

// `name` with a number in front of its extension, of at most 255 native bytes.
std::u16string NumberedName(std::u16string_view name, uint32_t number);

// Renames the twins in `directory`. Folders keep their names, and what no file on disk stands
// behind; among files the one that came first. A file that is in there twice stays once.
void SeparateTwins(VolumeRun& run, IsoDirectory& directory);

} // namespace larkspin
