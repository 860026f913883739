// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "platform/files.h"
#include "platform/posix_file.h"
#include "platform/text.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <optional>
#include <string_view>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace larkspin {

namespace {

// O_NONBLOCK keeps the open of a FIFO without a writer from hanging; regular files ignore it.
constexpr int kReading = O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;

bool HasLabelledRights() {
    static const bool has = ::access("/sys/fs/selinux/enforce", F_OK) == 0 ||
                            ::access("/sys/fs/smackfs/load2", F_OK) == 0;
    return has;
}

// True if the mode of a file there says all about what its owner may do: a disk of this machine,
// and no labels beside the mode.
bool IsModeExact(int fd) {
    struct statfs volume = {};
    if (HasLabelledRights() || ::fstatfs(fd, &volume) != 0) {
        return false;
    }
    const auto type = static_cast<uint32_t>(volume.f_type);
    return type == EXT4_SUPER_MAGIC || type == XFS_SUPER_MAGIC || type == BTRFS_SUPER_MAGIC ||
           type == F2FS_SUPER_MAGIC || type == TMPFS_MAGIC;
}

class PosixFolder final : public IFolder {
  public:
    explicit PosixFolder(int fd) : m_fd(fd) {}
    PosixFolder(const PosixFolder&) = delete;
    PosixFolder& operator=(const PosixFolder&) = delete;
    ~PosixFolder() override { ::close(m_fd); }

    bool Status(const std::u16string& name, FileStatus* status) override {
        struct stat st = {};
        if (::fstatat(m_fd, ToNative(name).c_str(), &st, 0) != 0) {
            return false;
        }
        TakeStatus(st, status);
        return true;
    }

    std::unique_ptr<ISequentialFile> OpenSequential(const std::u16string& name) override {
        const std::string native = ToNative(name);
        int fd = ::openat(m_fd, native.c_str(), kReading);
        if (fd < 0 && errno == EMFILE) {
            m_pClosing->Flush();
            fd = ::openat(m_fd, native.c_str(), kReading);
        }
        return fd < 0 ? nullptr : std::make_unique<PosixFile>(fd, m_pClosing);
    }

    bool IsReadable(const std::u16string& name, const FileStatus& status) override {
        if (!m_owner) {
            m_owner = IsModeExact(m_fd) ? ::geteuid() : kNobody;
        }
        return (status.uid == *m_owner && (status.mode & S_IRUSR) != 0) ||
               ::faccessat(m_fd, ToNative(name).c_str(), R_OK, 0) == 0;
    }

  private:
    static constexpr uid_t kNobody = ~uid_t{0}; // owns no file

    const int m_fd; // O_PATH
    const std::shared_ptr<ClosingBatch> m_pClosing = std::make_shared<ClosingBatch>();
    std::optional<uid_t> m_owner; // whose files tell by their mode whether they can be read
};

bool WriteAt(int fd, uint64_t offset, std::span<const uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t written =
            ::pwrite(fd, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (written < 0 && errno != EINTR) {
            return false;
        }
        if (written > 0) {
            offset += static_cast<uint64_t>(written);
            bytes = bytes.subspan(static_cast<size_t>(written));
        }
    }
    return true;
}

class PosixFileSystem final : public IFileSystem {
  public:
    bool Status(const std::u16string& path, FileStatus* status) override {
        struct stat st = {};
        if (::stat(ToNative(path).c_str(), &st) != 0) {
            return false;
        }
        TakeStatus(st, status);
        return true;
    }

    Absence WhyAbsent(const std::u16string& path) override {
        const std::string native = ToNative(path);
        struct stat st = {};
        const bool isLink = ::lstat(native.c_str(), &st) == 0;
        if (isLink && ::stat(native.c_str(), &st) == 0) {
            return Absence::NotThere; // it has appeared since
        }
        switch (errno) {
        case ENOENT:
        case ENOTDIR:
        case ELOOP:
        case ENAMETOOLONG:
            return isLink ? Absence::LeadsNowhere : Absence::NotThere;
        case EACCES:
        case EPERM:
            return Absence::Forbidden;
        default:
            return Absence::Unreachable;
        }
    }

    bool IsLink(const std::u16string& path) override {
        struct stat st = {};
        return ::lstat(ToNative(path).c_str(), &st) == 0 && S_ISLNK(st.st_mode);
    }

    bool IsReadable(const std::u16string& path) override {
        return ::access(ToNative(path).c_str(), R_OK) == 0;
    }

    bool Enumerate(const std::u16string& folder, std::vector<std::u16string>* names) override {
        DIR* dir = ::opendir(ToNative(folder).c_str());
        if (dir == nullptr) {
            return false;
        }
        // The end of the list and a failure halfway through differ only in errno. An incomplete
        // list must not pass for a complete one: the rest would be missing from the disc.
        int error = 0;
        for (;;) {
            errno = 0;
            const dirent* entry = ::readdir(dir);
            if (entry == nullptr) {
                error = errno;
                break;
            }
            const std::string_view name = entry->d_name;
            if (name != "." && name != "..") {
                names->push_back(ToWide(name));
            }
        }
        ::closedir(dir);
        return error == 0;
    }

    std::unique_ptr<IFolder> OpenFolder(const std::u16string& path) override {
        const int fd = ::open(ToNative(path).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        return fd < 0 ? IFileSystem::OpenFolder(path) : std::make_unique<PosixFolder>(fd);
    }

    std::unique_ptr<ISequentialFile> OpenSequential(const std::u16string& path) override {
        const int fd = ::open(ToNative(path).c_str(), kReading);
        return fd < 0 ? nullptr : std::make_unique<PosixFile>(fd);
    }

    bool PatchBytes(const std::u16string& path, uint64_t offset,
                    std::span<const uint8_t> bytes) override {
        const int fd = ::open(ToNative(path).c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
        if (fd < 0) {
            return false;
        }
        struct stat st = {};
        const bool holds = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) &&
                           static_cast<uint64_t>(st.st_size) >= offset + bytes.size();
        const bool written = holds && WriteAt(fd, offset, bytes);
        return ::close(fd) == 0 && written;
    }
};

} // namespace

IFileSystem& PosixFiles() {
    static PosixFileSystem files;
    return files;
}

} // namespace larkspin
