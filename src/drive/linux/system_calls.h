// What the SG_IO port asks of the system, behind an interface so that tests can play the kernel.
#pragma once

#include <string>

namespace larkspin {

class ISystemCalls {
  public:
    virtual ~ISystemCalls() = default;

    // A descriptor, or -errno.
    virtual int Open(const std::string& path, int flags) = 0;
    virtual void Close(int descriptor) = 0;
    // 0 or above, or -errno.
    virtual int Ioctl(int descriptor, unsigned long request, void* argument) = 0;
    // The text of a small file, or of what a symbolic link points to; empty if that fails.
    virtual std::string ReadText(const std::string& path) = 0;
    virtual std::string ReadLink(const std::string& path) = 0;
    // Takes a mounted block device out of the file system, with the help of UDisks2. False if the
    // helper could not be run or refused. Blocks until the helper has ended.
    virtual bool Unmount(const std::string& devicePath) = 0;
};

// The real system. One object for the process, always valid, free of state.
ISystemCalls& LinuxSystemCalls();

} // namespace larkspin
