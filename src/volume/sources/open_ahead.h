// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Opens the files of a volume in the order in which they are sent.
//
// When a file makes the sender wait for a disk, the system is asked for the following files at
// once, so that the disk can choose among many requests instead of having one. Their descriptors
// are kept until they are needed. As long as everything is in memory, each file is opened only when
// it is needed.
#pragma once

#include "platform/files.h"
#include "volume/model/deferred_file.h"

#include <cstddef>
#include <deque>
#include <memory>

namespace larkspin {

class OpenAhead {
  public:
    struct Opened {
        std::shared_ptr<IFolder> folder;
        std::unique_ptr<ISequentialFile> file; // null if it can't be opened
    };

    // Keeps both references. What has been sent is removed from the front of `contents`.
    OpenAhead(IFileSystem& files, const std::deque<DeferredFile>& contents)
        : m_files(files), m_contents(contents) {}

    // The file at the front, which must be on disk.
    Opened TakeFront();
    // The front has been sent and its file closed; `hasWaited` says whether it waited for a disk.
    // To be called for each of the contents, before it is removed.
    void FrontSent(bool hasWaited);

  private:
    Opened Open(const DeferredFile& item);
    void LookAhead();

    IFileSystem& m_files;
    const std::deque<DeferredFile>& m_contents;
    std::deque<Opened> m_ahead; // the contents after the front
    Opened m_front;             // if it was opened ahead
    bool m_bWaited = false;     // since the last look ahead
    const std::u16string* m_pFolderPath = nullptr;
    std::shared_ptr<IFolder> m_pFolder; // of the file opened last
};

} // namespace larkspin
