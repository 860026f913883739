// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/linux/system_calls.h"

#include <array>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace larkspin {

namespace {

class RealSystemCalls final : public ISystemCalls {
  public:
    int Open(const std::string& path, int flags) override {
        const int descriptor = ::open(path.c_str(), flags);
        return descriptor >= 0 ? descriptor : -errno;
    }

    void Close(int descriptor) override { ::close(descriptor); }

    int Ioctl(int descriptor, unsigned long request, void* argument) override {
        const int result = ::ioctl(descriptor, request, argument);
        return result >= 0 ? result : -errno;
    }

    int LockFile(int descriptor) override {
        return ::flock(descriptor, LOCK_EX | LOCK_NB) == 0 ? 0 : -errno;
    }

    std::string ReadText(const std::string& path) override {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    std::string ReadLink(const std::string& path) override {
        std::array<char, PATH_MAX> target = {};
        const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
        return length > 0 ? std::string(target.data(), static_cast<size_t>(length)) : std::string();
    }

    std::vector<std::string> List(const std::string& folder) override {
        std::vector<std::string> names;
        std::error_code error;
        std::filesystem::directory_iterator entry(folder, error);
        for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
            names.push_back(entry->path().filename().string());
        }
        return names;
    }

    int Unmount(const std::string& mountPoint) override {
        return ::umount2(mountPoint.c_str(), UMOUNT_NOFOLLOW) == 0 ? 0 : -errno;
    }

    void Sleep(std::chrono::milliseconds time) override { std::this_thread::sleep_for(time); }
};

} // namespace

ISystemCalls& LinuxSystemCalls() {
    static RealSystemCalls calls;
    return calls;
}

} // namespace larkspin
