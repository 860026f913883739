#include "jobs/file_list.h"
#include "platform/paths.h"

#include <algorithm>
#include <utility>

namespace larkspin {

namespace {

using FolderId = std::pair<uint64_t, uint64_t>; // device, inode

void ExpandBelow(IFileSystem& files, const std::u16string& folder, std::vector<FolderId>& ancestors,
                 std::vector<std::u16string>* result, const std::stop_token& stop) {
    FileStatus status;
    if (stop.stop_requested() || !files.Status(folder, &status)) {
        return;
    }
    const FolderId id = {status.device, status.inode};
    if (std::find(ancestors.begin(), ancestors.end(), id) != ancestors.end()) {
        return;
    }
    std::vector<std::u16string> names;
    if (!files.Enumerate(folder, &names)) {
        return;
    }
    std::vector<std::u16string> folders;
    for (const std::u16string& name : names) {
        if (stop.stop_requested()) {
            return;
        }
        std::u16string path = JoinPath(folder, name);
        FileStatus entry;
        const bool isFolder = files.Status(path, &entry) && entry.type == FileStatus::Type::Folder;
        (isFolder ? folders : *result).push_back(std::move(path));
    }
    ancestors.push_back(id);
    for (const std::u16string& path : folders) {
        ExpandBelow(files, path, ancestors, result, stop);
    }
    ancestors.pop_back();
}

} // namespace

bool IsFolder(IFileSystem& files, const std::u16string& path) {
    FileStatus status;
    return IsFolderByName(path) ||
           (files.Status(path, &status) && status.type == FileStatus::Type::Folder);
}

void ExpandFolder(IFileSystem& files, const std::u16string& folder,
                  std::vector<std::u16string>* result, const std::stop_token& stop) {
    std::vector<FolderId> ancestors;
    ExpandBelow(files, folder, ancestors, result, stop);
}

std::vector<std::u16string> ExpandPaths(IFileSystem& files,
                                        const std::vector<std::u16string>& paths) {
    std::vector<std::u16string> result;
    std::vector<std::u16string> folders;
    for (const std::u16string& path : paths) {
        (IsFolder(files, path) ? folders : result).push_back(path);
    }
    for (const std::u16string& folder : folders) {
        ExpandFolder(files, folder, &result);
    }
    return result;
}

uint64_t SectorsOfFiles(IFileSystem& files, const std::vector<std::u16string>& list,
                        const std::stop_token& stop) {
    uint64_t sectors = 0;
    for (const std::u16string& path : list) {
        FileStatus status;
        if (stop.stop_requested()) {
            break;
        }
        if (files.Status(path, &status)) {
            sectors += (status.size + kSectorBytes - 1) / kSectorBytes;
        }
    }
    return sectors;
}

} // namespace larkspin
