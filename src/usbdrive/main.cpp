// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// larkspin-drive: the virtual drive as a USB burner of this machine.
#include "platform/clock.h"
#include "usbdrive/command_runner.h"
#include "usbdrive/disc_changer.h"
#include "usbdrive/own_device.h"
#include "usbdrive/usbip_server.h"
#include "usbdrive/vhci_port.h"
#include "virtualdrive/fault_script.h"
#include "virtualdrive/virtual_drive.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <grp.h>
#include <memory>
#include <optional>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {

using namespace larkspin;

constexpr const char* kUsage = R"(Usage: larkspin-drive [OPTION...] FOLDER...

Shows the virtual drive to this machine as a USB burner: /dev/sr0 or the next free name, for every
program. Each folder is a disc; an empty one becomes a blank disc. They go into the drive one after
the other, as the tray is opened and closed. Ctrl-C pulls the plug.

  --disc KIND      kind of blank disc: cd-r, cd-rw, dvd-r, dvd-rw, dvd-rw-ow, dvd-ram, dvd+r,
                   dvd+rw, dvd+r-dl, dvd-r-dl, bd-r, bd-r-dl, bd-r-xl, bd-r-ql, bd-re,
                   bd-re-dl (default cd-r)
  --speed FACTOR   write as slowly as a real drive (1), or so many times faster (default: no delay)
  --spin-up MS     how long a disc takes to come up to speed (default 1500)
  --faults FILE    which commands fail: a rule a line, as "2a@3> timeout 2/04/08*2" for the third
                   WRITE(10), which outlives its time-out, and the two commands behind it
  --log FILE       a line for each command: CDB, bytes, status, sense, milliseconds
  --help           this text
  --version        the version of the program

It takes the rights of root and the kernel's module vhci-hcd (modprobe vhci-hcd); under sudo the
discs stay yours. Lines that you type: eject (the button), load (closes the tray), load FOLDER.
)";

struct Options {
    std::string kind = "cd-r";
    DriveTiming timing{.spinUpMs = kQuickSpinUpMs, .restMs = kUsualRestMs};
    std::string faultsPath;
    std::string logPath;
    std::deque<std::string> folders;
};

// Returns the exit code if there is nothing more to do.
std::optional<int> ParseOptions(int argc, char** argv, Options* options) {
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--help" || argument == "-h") {
            std::fputs(kUsage, stdout);
            return EXIT_SUCCESS;
        }
        if (argument == "--version") {
            std::puts("larkspin-drive " LARKSPIN_VERSION);
            return EXIT_SUCCESS;
        }
        static constexpr std::array<std::string_view, 5> kWithValue = {
            "--disc", "--speed", "--spin-up", "--faults", "--log"};
        const bool takesValue =
            std::find(kWithValue.begin(), kWithValue.end(), argument) != kWithValue.end();
        if ((argument.starts_with("-") && !takesValue) || (takesValue && i + 1 == argc)) {
            std::fprintf(stderr, "larkspin-drive: %s: %s\n", argv[i],
                         takesValue ? "a value is missing" : "no such option");
            return 2;
        }
        if (argument == "--disc") {
            options->kind = argv[++i];
        } else if (argument == "--speed") {
            options->timing.speedFactor = std::strtod(argv[++i], nullptr);
        } else if (argument == "--spin-up") {
            options->timing.spinUpMs = static_cast<uint32_t>(std::strtoul(argv[++i], nullptr, 10));
        } else if (argument == "--faults") {
            options->faultsPath = argv[++i];
        } else if (argument == "--log") {
            options->logPath = argv[++i];
        } else {
            options->folders.emplace_back(argument);
        }
    }
    if (!options->folders.empty()) {
        return std::nullopt;
    }
    std::fputs(kUsage, stderr);
    return 2;
}

void Tell(const std::string& line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

// Only plugging in needs privileges: under sudo, the rest runs as the user who called it, so that
// discs and log belong to that user.
bool BecomeTheCaller() {
    const char* group = std::getenv("SUDO_GID");
    const char* user = std::getenv("SUDO_UID");
    if (::geteuid() != 0 || group == nullptr || user == nullptr) {
        return true;
    }
    const auto groupId = static_cast<gid_t>(std::strtoul(group, nullptr, 10));
    const auto userId = static_cast<uid_t>(std::strtoul(user, nullptr, 10));
    return ::setgroups(0, nullptr) == 0 && ::setgid(groupId) == 0 && ::setuid(userId) == 0;
}

int SignalDescriptor() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&signals, signal);
    }
    ::sigprocmask(SIG_BLOCK, &signals, nullptr);
    return ::signalfd(-1, &signals, SFD_CLOEXEC);
}

