// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/linux/device_lock.h"
#include "drive/linux/device_users.h"
#include "platform/text.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sstream>
#include <utility>

namespace larkspin {

namespace {

constexpr int kMaxMountPoints = 8; // a device can be mounted several times
constexpr int kAttempts = 12;
constexpr int kUdevAttempts = 40;
constexpr std::chrono::milliseconds kPause{250};
constexpr std::chrono::milliseconds kUnmountLimit{20'000};

// The kernel writes spaces and the like in a mount point as a backslash and three octal digits.
std::string Unescaped(const std::string& field) {
    constexpr size_t kDigits = 3;
    std::string text;
    for (size_t i = 0; i < field.size(); ++i) {
        const std::string digits = field.substr(i + 1, kDigits);
        if (field[i] == '\\' && digits.size() == kDigits &&
            digits.find_first_not_of("01234567") == std::string::npos) {
            text += static_cast<char>(std::stoi(digits, nullptr, 8));
            i += kDigits;
        } else {
            text += field[i];
        }
    }
    return text;
}

std::string LeafOf(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

LockResult RefusedBecause(const std::string& reason) {
    return {LockResult::State::Refused, ToWide(reason)};
}

} // namespace

std::string DeviceRefusal(const std::string& devicePath, int error) {
    switch (error) {
    case EACCES:
    case EPERM:
        return "You have no permission to read and write " + devicePath +
               ". On most systems the group \"cdrom\" has it: run \"adduser YOU cdrom\" as root, "
               "with your name in the place of YOU, and log in anew.";
    case EROFS:
        return devicePath + " can only be read.";
    case ENOENT:
    case ENODEV:
    case ENXIO:
        return devicePath + " is not there any more. Is the drive still connected?";
    default:
        return devicePath + " cannot be opened: " + std::strerror(error) + ".";
    }
}

CDeviceLock::CDeviceLock(ISystemCalls& calls, ISystemBus& bus, Place place)
    : m_calls(calls), m_bus(bus), m_place(std::move(place)) {}

CDeviceLock::~CDeviceLock() {
    if (m_nDescriptor >= 0) {
        m_calls.Close(m_nDescriptor);
    }
}

LockResult CDeviceLock::Take() {
    const LockResult result = Hold();
    return result.Refused() ? result : KeepUdevAway();
}

LockResult CDeviceLock::Hold() {
    constexpr int kFlags = O_RDWR | O_EXCL | O_NONBLOCK | O_CLOEXEC; // works without a disc, too
    for (int attempt = 1;; ++attempt) {
        // Also after a pause: the program that had the device may have been about to mount it.
        if (const std::string refusal = Unmount(); !refusal.empty()) {
            return RefusedBecause(refusal);
        }
        m_nDescriptor = m_calls.Open(m_place.devicePath, kFlags);
        if (m_nDescriptor >= 0) {
            return {};
        }
        if (m_nDescriptor != -EBUSY) {
            return RefusedBecause(DeviceRefusal(m_place.devicePath, -m_nDescriptor));
        }
        if (attempt == kAttempts) {
            return RefusedByUsers();
        }
        m_calls.Sleep(kPause);
    }
}

LockResult CDeviceLock::KeepUdevAway() {
    for (int attempt = 1;; ++attempt) {
        const int error = -m_calls.LockFile(m_nDescriptor);
        if (error == 0) {
            return {};
        }
        if (error != EWOULDBLOCK) {
            return RefusedBecause(DeviceRefusal(m_place.devicePath, error));
        }
        if (attempt == kUdevAttempts) {
            return RefusedByUsers();
        }
        m_calls.Sleep(kPause);
    }
}

LockResult CDeviceLock::RefusedByUsers() {
    const std::string programs = ProgramsUsing(m_calls, m_place.devicePath, {});
    return RefusedBecause(m_place.devicePath + " is in use by " +
                          (programs.empty() ? "another program" : programs) + ".");
}

std::vector<std::string> CDeviceLock::MountPoints() {
    // "major:minor", the third field of the table, is the same for every name of the device; the
    // fifth is the mount point (proc(5)).
    std::istringstream numberText(m_calls.ReadText(m_place.sysfsFolder + "/dev"));
    std::string number;
    numberText >> number;
    std::vector<std::string> points;
    std::istringstream table(m_calls.ReadText(m_place.mountTable));
    for (std::string line; !number.empty() && std::getline(table, line);) {
        std::istringstream fields(line);
        std::string id;
        std::string parent;
        std::string device;
        std::string root;
        std::string point;
        if (fields >> id >> parent >> device >> root >> point && device == number) {
            points.push_back(Unescaped(point));
        }
    }
    return points;
}

// Returns nothing, or why something could not be unmounted.
std::string CDeviceLock::Unmount() {
    for (int round = 0;; ++round) {
        const std::vector<std::string> points = MountPoints();
        if (points.empty()) {
            return {};
        }
        // The last one is on top if several share a mount point.
        const std::string& point = points.back();
        const BusReply reply =
            m_bus.Call({"org.freedesktop.UDisks2",
                        "/org/freedesktop/UDisks2/block_devices/" + LeafOf(m_place.devicePath),
                        "org.freedesktop.UDisks2.Filesystem",
                        "Unmount",
                        {BusOptions{{"auth.no_user_interaction", true}}},
                        kUnmountLimit});
        const int error = reply.Failed() ? -m_calls.Unmount(point) : 0;
        if (error != 0 || round == kMaxMountPoints) {
            return UnmountRefusal(point, reply, error);
        }
    }
}

std::string CDeviceLock::UnmountRefusal(const std::string& mountPoint, const BusReply& reply,
                                        int error) {
    std::string text = "The disk is mounted at \"" + mountPoint + "\" and cannot be unmounted: ";
    const std::string programs = ProgramsUsing(m_calls, m_place.devicePath, {mountPoint});
    if (!programs.empty()) {
        return text + "it is in use by " + programs + ".";
    }
    if (error == EBUSY || reply.error == "org.freedesktop.UDisks2.Error.DeviceBusy") {
        return text + "another program uses it.";
    }
    if (reply.error.starts_with("org.freedesktop.UDisks2.")) {
        return text + "UDisks says \"" + reply.text + "\".";
    }
    if (!reply.Failed()) {
        return text + "it comes back every time.";
    }
    return text + "UDisks, which unmounts disks, does not answer (" + reply.text +
           "). You can unmount it yourself: run \"umount " + mountPoint + "\" as root.";
}

} // namespace larkspin
