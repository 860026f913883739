// The port on Linux: optical drives of the kernel's sr driver, found in sysfs and driven with the
// SG_IO ioctl.
//
// /dev/sr0 sits at letter index 2 ("C:"), sr1 at 3, up to sr23 at 25; further drives are not seen.
// A drive's address is its host, target and LUN in sysfs. Addresses that a walk over ports 0 to
// 255, targets 0 to 7 and LUNs 0 to 7 would not meet, or that two drives share (the channel is no
// part of them), can't tell drives apart; then no drive has an address (PortError::NotSupported).
//
// The user needs permission to read and write the device file; Debian gives it to the group
// "cdrom" and to whoever sits in front of the machine. One thread at a time.
#pragma once

#include "drive/linux/system_calls.h"
#include "drive/port.h"

#include <map>
#include <optional>
#include <string>

namespace larkspin {

class CSgPort final : public IScsiPort {
  public:
    // `calls` must outlive the port and its devices. The three paths are for tests.
    explicit CSgPort(ISystemCalls& calls = LinuxSystemCalls(), std::string sysfs = "/sys",
                     std::string deviceFolder = "/dev",
                     std::string mountTable = "/proc/self/mountinfo");
    CSgPort(const CSgPort&) = delete;
    CSgPort& operator=(const CSgPort&) = delete;
    ~CSgPort() override;

    bool IsOpticalDrive(int letterIndex) override;
    std::u16string DisplayName(int letterIndex) override;
    std::unique_ptr<IPortDevice> Open(int letterIndex, bool writeAccess) override;
    // Unmounts the disc if it is mounted, then keeps the device open with O_EXCL until the port
    // goes, which keeps others from mounting it. Once per device; commands need no share in it.
    void LockAndDismount(int letterIndex) override;

    PortError AddressOf(int letterIndex, PortAddress* address);

  private:
    std::string SysfsFolder(int letterIndex) const;
    std::string DevicePath(int letterIndex) const;
    bool IsMounted(int letterIndex);
    std::optional<PortAddress> ReadAddress(int letterIndex);

    ISystemCalls& m_calls;
    std::string m_strSysfs;
    std::string m_strDeviceFolder;
    std::string m_strMountTable;
    std::map<int, int> m_held; // letter index to descriptor
};

} // namespace larkspin
