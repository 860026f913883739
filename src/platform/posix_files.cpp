#include "platform/files.h"
#include "platform/text.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace larkspin {

namespace {

class PosixFile final : public ISequentialFile {
  public:
    explicit PosixFile(int fd) : m_fd(fd) {}
    PosixFile(const PosixFile&) = delete;
    PosixFile& operator=(const PosixFile&) = delete;
    ~PosixFile() override { ::close(m_fd); }

    std::ptrdiff_t Read(void* buffer, size_t bytes) override {
        for (;;) {
            const ssize_t got = ::read(m_fd, buffer, bytes);
            if (got >= 0 || errno != EINTR) {
                return got;
            }
        }
    }
    int64_t Size() override {
        struct stat st = {};
        return ::fstat(m_fd, &st) == 0 ? st.st_size : -1;
    }
    bool Seek(uint64_t offset) override {
        return ::lseek(m_fd, static_cast<off_t>(offset), SEEK_SET) >= 0;
    }
    int64_t Tell() override { return ::lseek(m_fd, 0, SEEK_CUR); }

  private:
    int m_fd;
};

FileStatus::Type TypeOf(mode_t mode) {
    if (S_ISREG(mode)) {
        return FileStatus::Type::Regular;
    }
    if (S_ISDIR(mode)) {
        return FileStatus::Type::Folder;
    }
    return S_ISCHR(mode) ? FileStatus::Type::CharacterDevice : FileStatus::Type::Other;
}

// O_NONBLOCK keeps the open of a FIFO without a writer from hanging; regular files ignore it.
int OpenForReading(const std::u16string& path) {
    return ::open(ToNative(path).c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
}

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
        status->type = TypeOf(st.st_mode);
        status->mode = st.st_mode;
        status->size = static_cast<uint64_t>(st.st_size);
        status->device = st.st_dev;
        status->inode = st.st_ino;
        status->links = static_cast<uint32_t>(st.st_nlink);
        status->uid = st.st_uid;
        status->gid = st.st_gid;
        status->accessTime = st.st_atime;
        status->modifyTime = st.st_mtime;
        status->changeTime = st.st_ctime;
        return true;
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
        // The end of the list and a failure in the middle of it differ in errno alone. Half a
        // list must not pass for a whole one: the rest would be missing from the disc.
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

    std::unique_ptr<ISequentialFile> OpenSequential(const std::u16string& path) override {
        const int fd = OpenForReading(path);
        if (fd < 0) {
            return nullptr;
        }
        ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
        return std::make_unique<PosixFile>(fd);
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

bool IFileSystem::PatchBytes(const std::u16string&, uint64_t, std::span<const uint8_t>) {
    return false;
}

IFileSystem& PosixFiles() {
    static PosixFileSystem files;
    return files;
}

} // namespace larkspin
