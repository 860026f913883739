// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Files that can't be read any more once a stop has been requested: whatever reads them, such as a
// library with an endless search, soon returns.
#pragma once

#include "platform/files.h"

#include <memory>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

namespace larkspin {

// Files opened through it may outlive it. They fail, and never throw.
class StoppableFiles final : public IFileSystem {
  public:
    StoppableFiles(IFileSystem& files, std::stop_token stop)
        : m_files(files), m_stop(std::move(stop)) {}

    bool Status(const std::u16string& path, FileStatus* status) override {
        return !m_stop.stop_requested() && m_files.Status(path, status);
    }
    Absence WhyAbsent(const std::u16string& path) override { return m_files.WhyAbsent(path); }
    bool IsLink(const std::u16string& path) override { return m_files.IsLink(path); }
    bool IsReadable(const std::u16string& path) override { return m_files.IsReadable(path); }
    bool Enumerate(const std::u16string& folder, std::vector<std::u16string>* names) override {
        return m_files.Enumerate(folder, names);
    }
    std::unique_ptr<ISequentialFile> OpenSequential(const std::u16string& path) override;

  private:
    IFileSystem& m_files;
    const std::stop_token m_stop;
};

} // namespace larkspin
