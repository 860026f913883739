// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "platform/posix_file.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <span>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

namespace larkspin {

namespace {

FileStatus::Type TypeOf(mode_t mode) {
    if (S_ISREG(mode)) {
        return FileStatus::Type::Regular;
    }
    if (S_ISDIR(mode)) {
        return FileStatus::Type::Folder;
    }
    return S_ISCHR(mode) ? FileStatus::Type::CharacterDevice : FileStatus::Type::Other;
}

} // namespace

void TakeStatus(const struct stat& st, FileStatus* status) {
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
}

void ClosingBatch::Add(int fd) {
    if (m_nCount == m_fds.size()) {
        Flush();
    }
    m_fds[m_nCount++] = fd;
}

void ClosingBatch::Flush() {
    const auto fds = std::span(m_fds).first(m_nCount);
    std::sort(fds.begin(), fds.end());
    for (size_t i = 0; i < fds.size();) {
        size_t end = i + 1;
        while (end < fds.size() && fds[end] == fds[end - 1] + 1) {
            ++end;
        }
        // Every number in the range is one of these, so no other file is closed.
        if (::close_range(static_cast<unsigned>(fds[i]), static_cast<unsigned>(fds[end - 1]), 0) !=
            0) { // a kernel before 5.9
            std::for_each(fds.begin() + static_cast<std::ptrdiff_t>(i),
                          fds.begin() + static_cast<std::ptrdiff_t>(end), ::close);
        }
        i = end;
    }
    m_nCount = 0;
}

PosixFile::~PosixFile() {
    if (m_pClosing != nullptr) {
        m_pClosing->Add(m_fd);
    } else {
        ::close(m_fd);
    }
}

std::ptrdiff_t PosixFile::Read(void* buffer, size_t bytes) {
    if (!m_bRead) {
        m_bRead = true;
        const iovec place = {.iov_base = buffer, .iov_len = bytes};
        const ssize_t got = ::preadv2(m_fd, &place, 1, -1, RWF_NOWAIT);
        if (got >= 0) {
            return got;
        }
        m_bWaited = errno == EAGAIN; // otherwise the file system does not tell
    }
    for (;;) {
        const ssize_t got = ::read(m_fd, buffer, bytes);
        if (got >= 0 || errno != EINTR) {
            return got;
        }
    }
}

bool PosixFile::Status(FileStatus* status) {
    struct stat st = {};
    if (::fstat(m_fd, &st) != 0 || st.st_nlink == 0) {
        return false;
    }
    TakeStatus(st, status);
    return true;
}

int64_t PosixFile::Size() {
    struct stat st = {};
    return ::fstat(m_fd, &st) == 0 ? st.st_size : -1;
}

bool PosixFile::Seek(uint64_t offset) {
    return ::lseek(m_fd, static_cast<off_t>(offset), SEEK_SET) >= 0;
}

int64_t PosixFile::Tell() {
    return ::lseek(m_fd, 0, SEEK_CUR);
}

void PosixFile::Prefetch(uint64_t bytes) {
    ::posix_fadvise(m_fd, 0, static_cast<off_t>(bytes), POSIX_FADV_WILLNEED);
}

} // namespace larkspin
