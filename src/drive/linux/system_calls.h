// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The system calls of the SG_IO port, behind an interface so that tests can play the kernel.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace larkspin {

class ISystemCalls {
  public:
    virtual ~ISystemCalls() = default;

    // Returns a descriptor, or -errno.
    virtual int Open(const std::string& path, int flags) = 0;
    virtual void Close(int descriptor) = 0;
    // Returns 0 or more, or -errno.
    virtual int Ioctl(int descriptor, unsigned long request, void* argument) = 0;
    // Takes an exclusive flock without waiting. Returns 0, or -errno.
    virtual int LockFile(int descriptor) = 0;
    // The text of a small file, or the target of a symbolic link; empty on failure.
    virtual std::string ReadText(const std::string& path) = 0;
    virtual std::string ReadLink(const std::string& path) = 0;
    // The names in a folder, in no particular order; empty if it can't be read.
    virtual std::vector<std::string> List(const std::string& folder) = 0;
    // Returns 0, or -errno. Only a privileged process may unmount this way.
    virtual int Unmount(const std::string& mountPoint) = 0;
    virtual void Sleep(std::chrono::milliseconds time) = 0;
};

// The real system: one stateless object for the process, always valid.
ISystemCalls& LinuxSystemCalls();

} // namespace larkspin
