// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "platform/named_mutex.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace larkspin {

namespace {

// Creates the per-user folder below /tmp. It is refused if it belongs to somebody else or is
// accessible to others: anybody can write to /tmp.
int MakeOwnFolder(const std::string& folder) {
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
        return errno;
    }
    struct stat st = {};
    if (::lstat(folder.c_str(), &st) != 0) {
        return errno;
    }
    if (!S_ISDIR(st.st_mode) || st.st_uid != ::getuid() || (st.st_mode & 077) != 0) {
        return EACCES;
    }
    return 0;
}

} // namespace

NamedMutex::NamedMutex(const std::string& name) {
    std::string folder;
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && runtime[0] == '/') {
        folder = runtime;
    } else {
        folder = "/tmp/larkspin-" + std::to_string(::getuid());
        if (const int error = MakeOwnFolder(folder); error != 0) {
            Fail(error);
            return;
        }
    }
    const std::string path = folder + "/" + name;
    m_fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (m_fd < 0) {
        Fail(errno);
        return;
    }
    if (::flock(m_fd, LOCK_EX | LOCK_NB) == 0) {
        m_result = Result::Owned;
    } else if (errno == EWOULDBLOCK) {
        m_result = Result::AlreadyExists;
    } else {
        Fail(errno);
    }
}

NamedMutex::~NamedMutex() {
    if (m_fd >= 0) {
        ::close(m_fd);
    }
}

void NamedMutex::Fail(int error) {
    m_result = Result::Failed;
    m_strError = std::generic_category().message(error);
}

} // namespace larkspin
