// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The C library's functions in a preloaded library: calls that name /dev/sr0 or use one of its
// descriptors go to the fake device, all others to the C library.
#include "fakesr/fake_device.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

using larkspin::CFakeDevice;

namespace {

// The next definition of a function after this library's.
template <class Call>
Call Next(const char* name) {
    void* symbol = ::dlsym(RTLD_NEXT, name);
    Call call = nullptr;
    std::memcpy(&call, &symbol, sizeof call);
    return call;
}

int OpenDevice(int flags) {
    return CFakeDevice::Instance().Open(flags);
}

// After a copy onto a descriptor that may have been the device's, or become it.
int Duplicated(int descriptor, int wanted, int copy) {
    if (copy >= 0 && descriptor != wanted) {
        CFakeDevice::Forget(copy);
        if (CFakeDevice::Owns(descriptor)) {
            CFakeDevice::Duplicated(descriptor, copy);
        }
    }
    return copy;
}

mode_t ModeArgument(int flags, va_list arguments) {
    const bool hasMode = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    return hasMode ? va_arg(arguments, mode_t) : 0;
}

// The two layouts are the same on 64-bit systems.
static_assert(sizeof(struct stat) == sizeof(struct stat64));

int DeviceStatus(void* status) {
    CFakeDevice::Instance().FillStatus(static_cast<struct stat*>(status));
    return 0;
}

// A stream for the device, for programs that read it as a file.
struct Stream {
    int64_t offset = 0;
};

ssize_t ReadStream(void* cookie, char* buffer, size_t bytes) {
    auto* stream = static_cast<Stream*>(cookie);
    const ssize_t count = CFakeDevice::Instance().ReadAt(stream->offset, buffer, bytes);
    if (count > 0) {
        stream->offset += count;
    }
    return count;
}

int SeekStream(void* cookie, off64_t* position, int whence) {
    auto* stream = static_cast<Stream*>(cookie);
    const int64_t base = whence == SEEK_SET   ? 0
                         : whence == SEEK_CUR ? stream->offset
                                              : CFakeDevice::Instance().SizeBytes();
    if (base + *position < 0) {
        return -1;
    }
    stream->offset = *position = base + *position;
    return 0;
}

int CloseStream(void* cookie) {
    const std::unique_ptr<Stream> stream(static_cast<Stream*>(cookie));
    return 0;
}

std::FILE* OpenStream(const char* mode) {
    auto stream = std::make_unique<Stream>();
    std::FILE* file =
        ::fopencookie(stream.get(), mode, {ReadStream, nullptr, SeekStream, CloseStream});
    if (file != nullptr) {
        static_cast<void>(stream.release()); // CloseStream takes it
    }
    return file;
}

} // namespace

