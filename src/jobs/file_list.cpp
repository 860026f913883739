// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "jobs/file_list.h"
#include "platform/paths.h"
#include "volume/model/tree.h"
#include "volume/sources/folder_walk.h"

#include <utility>

namespace larkspin {

namespace {

class Lister final : public IWalkVisitor {
  public:
    Lister(IFileSystem& files, const GoOn& goOn)
        : m_files(files), m_goOn(goOn),
          m_walk(files, *this, kFileSizeLimit, FolderWalk::Order::ByName) {}

    void Add(const std::u16string& item) {
        FileStatus status;
        if (!GoesOn(item)) {
            return;
        }
        if (!m_files.Status(item, &status)) {
            Tell(WhyMissing(m_files, item), item);
            return;
        }
        m_walk.Add(item, status, nullptr);
    }
    FileList Finish() {
        m_walk.FollowLinks();
        return std::move(m_list);
    }

    bool GoesOn(const std::u16string& folder) override {
        m_list.stopped = m_list.stopped || (m_goOn && !m_goOn(m_list.files.size(), folder));
        return !m_list.stopped;
    }
    bool Wants(const std::u16string& /*folder*/, const std::u16string& /*name*/) override {
        return true;
    }
    WalkPlace Open(IsoDirectory* directory, const std::u16string& folder) override {
        return {directory, &folder};
    }
    void File(const WalkPlace& /*place*/, std::u16string /*name*/, const std::u16string& path,
              const FileStatus& status) override {
        m_list.files.push_back({path, status.size});
    }
    IsoDirectory* Folder(const WalkPlace& /*place*/, const std::u16string& /*name*/,
                         const std::u16string& /*path*/, const FileStatus& /*status*/) override {
        return nullptr;
    }
    void Tell(NoticeReason reason, const std::u16string& path) override {
        m_list.leftOut.push_back({reason, path, {}});
    }

  private:
    IFileSystem& m_files;
    const GoOn& m_goOn;
    FolderWalk m_walk;
    FileList m_list;
};

} // namespace

bool IsFolder(IFileSystem& files, const std::u16string& path) {
    FileStatus status;
    return IsFolderByName(path) ||
           (files.Status(path, &status) && status.type == FileStatus::Type::Folder);
}

FileList ExpandFolder(IFileSystem& files, const std::u16string& folder, const GoOn& goOn) {
    Lister lister(files, goOn);
    lister.Add(folder);
    return lister.Finish();
}

FileList ExpandPaths(IFileSystem& files, const std::vector<std::u16string>& paths,
                     const GoOn& goOn) {
    Lister lister(files, goOn);
    std::vector<std::u16string> folders;
    for (const std::u16string& path : paths) {
        if (IsFolder(files, path)) {
            folders.push_back(path);
        } else {
            lister.Add(path);
        }
    }
    for (const std::u16string& folder : folders) {
        lister.Add(folder);
    }
    return lister.Finish();
}

uint64_t SectorsOfFiles(const FileList& list) {
    uint64_t sectors = 0;
    for (const FileList::Entry& file : list.files) {
        sectors += (file.size + kSectorBytes - 1) / kSectorBytes;
    }
    return sectors;
}

} // namespace larkspin
