// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The files of a volume in the order in which they are sent, opened.
//
// When a file makes the sender wait for a disk, the system is asked for the next ones at once, so
// that the disk has many requests to choose from instead of one. Their descriptors are kept until
// their turn comes. While everything is in memory a file is opened when its turn comes.
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

    // Both are kept. What is sent is taken from the front of `contents`.
    OpenAhead(IFileSystem& files, const std::deque<DeferredFile>& contents)
        : m_files(files), m_contents(contents) {}

    // The file at the front, which is on disk.
    Opened TakeFront();
    // The front has been sent, and its file given back; `hasWaited`, for a disk. Called before it
    // is taken from the contents, for each of them.
    void FrontSent(bool hasWaited);

  private:
    Opened Open(const DeferredFile& item);
    void LookAhead();

    IFileSystem& m_files;
    const std::deque<DeferredFile>& m_contents;
    std::deque<Opened> m_ahead; // of the contents behind the front
    Opened m_front;             // if it was opened ahead
    bool m_bWaited = false;     // since the last look ahead
    const std::u16string* m_pFolderPath = nullptr;
    std::shared_ptr<IFolder> m_pFolder; // of the file opened last
};

} // namespace larkspin
