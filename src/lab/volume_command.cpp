// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// "volume": writes the stream that a data job would send to the drive.
#include "lab/commands.h"
#include "platform/byte_stream.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/text.h"
#include "volume/iso_gen.h"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace larkspin::lab {

namespace {

constexpr char kUsage[] =
    "usage: larkspin-lab volume [OPTION...] PATH...\n"
    "  --output FILE|-         where the volume goes; - is standard output (the default)\n"
    "  --session-start N       first sector of the session (0)\n"
    "  --previous-start N      first sector of the session before it (0)\n"
    "  --volume-id TEXT        volume identifier of the ISO tree\n"
    "  --joliet-volume-id TEXT volume identifier of the Joliet tree\n"
    "  --udf                   adds a UDF 1.02 view of the same files\n"
    "  --dvd-video             lays the files of VIDEO_TS folders out as players need them\n"
    "  --boot IMAGE            boots the file IMAGE of the volume, a path such as "
    "boot/loader.bin;\n"
    "                          may be given up to 63 times. The next five say how, each for the\n"
    "                          --boot before it:\n"
    "  --boot-emulation KIND   none (the default), floppy or hard-disk\n"
    "  --boot-load-size N      sectors of 512 bytes to load without emulation (the whole image)\n"
    "  --boot-load-segment N   segment to load to; 0 (the default) is the usual 0x7C0\n"
    "  --boot-info-table       CHANGES YOUR OWN FILE: writes a boot information table over bytes\n"
    "                          8 to 63 of the image on disk, as some boot loaders need it. A run\n"
    "                          that fails puts the old bytes back.\n"
    "  --not-bootable          lists the image without marking it bootable\n"
    "  --boot-catalog PATH     where the boot catalog lies in the volume (boot.catalog)\n"
    "  --generic-boot FILE     fills the first 16 sectors from FILE\n"
    "  --date EPOCH            seconds since 1970, UTC: the run's moment, and the time of every\n"
    "                          access, so that two runs give the same bytes\n"
    "What is left out of the volume is told on standard error before the first sector.\n"
    "Exit codes: 0 success, 1 failure, 2 wrong usage.\n";

constexpr int kPipeBytes = 1 << 20;
constexpr int kWrongUsage = 2;

// The command line is invalid; the text says why.
class UsageError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Request {
    std::string output = "-";
    uint32_t sessionStart = 0;
    uint32_t previousStart = 0;
    std::optional<std::string> volumeId;
    std::optional<std::string> jolietVolumeId;
    bool udf = false;
    bool dvdVideo = false;
    std::vector<BootEntry> bootEntries;
    std::optional<std::string> bootCatalog;
    std::optional<std::string> genericBoot;
    std::optional<int64_t> date;
    std::vector<std::string> paths;
};

template <typename Number>
Number ParseNumber(const std::string& option, const std::string& text) {
    Number value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        throw UsageError(option + " needs a number, not \"" + text + "\"");
    }
    return value;
}

// A path in the volume, with '/' between its names.
std::u16string TreePath(const std::string& path) {
    return ToWide(path.starts_with('/') ? path : '/' + path);
}

void SetEmulation(BootEntry& boot, const std::string& kind) {
    if (kind != "none" && kind != "floppy" && kind != "hard-disk") {
        throw UsageError("--boot-emulation is none, floppy or hard-disk, not \"" + kind + "\"");
    }
    boot.no_emulation = kind == "none";
    boot.hard_disk_emulation = kind == "hard-disk";
}

