// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Files and folders, behind an interface that tests can wrap to make files vanish, shrink, grow,
// fail and appear in any order.
//
// Paths are wide texts (see text.h). A path that does not start with '/', which POSIX can't open,
// simply fails with ENOENT. Links are followed. All functions may be called on any thread, but a
// sequential file is used by one at a time, and so is a folder with the files opened through it.
#pragma once

#include "platform/byte_stream.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace larkspin {

// POSIX types in a mode.
inline constexpr uint32_t kModeTypeMask = 0xF000;
inline constexpr uint32_t kModeFolder = 0x4000;
inline constexpr uint32_t kModeRegular = 0x8000;

struct FileStatus {
    enum class Type { Regular, Folder, CharacterDevice, Other };

    Type type = Type::Regular;
    uint32_t mode = 0;   // POSIX type and permission bits, as in st_mode
    uint64_t size = 0;   // bytes
    uint64_t device = 0; // st_dev
    uint64_t inode = 0;  // st_ino
    uint32_t links = 1;  // st_nlink
    uint32_t uid = 0;
    uint32_t gid = 0;
    int64_t accessTime = 0; // seconds since 1970, UTC, like the next two
    int64_t modifyTime = 0;
    int64_t changeTime = 0;
};

// Why a path has no status.
enum class Absence {
    NotThere,
    LeadsNowhere, // it is a link without a target
    Forbidden,    // a folder on the way is not accessible
    Unreachable,  // its disk or server fails
};

// A file open for reading from start to end.
class ISequentialFile : public IByteSource {
  public:
    // The current size in bytes, or -1.
    virtual int64_t Size() = 0;
    // Moves to `offset` bytes from the start. False if that fails.
    virtual bool Seek(uint64_t offset) = 0;
    // Offset in bytes of the next read, or -1.
    virtual int64_t Tell() = 0;
    // Its current status. False if that is unknown, or if the file has no name any more.
    virtual bool Status(FileStatus* /*status*/) { return false; }
    // The first Read had to wait for a disk.
    virtual bool HasWaited() const { return false; }
    // Asks the system to read the first `bytes` bytes soon, without waiting for that.
    virtual void Prefetch(uint64_t /*bytes*/) {}
};

// A folder whose names are examined one after another. It stays the same if it is moved.
class IFolder {
  public:
    virtual ~IFolder() = default;

    // Like IFileSystem's, for a name in this folder.
    virtual bool Status(const std::u16string& name, FileStatus* status) = 0;
    virtual std::unique_ptr<ISequentialFile> OpenSequential(const std::u16string& name) = 0;
    // The same. `status` is the result of Status.
    virtual bool IsReadable(const std::u16string& name, const FileStatus& status) = 0;
};

class IFileSystem {
  public:
    virtual ~IFileSystem() = default;

    // False if the path has no status; `status` is then unchanged.
    virtual bool Status(const std::u16string& path, FileStatus* status) = 0;
    // Why Status has just failed.
    virtual Absence WhyAbsent(const std::u16string& /*path*/) { return Absence::NotThere; }
    // True if the last name of `path` is itself a link, whatever its target.
    virtual bool IsLink(const std::u16string& path) = 0;
    // True if this process may open `path` for reading.
    virtual bool IsReadable(const std::u16string& path) = 0;
    // Appends the names in `folder`, without "." and "..", in the system's order. False if the
    // folder can't be read, or not completely; `names` then has what was read.
    virtual bool Enumerate(const std::u16string& folder, std::vector<std::u16string>* names) = 0;
    // Never null: nothing is found in a folder that can't be opened. Uses whole paths unless a file
    // system has a better way.
    virtual std::unique_ptr<IFolder> OpenFolder(const std::u16string& path);
    // Null if the file cannot be opened.
    virtual std::unique_ptr<ISequentialFile> OpenSequential(const std::u16string& path) = 0;
    // Replaces the bytes from `offset` on in an existing regular file, which must already be long
    // enough. False if that fails, in which case some bytes may have been written. A read-only file
    // system does not support this.
    virtual bool PatchBytes(const std::u16string& path, uint64_t offset,
                            std::span<const uint8_t> bytes);
};

// The real file system: one object for the process, always valid.
IFileSystem& PosixFiles();

} // namespace larkspin