extern "C" {

#define LARKSPIN_OPEN(name)                                                                        \
    int name(const char* path, int flags, ...) {                                                   \
        static const auto next = Next<int (*)(const char*, int, ...)>(#name);                      \
        va_list arguments;                                                                         \
        va_start(arguments, flags);                                                                \
        const mode_t mode = ModeArgument(flags, arguments);                                        \
        va_end(arguments);                                                                         \
        return CFakeDevice::IsDevicePath(path) ? OpenDevice(flags) : next(path, flags, mode);      \
    }
LARKSPIN_OPEN(open)
LARKSPIN_OPEN(open64)

#define LARKSPIN_OPENAT(name)                                                                      \
    int name(int folder, const char* path, int flags, ...) {                                       \
        static const auto next = Next<int (*)(int, const char*, int, ...)>(#name);                 \
        va_list arguments;                                                                         \
        va_start(arguments, flags);                                                                \
        const mode_t mode = ModeArgument(flags, arguments);                                        \
        va_end(arguments);                                                                         \
        return CFakeDevice::IsDevicePath(path) ? OpenDevice(flags)                                 \
                                               : next(folder, path, flags, mode);                  \
    }
LARKSPIN_OPENAT(openat)
LARKSPIN_OPENAT(openat64)

#define LARKSPIN_OPEN_2(name)                                                                      \
    int name(const char* path, int flags) {                                                        \
        static const auto next = Next<int (*)(const char*, int)>(#name);                           \
        return CFakeDevice::IsDevicePath(path) ? OpenDevice(flags) : next(path, flags);            \
    }
LARKSPIN_OPEN_2(__open_2)
LARKSPIN_OPEN_2(__open64_2)

#define LARKSPIN_FOPEN(name)                                                                       \
    std::FILE* name(const char* path, const char* mode) {                                          \
        static const auto next = Next<std::FILE* (*)(const char*, const char*)>(#name);            \
        return CFakeDevice::IsDevicePath(path) ? OpenStream(mode) : next(path, mode);              \
    }
LARKSPIN_FOPEN(fopen)
LARKSPIN_FOPEN(fopen64)

#define LARKSPIN_STAT(name, type)                                                                  \
    int name(const char* path, struct type* status) noexcept {                                     \
        static const auto next = Next<int (*)(const char*, struct type*)>(#name);                  \
        return CFakeDevice::IsDevicePath(path) ? DeviceStatus(status) : next(path, status);        \
    }
LARKSPIN_STAT(stat, stat)
LARKSPIN_STAT(stat64, stat64)
LARKSPIN_STAT(lstat, stat)
LARKSPIN_STAT(lstat64, stat64)

// Programs built against an older C library call these.
#define LARKSPIN_XSTAT(name)                                                                       \
    int name(int version, const char* path, struct stat* status) {                                 \
        static const auto next = Next<int (*)(int, const char*, struct stat*)>(#name);             \
        return CFakeDevice::IsDevicePath(path) ? DeviceStatus(status)                              \
                                               : next(version, path, status);                      \
    }
LARKSPIN_XSTAT(__xstat)
LARKSPIN_XSTAT(__xstat64)
LARKSPIN_XSTAT(__lxstat)
LARKSPIN_XSTAT(__lxstat64)

#define LARKSPIN_FSTAT(name, type)                                                                 \
    int name(int descriptor, struct type* status) noexcept {                                       \
        static const auto next = Next<int (*)(int, struct type*)>(#name);                          \
        return CFakeDevice::Owns(descriptor) ? DeviceStatus(status) : next(descriptor, status);    \
    }
LARKSPIN_FSTAT(fstat, stat)
LARKSPIN_FSTAT(fstat64, stat64)

#define LARKSPIN_FXSTAT(name)                                                                      \
    int name(int version, int descriptor, struct stat* status) {                                   \
        static const auto next = Next<int (*)(int, int, struct stat*)>(#name);                     \
        return CFakeDevice::Owns(descriptor) ? DeviceStatus(status)                                \
                                             : next(version, descriptor, status);                  \
    }
LARKSPIN_FXSTAT(__fxstat)
LARKSPIN_FXSTAT(__fxstat64)

#define LARKSPIN_FSTATAT(name, type)                                                               \
    int name(int folder, const char* path, struct type* status, int flags) noexcept {              \
        static const auto next = Next<int (*)(int, const char*, struct type*, int)>(#name);        \
        return CFakeDevice::IsDevicePath(path) ? DeviceStatus(status)                              \
                                               : next(folder, path, status, flags);                \
    }
LARKSPIN_FSTATAT(fstatat, stat)
LARKSPIN_FSTATAT(fstatat64, stat64)

int access(const char* path, int mode) noexcept {
    static const auto next = Next<int (*)(const char*, int)>("access");
    return CFakeDevice::IsDevicePath(path) ? 0 : next(path, mode);
}

int close(int descriptor) {
    static const auto next = Next<int (*)(int)>("close");
    CFakeDevice::Forget(descriptor);
    return next(descriptor);
}

int dup(int descriptor) noexcept {
    static const auto next = Next<int (*)(int)>("dup");
    const int copy = next(descriptor);
    if (copy >= 0 && CFakeDevice::Owns(descriptor)) {
        CFakeDevice::Duplicated(descriptor, copy);
    }
    return copy;
}

int dup2(int descriptor, int wanted) noexcept {
    static const auto next = Next<int (*)(int, int)>("dup2");
    return Duplicated(descriptor, wanted, next(descriptor, wanted));
}

int dup3(int descriptor, int wanted, int flags) noexcept {
    static const auto next = Next<int (*)(int, int, int)>("dup3");
    return Duplicated(descriptor, wanted, next(descriptor, wanted, flags));
}

// Programs ask for the canonical name of the device they were given.
char* realpath(const char* path, char* resolved) noexcept {
    static const auto next = Next<char* (*)(const char*, char*)>("realpath");
    if (!CFakeDevice::IsDevicePath(path)) {
        return next(path, resolved);
    }
    return resolved != nullptr ? std::strcpy(resolved, path) : ::strdup(path);
}

int ioctl(int descriptor, unsigned long request, ...) noexcept {
    static const auto next = Next<int (*)(int, unsigned long, void*)>("ioctl");
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    return CFakeDevice::Owns(descriptor) ? CFakeDevice::Instance().Ioctl(request, argument)
                                         : next(descriptor, request, argument);
}

ssize_t read(int descriptor, void* buffer, size_t bytes) {
    static const auto next = Next<ssize_t (*)(int, void*, size_t)>("read");
    return CFakeDevice::Owns(descriptor) ? CFakeDevice::Instance().Read(descriptor, buffer, bytes)
                                         : next(descriptor, buffer, bytes);
}

// Fortified programs call this; the name is the C library's.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
ssize_t __read_chk(int descriptor, void* buffer, size_t bytes, size_t room) {
    if (bytes > room) {
        std::abort();
    }
    return read(descriptor, buffer, bytes);
}

#define LARKSPIN_PREAD(name, offsetType)                                                           \
    ssize_t name(int descriptor, void* buffer, size_t bytes, offsetType offset) {                  \
        static const auto next = Next<ssize_t (*)(int, void*, size_t, offsetType)>(#name);         \
        return CFakeDevice::Owns(descriptor)                                                       \
                   ? CFakeDevice::Instance().ReadAt(offset, buffer, bytes)                         \
                   : next(descriptor, buffer, bytes, offset);                                      \
    }
LARKSPIN_PREAD(pread, off_t)
LARKSPIN_PREAD(pread64, off64_t)

#define LARKSPIN_LSEEK(name, offsetType)                                                           \
    offsetType name(int descriptor, offsetType offset, int whence) noexcept {                      \
        static const auto next = Next<offsetType (*)(int, offsetType, int)>(#name);                \
        return CFakeDevice::Owns(descriptor)                                                       \
                   ? CFakeDevice::Instance().Seek(descriptor, offset, whence)                      \
                   : next(descriptor, offset, whence);                                             \
    }
LARKSPIN_LSEEK(lseek, off_t)
LARKSPIN_LSEEK(lseek64, off64_t)

} // extern "C"