Request ParseArguments(Arguments arguments) {
    Request request;
    bool onlyPaths = false;
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::string argument = arguments[i];
        if (onlyPaths || argument.empty() || argument[0] != '-') {
            request.paths.push_back(argument);
            continue;
        }
        if (argument == "--") {
            onlyPaths = true;
            continue;
        }
        const auto value = [&]() -> std::string {
            if (i + 1 == arguments.size()) {
                throw UsageError(argument + " needs a value");
            }
            return arguments[++i];
        };
        const auto boot = [&]() -> BootEntry& {
            if (request.bootEntries.empty()) {
                throw UsageError(argument + " needs a --boot in front of it");
            }
            return request.bootEntries.back();
        };
        if (argument == "--output") {
            request.output = value();
        } else if (argument == "--session-start") {
            request.sessionStart = ParseNumber<uint32_t>(argument, value());
        } else if (argument == "--previous-start") {
            request.previousStart = ParseNumber<uint32_t>(argument, value());
        } else if (argument == "--volume-id") {
            request.volumeId = value();
        } else if (argument == "--joliet-volume-id") {
            request.jolietVolumeId = value();
        } else if (argument == "--udf") {
            request.udf = true;
        } else if (argument == "--dvd-video") {
            request.dvdVideo = true;
        } else if (argument == "--boot") {
            BootEntry& entry = request.bootEntries.emplace_back();
            entry.path = TreePath(value());
            entry.no_emulation = true;
        } else if (argument == "--boot-emulation") {
            SetEmulation(boot(), value());
        } else if (argument == "--boot-load-size") {
            boot().load_size = ParseNumber<uint16_t>(argument, value());
        } else if (argument == "--boot-load-segment") {
            boot().load_segment = ParseNumber<uint16_t>(argument, value());
        } else if (argument == "--boot-info-table") {
            boot().patch_boot_info = true;
        } else if (argument == "--not-bootable") {
            boot().not_bootable = true;
        } else if (argument == "--boot-catalog") {
            request.bootCatalog = value();
        } else if (argument == "--generic-boot") {
            request.genericBoot = value();
        } else if (argument == "--date") {
            request.date = ParseNumber<int64_t>(argument, value());
        } else {
            throw UsageError("there is no option \"" + argument + "\"");
        }
    }
    if (request.paths.empty()) {
        throw UsageError("no PATH given");
    }
    return request;
}

// A file descriptor as the end of the stream; keeps the error of a write that failed.
class DescriptorSink final : public IByteSink {
  public:
    explicit DescriptorSink(const std::string& output)
        : m_bOwned(output != "-"), m_fd(m_bOwned ? Open(output) : STDOUT_FILENO) {
        ::fcntl(m_fd, F_SETPIPE_SZ, kPipeBytes); // only affects pipes
    }
    DescriptorSink(const DescriptorSink&) = delete;
    DescriptorSink& operator=(const DescriptorSink&) = delete;
    ~DescriptorSink() override { Close(); }

    bool Write(const void* data, size_t bytes) override {
        const char* next = static_cast<const char*>(data);
        while (bytes > 0) {
            const ssize_t written = ::write(m_fd, next, bytes);
            if (written < 0 && errno == EINTR) {
                continue;
            }
            if (written < 0) {
                m_nError = errno;
                return false;
            }
            next += written;
            bytes -= static_cast<size_t>(written);
        }
        return true;
    }

    // Fails if anything that was written may be lost.
    void Finish() {
        Close();
        if (m_nError != 0) {
            throw std::runtime_error(std::string("cannot write the volume: ") +
                                     std::strerror(m_nError));
        }
    }

  private:
    static int Open(const std::string& output) {
        const int fd = ::open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        if (fd < 0) {
            throw std::runtime_error("cannot open \"" + output + "\": " + std::strerror(errno));
        }
        return fd;
    }
    void Close() {
        if (m_bOwned && m_fd >= 0 && ::close(m_fd) != 0 && m_nError == 0) {
            m_nError = errno;
        }
        m_fd = -1;
    }

    bool m_bOwned;
    int m_fd;
    int m_nError = 0;
};

class FixedClock final : public IClock {
  public:
    explicit FixedClock(int64_t moment) : m_nMoment(moment) {}
    int64_t Now() override { return m_nMoment; }
    uint64_t TickMs() override { return 0; }
    void Sleep(std::chrono::milliseconds time) override { SystemClock().Sleep(time); }

  private:
    int64_t m_nMoment;
};

// The real files, but last read at a given moment: a run reads what it writes, and so would change
// the access times that the next run finds.
class FixedAccessFiles final : public IFileSystem {
  public:
    explicit FixedAccessFiles(int64_t moment) : m_nMoment(moment) {}

