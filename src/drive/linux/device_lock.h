// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// An optical drive's device file, taken away from the rest of the system.
//
// What is mounted from the device is unmounted, through UDisks2 first, which lets whoever sits in
// front of the machine do so, then by the system call, which lets root. Then the device is held
// open for reading and writing with O_EXCL: the kernel lets nobody else mount or hold it, and stops
// polling it for events, which it does for an exclusive writer only. Last it is locked with flock,
// which is how udev is kept from acting on a device (systemd.io/BLOCK_DEVICE_LOCKING): anybody who
// opens the drive has the kernel ask it for events, and to the eject button's udev's answer is to
// unlock the door and open it, also in the middle of a write.
#pragma once

#include "drive/linux/system_calls.h"
#include "drive/port.h"
#include "platform/system_bus.h"

#include <string>
#include <vector>

namespace larkspin {

// Why a device file can't be opened, by the errno of the attempt, in sentences for the user.
std::string DeviceRefusal(const std::string& devicePath, int error);

class CDeviceLock {
  public:
    struct Place {
        std::string devicePath;  // "/dev/sr0"
        std::string sysfsFolder; // "/sys/block/sr0"
        std::string mountTable;  // "/proc/self/mountinfo"
    };

    CDeviceLock(ISystemCalls& calls, ISystemBus& bus, Place place);
    CDeviceLock(const CDeviceLock&) = delete;
    CDeviceLock& operator=(const CDeviceLock&) = delete;
    ~CDeviceLock(); // lets the device go

    // Waits up to three seconds for a program that has the device for a moment, as one does that
    // looks at a new disc, and up to ten for udev. To be called once.
    LockResult Take();

  private:
    LockResult Hold();
    LockResult KeepUdevAway();
    LockResult RefusedByUsers();
    std::vector<std::string> MountPoints();
    std::string Unmount();
    std::string UnmountRefusal(const std::string& mountPoint, const BusReply& reply, int error);

    ISystemCalls& m_calls;
    ISystemBus& m_bus;
    const Place m_place;
    int m_nDescriptor = -1;
};

} // namespace larkspin