// Passes typed lines to the changer. False at the end of the input.
bool ReadLines(CDiscChanger& changer, std::string* rest) {
    std::array<char, 4096> buffer = {};
    const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
    if (count <= 0) {
        return false;
    }
    rest->append(buffer.data(), static_cast<size_t>(count));
    for (size_t end = rest->find('\n'); end != std::string::npos; end = rest->find('\n')) {
        changer.Command(rest->substr(0, end));
        rest->erase(0, end + 1);
    }
    return true;
}

// Runs until a signal arrives or the host lets go.
void Serve(const CVhciPort& port, int signals, VirtualDrive& drive, CDiscChanger& changer,
           std::FILE* log, const std::string& serial) {
    CCommandRunner runner(drive, log);
    CUsbipServer server(port.Socket(), runner, serial);
    std::string device; // once the kernel shows it
    std::string typed;
    std::array<pollfd, 4> watched = {pollfd{port.Socket(), POLLIN, 0},
                                     pollfd{runner.Descriptor(), POLLIN, 0},
                                     pollfd{signals, POLLIN, 0}, pollfd{STDIN_FILENO, POLLIN, 0}};
    while (true) {
        const int ready = ::poll(watched.data(), watched.size(), device.empty() ? 500 : -1);
        if (ready < 0 && errno != EINTR) {
            return;
        }
        if (device.empty()) {
            device = OpticalDriveAt(port.BusId());
            if (!device.empty()) {
                Tell("the drive is " + device);
            }
        }
        if (ready <= 0) {
            continue;
        }
        if (watched[1].revents != 0) {
            for (ScsiResult& result : runner.TakeResults()) {
                server.Finish(std::move(result));
            }
        }
        if (watched[0].revents != 0 && !server.Receive()) {
            Tell("the computer let go of the drive");
            return;
        }
        if (watched[2].revents != 0) {
            return;
        }
        if (watched[3].revents != 0 && !ReadLines(changer, &typed)) {
            watched[3].fd = -1;
        }
    }
}

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

} // namespace

int main(int argc, char** argv) {
    Options options;
    if (const std::optional<int> code = ParseOptions(argc, argv, &options)) {
        return *code;
    }
    const int signals = SignalDescriptor(); // before any thread begins

    CVhciPort port;
    if (const std::string problem = port.Prepare(); !problem.empty()) {
        std::fprintf(stderr, "larkspin-drive: %s\n", problem.c_str());
        return EXIT_FAILURE;
    }
    if (!BecomeTheCaller()) {
        std::perror("larkspin-drive: the rights of root can't be given up");
        return EXIT_FAILURE;
    }
    std::unique_ptr<std::FILE, CloseFile> log;
    if (!options.logPath.empty()) {
        log.reset(std::fopen(options.logPath.c_str(), "ae"));
        if (log == nullptr) {
            std::fprintf(stderr, "larkspin-drive: %s: %s\n", options.logPath.c_str(),
                         std::strerror(errno));
            return EXIT_FAILURE;
        }
    }
    VirtualDrive drive(SystemClock());
    drive.SetSpeed(options.timing);
    if (std::string problem;
        !options.faultsPath.empty() && !LoadFaults(drive, options.faultsPath, &problem)) {
        std::fprintf(stderr, "larkspin-drive: %s: %s\n", options.faultsPath.c_str(),
                     problem.c_str());
        return EXIT_FAILURE;
    }
    CDiscChanger changer(drive, options.kind, Tell);
    if (!changer.Begin(std::move(options.folders))) {
        return EXIT_FAILURE;
    }
    drive.Reset(); // power is on
    if (const std::string problem = port.Attach(); !problem.empty()) {
        std::fprintf(stderr, "larkspin-drive: %s\n", problem.c_str());
        return EXIT_FAILURE;
    }
    std::array<char, 17> serial = {};
    std::snprintf(serial.data(), serial.size(), "4C535644%08X", static_cast<unsigned>(::getpid()));
    Serve(port, signals, drive, changer, log.get(), serial.data());
    return EXIT_SUCCESS;
}
