// From queued paths to the files behind them. Everything here may run on any thread.
#pragma once

#include "platform/files.h"

#include <cstdint>
#include <stop_token>
#include <string>
#include <vector>

namespace larkspin {

constexpr uint32_t kSectorBytes = 2048;

// True for a path that counts as a folder by its text (paths.h) and for one that is a folder.
bool IsFolder(IFileSystem& files, const std::u16string& path);

// Appends the files below `folder`: first its own in the order of the file system, then those of
// each sub-folder. Links are followed; a folder that is its own ancestor (by device and inode) is
// not entered again, so a loop of links ends. Folders that can't be read add nothing. Stops early,
// with what it has, when `stop` is requested.
void ExpandFolder(IFileSystem& files, const std::u16string& folder,
                  std::vector<std::u16string>* result, const std::stop_token& stop = {});

// The files of `paths` in their order, then those of the folders among them. A file met twice is
// listed twice.
std::vector<std::u16string> ExpandPaths(IFileSystem& files,
                                        const std::vector<std::u16string>& paths);

// Sum of the files' sizes in whole sectors of 2048 bytes; a file that can't be read counts 0.
uint64_t SectorsOfFiles(IFileSystem& files, const std::vector<std::u16string>& list,
                        const std::stop_token& stop = {});

} // namespace larkspin
