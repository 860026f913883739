// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Exclusive use of an optical drive's device file.
//
// First, everything mounted from the device is unmounted: through UDisks2, which permits that to
// the user at the machine, and otherwise by the system call, which permits it to root. Then the
// device is opened for reading and writing with O_EXCL, which keeps others from mounting or holding
// it. It also stops the kernel's event polling, which only an exclusive writer can do. Last, it is
// locked with flock, which keeps udev from acting on a device (systemd.io/BLOCK_DEVICE_LOCKING).
// Otherwise, when anybody opens the drive, the kernel asks it for events, and udev answers a press
// of the eject button by unlocking and opening the door, even in the middle of a write.
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
    ~CDeviceLock(); // releases the device

    // Waits up to three seconds for a program that uses the device briefly, for example to look at
    // a new disc, and up to ten for udev. To be called once.
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
