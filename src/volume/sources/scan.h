// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Builds the source tree from the paths of the queue by walking the disk.
//
// What is walked, and in which order, is described in folder_walk.h. A name that has vanished,
// can't be read, is neither file nor folder (a device, a socket, a named pipe) or is a file too
// large for the volume is left out and reported to the notice callback; this includes items of the
// queue. A folder that can't be listed is reported and contains whatever could be listed. Folders
// of the same name from two queue items become one.
//
// Limits: a path below the queue's own may have 1024 UTF-16 units; a longer one fails the run.
// There is no other limit when the file is streamed, so paths are never truncated.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace larkspin {

struct GenOptions;
struct IsoDirectory;
struct VolumeRun;

// Adds all items to the root. The contents of "/" go straight into the root. Fails if the scan
// reaches a limit, and with "No files to write." if there is nothing, or there are only empty
// folders and something was left out.
void AddQueue(VolumeRun& run, const std::vector<std::u16string>& queue);

// The name of the relocation directory in the root.
std::u16string_view RelocationName(const GenOptions& options);

// The relocation directory, which is made if there is none.
IsoDirectory& RelocationDirectory(VolumeRun& run);

// Adds "." and ".." to `directory` if it lacks them, with the status of the folders that they lead
// to. Relocation must be complete.
void AddDotEntries(VolumeRun& run, IsoDirectory& directory);

} // namespace larkspin