    bool Status(const std::u16string& path, FileStatus* status) override {
        const bool known = PosixFiles().Status(path, status);
        status->accessTime = m_nMoment;
        return known;
    }
    Absence WhyAbsent(const std::u16string& path) override { return PosixFiles().WhyAbsent(path); }
    bool IsLink(const std::u16string& path) override { return PosixFiles().IsLink(path); }
    bool IsReadable(const std::u16string& path) override { return PosixFiles().IsReadable(path); }
    bool Enumerate(const std::u16string& folder, std::vector<std::u16string>* names) override {
        return PosixFiles().Enumerate(folder, names);
    }
    std::unique_ptr<ISequentialFile> OpenSequential(const std::u16string& path) override {
        return PosixFiles().OpenSequential(path);
    }
    bool PatchBytes(const std::u16string& path, uint64_t offset,
                    std::span<const uint8_t> bytes) override {
        return PosixFiles().PatchBytes(path, offset, bytes);
    }

  private:
    int64_t m_nMoment;
};

std::string AbsolutePath(const std::string& path) {
    return std::filesystem::absolute(path).lexically_normal().native();
}

// A queue holds absolute paths.
std::vector<std::u16string> QueueOf(const std::vector<std::string>& paths) {
    std::vector<std::u16string> queue;
    queue.reserve(paths.size());
    for (const std::string& path : paths) {
        queue.push_back(ToWide(AbsolutePath(path)));
    }
    return queue;
}

void MakeVolume(const Request& request, IFileSystem& files, IClock& clock, IByteSink& sink) {
    CCDWriterISOGen generator(files, clock);
    generator.ResetOptions();
    std::vector<VolumeNotice> leftOut;
    bool isWriting = false;
    generator.SetNotice([&](const VolumeNotice& notice) {
        if (isWriting) {
            std::fprintf(stderr, "larkspin-lab volume: %s\n", ToNative(TextOf(notice)).c_str());
        } else {
            leftOut.push_back(notice);
        }
    });
    const auto tellLeftOut = [&] {
        isWriting = true;
        if (!leftOut.empty()) {
            std::fprintf(stderr, "larkspin-lab volume: not everything is written as it is.\n%s\n",
                         ToNative(ListOf(leftOut)).c_str());
        }
    };
    GenOptions& options = generator.Options();
    if (request.volumeId) {
        options.volume_id = *request.volumeId;
    }
    if (request.jolietVolumeId) {
        options.joliet_volume_id = ToWide(*request.jolietVolumeId);
    }
    options.udf = request.udf;
    options.dvd_video = request.dvdVideo;
    options.el_torito = !request.bootEntries.empty();
    options.boot_entries = request.bootEntries;
    if (request.bootCatalog) {
        options.boot_catalog_path = TreePath(*request.bootCatalog);
    }
    if (request.genericBoot) {
        options.generic_boot = true;
        options.generic_boot_path = ToWide(AbsolutePath(*request.genericBoot));
    }
    try {
        generator.MakeVolume(QueueOf(request.paths), sink, request.previousStart,
                             request.sessionStart, [&](uint32_t) { tellLeftOut(); });
    } catch (const CCDWriterISOGenException&) {
        if (!isWriting) {
            tellLeftOut(); // it may be why
        }
        throw;
    }
}

void WriteVolume(const Request& request) {
    std::signal(SIGPIPE, SIG_IGN); // a reader that goes away is reported like any other failure
    DescriptorSink sink(request.output);
    if (request.date) {
        FixedClock clock(*request.date);
        FixedAccessFiles files(*request.date);
        MakeVolume(request, files, clock, sink);
    } else {
        MakeVolume(request, PosixFiles(), SystemClock(), sink);
    }
    sink.Finish();
}

int Complain(const char* text, int status) {
    std::fprintf(stderr, "larkspin-lab volume: %s\n", text);
    return status;
}

} // namespace

int RunVolume(Arguments arguments) {
    if (arguments.size() == 1 && arguments[0] == std::string_view("--help")) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    try {
        WriteVolume(ParseArguments(arguments));
        return 0;
    } catch (const UsageError& error) {
        Complain(error.what(), kWrongUsage);
        std::fputs(kUsage, stderr);
        return kWrongUsage;
    } catch (const std::bad_alloc&) {
        return Complain("Out of memory", 1);
    } catch (const std::exception& error) {
        return Complain(error.what(), 1);
    }
}

} // namespace larkspin::lab
