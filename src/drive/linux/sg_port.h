// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The port on Linux: optical drives of the kernel's sr driver, found in sysfs and driven with the
// SG_IO ioctl.
//
// /dev/sr0 has letter index 2 ("C:"), sr1 has 3, up to sr23 with 25; further drives can only be
// named. A drive's address is its host, target and LUN in sysfs. Addresses can't be used if a walk
// over ports 0 to 255, targets 0 to 7 and LUNs 0 to 7 would miss one, or if two drives share one
// (the channel is not part of it). Then no drive has an address (PortError::NotSupported), and each
// is identified by its letter.
//
// The user needs permission to read and write the device file; Debian grants it to the group
// "cdrom" and to the user at the machine.
#pragma once

#include "drive/linux/device_lock.h"
#include "drive/linux/system_calls.h"
#include "drive/port.h"

#include <map>
#include <optional>
#include <string>

namespace larkspin {

class CSgPort final : public IScsiPort {
  public:
    // `bus` and `calls` must outlive the port and its devices. The three paths are for tests.
    explicit CSgPort(ISystemBus& bus, ISystemCalls& calls = LinuxSystemCalls(),
                     std::string sysfs = "/sys", std::string deviceFolder = "/dev",
                     std::string mountTable = "/proc/self/mountinfo");
    CSgPort(const CSgPort&) = delete;
    CSgPort& operator=(const CSgPort&) = delete;

    bool IsOpticalDrive(int letterIndex) override;
    std::u16string DisplayName(int letterIndex) override;
    std::unique_ptr<IPortDevice> Open(int letterIndex, bool writeAccess) override;
    // Commands don't go through the locked handle (device_lock.h).
    LockResult LockAndDismount(int letterIndex) override;
    void Unlock(int letterIndex) override;
    std::u16string WhyClosed(int letterIndex) override;
    std::vector<std::u16string> DrivesWithoutLetter() override;
    bool IsInUse(int letterIndex) override;
    std::string Inventory() override;

    PortError AddressOf(int letterIndex, PortAddress* address);

  private:
    std::string SysfsFolder(int letterIndex) const;
    std::string DevicePath(int letterIndex) const;
    std::vector<std::string> KernelNames(); // "sr0" and so on, for all optical drives
    std::optional<PortAddress> ReadAddress(int letterIndex);

    ISystemBus& m_bus;
    ISystemCalls& m_calls;
    std::string m_strSysfs;
    std::string m_strDeviceFolder;
    std::string m_strMountTable;
    std::map<int, std::unique_ptr<CDeviceLock>> m_held; // by letter index
};

} // namespace larkspin
