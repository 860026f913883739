// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// From queued paths to the files behind them. Everything here may run on any thread.
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
    bool stopped = false;              // by the one who wanted the list
};

// Asked before each name, with the number of files so far and the folder that is being read. False
// ends the walk.
using GoOn = std::function<bool(size_t count, const std::u16string& folder)>;

// True for a path that counts as a folder by its text (paths.h) and for one that is a folder.
bool IsFolder(IFileSystem& files, const std::u16string& path);

// The files below `folder`: first its own, then those of each sub-folder, both in the order of
// ReadsBefore, which Linux file systems don't give by themselves: the songs of an album become
// tracks in it. What is walked is told in folder_walk.h.
FileList ExpandFolder(IFileSystem& files, const std::u16string& folder, const GoOn& goOn = {});

// The files of `paths` in their order, then those of the folders among them. A file met twice is
// listed twice.
FileList ExpandPaths(IFileSystem& files, const std::vector<std::u16string>& paths,
                     const GoOn& goOn = {});

// Sum of the files' sizes in whole sectors of 2048 bytes.
uint64_t SectorsOfFiles(const FileList& list);

} // namespace larkspin
