// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Builds the source tree from the paths of the queue by walking the disk.
//
// What is walked, and in which order, is told in folder_walk.h. A name that has vanished, can't be
// read, is no file or folder (a device, a socket, a named pipe) or a file too large for the volume
// is left out and told to the notice callback, an item of the queue too; so is a folder that can't
// be listed, which shows as an empty one, or with what could be listed of it. Folders of the same
// name from two queue items become one.
//
// Limits: a path below the queue's own may have 1024 UTF-16 units; a longer one fails the run.
// There is no further limit when the file is streamed, so no path is ever cut.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace larkspin {

struct GenOptions;
struct IsoDirectory;
struct VolumeRun;

// Adds all items under the root. Fails with "No files to write." if that comes to nothing, or to
// empty folders alone where something was left out, and if the scan meets a limit. "/" puts its
// contents straight into the root.
void AddQueue(VolumeRun& run, const std::vector<std::u16string>& queue);

// The name of the relocation directory in the root.
std::u16string_view RelocationName(const GenOptions& options);

// The relocation directory; makes it if there is none.
IsoDirectory& RelocationDirectory(VolumeRun& run);

// Adds "." and ".." to `directory` if it lacks them. They have the status of the folders that they
// lead to, and relocation must be settled.
void AddDotEntries(VolumeRun& run, IsoDirectory& directory);

} // namespace larkspin
