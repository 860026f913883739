// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Finds the files behind queued paths. Everything here may run on any thread.
#pragma once

#include "platform/files.h"
#include "volume/model/sectors.h"
#include "volume/model/volume_notice.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace larkspin {

struct FileList {
    struct Entry {
        std::u16string path;
        uint64_t size = 0; // bytes
    };
    std::vector<Entry> files;
    std::vector<VolumeNotice> leftOut; // why each name is missing among the files
    bool stopped = false;              // by the caller's GoOn
};

// Called before each name, with the number of files so far and the folder being read. False ends
// the walk.
using GoOn = std::function<bool(size_t count, const std::u16string& folder)>;

// True for a path that looks like a folder (paths.h) or that is one.
bool IsFolder(IFileSystem& files, const std::u16string& path);

// The files below `folder`: first its own, then those of each sub-folder, both in the order of
// ReadsBefore, in which the songs of an album become tracks; Linux file systems don't provide it.
// What is walked is described in folder_walk.h.
FileList ExpandFolder(IFileSystem& files, const std::u16string& folder, const GoOn& goOn = {});

// The files among `paths` in their order, then those of the folders. A file found twice is listed
// twice.
FileList ExpandPaths(IFileSystem& files, const std::vector<std::u16string>& paths,
                     const GoOn& goOn = {});

// The total of the files' sizes in whole sectors of 2048 bytes.
uint64_t SectorsOfFiles(const FileList& list);

} // namespace larkspin
