// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "platform/files.h"

#include "platform/paths.h"

#include <utility>

namespace larkspin {

namespace {

class PathFolder final : public IFolder {
  public:
    PathFolder(IFileSystem& files, std::u16string path)
        : m_files(files), m_strPath(std::move(path)) {}

    bool Status(const std::u16string& name, FileStatus* status) override {
        return m_files.Status(JoinPath(m_strPath, name), status);
    }
    std::unique_ptr<ISequentialFile> OpenSequential(const std::u16string& name) override {
        return m_files.OpenSequential(JoinPath(m_strPath, name));
    }
    bool IsReadable(const std::u16string& name, const FileStatus& /*status*/) override {
        return m_files.IsReadable(JoinPath(m_strPath, name));
    }

  private:
    IFileSystem& m_files;
    const std::u16string m_strPath;
};

} // namespace

std::unique_ptr<IFolder> IFileSystem::OpenFolder(const std::u16string& path) {
    return std::make_unique<PathFolder>(*this, path);
}

bool IFileSystem::PatchBytes(const std::u16string&, uint64_t, std::span<const uint8_t>) {
    return false;
}

} // namespace larkspin
