// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/linux/sg_port.h"
#include "drive/linux/device_users.h"
#include "platform/text.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <scsi/sg.h>
#include <set>
#include <tuple>
#include <utility>

namespace larkspin {

namespace {

constexpr uint32_t kMaxPort = 255;
constexpr uint32_t kMaxTarget = 7;
constexpr uint32_t kMaxLun = 7;

constexpr int kNeverWait = O_NONBLOCK | O_CLOEXEC; // works without a disc, too

// Results that the kernel stores in sg_io_hdr::host_status and driver_status.
enum HostStatus : unsigned short {
    kHostOk = 0,
    kHostNoConnect = 1,
    kHostTimeOut = 3,
    kHostBadTarget = 4,
};
constexpr unsigned short kDriverOutcome = 0x0F;
constexpr unsigned short kDriverTimeOut = 6;

PortError ErrorOfErrno(int error) {
    switch (error) {
    case ENODEV:
    case ENXIO:
    case EBADF:
        return PortError::InvalidHandle;
    case ETIMEDOUT:
        return PortError::TimedOut;
    case EACCES:
    case EPERM:
        return PortError::AccessDenied; // opened for reading only, or the kernel's command filter
    default:
        return PortError::Failed;
    }
}

bool IsDescriptorFormat(uint8_t responseCode) {
    return (responseCode & 0x7F) == 0x72 || (responseCode & 0x7F) == 0x73;
}

// Stores the sense in fixed format (SPC). Some bridges return the other format, which has the key
// and codes right after the response code.
void TakeSense(const std::array<uint8_t, 32>& sense, PortCompletion* completion) {
    if (!IsDescriptorFormat(sense[0])) {
        completion->sense = sense;
        return;
    }
    constexpr uint8_t kDeferredBit = 1;
    constexpr uint8_t kUpToQualifier = 6;
    completion->sense[0] = static_cast<uint8_t>(0x70 | (sense[0] & kDeferredBit));
    completion->sense[2] = sense[1] & 0x0F;
    completion->sense[7] = kUpToQualifier;
    completion->sense[12] = sense[2];
    completion->sense[13] = sense[3];
}

PortCompletion CompletionOf(const sg_io_hdr& header, const std::array<uint8_t, 32>& sense) {
    PortCompletion completion;
    completion.status = header.status;
    // If a host adapter's count is nonsense, it is clamped.
    const int64_t moved = int64_t{header.dxfer_len} - header.resid;
    completion.moved =
        static_cast<uint32_t>(std::clamp<int64_t>(moved, 0, int64_t{header.dxfer_len}));
    if (header.host_status == kHostTimeOut ||
        (header.driver_status & kDriverOutcome) == kDriverTimeOut) {
        completion.error = PortError::TimedOut;
        return completion;
    }
    if (header.sb_len_wr > 0) {
        TakeSense(sense, &completion);
    }
    const bool hasSense = (completion.sense[0] & 0x70) != 0;
    if (header.host_status == kHostNoConnect || header.host_status == kHostBadTarget) {
        completion.error = PortError::InvalidHandle;
    } else if (!hasSense && (header.host_status != kHostOk || header.status != 0)) {
        completion.error = PortError::Failed; // refused without a reason
    }
    return completion;
}

class CSgDevice final : public IPortDevice {
  public:
    CSgDevice(ISystemCalls& calls, CSgPort& port, int letterIndex, int descriptor)
        : m_calls(calls), m_port(port), m_nLetterIndex(letterIndex), m_nDescriptor(descriptor) {}
    CSgDevice(const CSgDevice&) = delete;
    CSgDevice& operator=(const CSgDevice&) = delete;
    ~CSgDevice() override { m_calls.Close(m_nDescriptor); }

    PortCompletion Execute(const PortRequest& request) override;

    PortError Address(PortAddress* address) override {
        return m_port.AddressOf(m_nLetterIndex, address);
    }

  private:
    ISystemCalls& m_calls;
    CSgPort& m_port;
    int m_nLetterIndex;
    int m_nDescriptor;
};

PortCompletion CSgDevice::Execute(const PortRequest& request) {
    std::array<uint8_t, 32> sense = {};
    std::array<uint8_t, 16> cdb = {};
    const size_t cdbLength = std::min(request.cdb.size(), cdb.size());
    std::copy_n(request.cdb.begin(), cdbLength, cdb.begin());
    // The file descriptor implies the address. The kernel inserts the LUN for devices that want it,
    // and others may refuse reserved bits (SPC-2 and later).
    cdb[1] &= 0x1F;

    sg_io_hdr header = {};
    header.interface_id = 'S';
    header.dxfer_direction = SG_DXFER_NONE;
    if (request.length > 0 && request.direction == PortDirection::In) {
        header.dxfer_direction = SG_DXFER_FROM_DEV;
    } else if (request.length > 0 && request.direction == PortDirection::Out) {
        header.dxfer_direction = SG_DXFER_TO_DEV;
    }
    if (header.dxfer_direction != SG_DXFER_NONE) {
        header.dxferp = request.data;
        header.dxfer_len = request.length;
    }
    header.cmdp = cdb.data();
    header.cmd_len = static_cast<unsigned char>(cdbLength);
    header.sbp = sense.data();
    header.mx_sb_len = static_cast<unsigned char>(sense.size());
    header.timeout = request.timeoutSeconds * 1000;

    const int result = m_calls.Ioctl(m_nDescriptor, SG_IO, &header);
    if (result >= 0) {
        return CompletionOf(header, sense);
    }
    PortCompletion completion;
    completion.error = ErrorOfErrno(-result);
    return completion;
}

std::string KernelName(int letterIndex) {
    return "sr" + std::to_string(letterIndex - kFirstLetterIndex);
}

} // namespace

CSgPort::CSgPort(ISystemBus& bus, ISystemCalls& calls, std::string sysfs, std::string deviceFolder,
                 std::string mountTable)
    : m_bus(bus), m_calls(calls), m_strSysfs(std::move(sysfs)),
      m_strDeviceFolder(std::move(deviceFolder)), m_strMountTable(std::move(mountTable)) {}

std::string CSgPort::SysfsFolder(int letterIndex) const {
    return m_strSysfs + "/block/" + KernelName(letterIndex);
}

std::string CSgPort::DevicePath(int letterIndex) const {
    return m_strDeviceFolder + "/" + KernelName(letterIndex);
}

bool CSgPort::IsOpticalDrive(int letterIndex) {
    if (letterIndex < kFirstLetterIndex || letterIndex > kLastLetterIndex) {
        return false;
    }
    // The peripheral device types handled by the kernel's driver (SPC): CD-ROM and write-once.
    const std::string type = m_calls.ReadText(SysfsFolder(letterIndex) + "/device/type");
    return type.starts_with("5\n") || type.starts_with("4\n");
}

std::u16string CSgPort::DisplayName(int letterIndex) {
    if (!IsOpticalDrive(letterIndex)) {
        return {};
    }
    const std::string name = KernelName(letterIndex);
    return {name.begin(), name.end()};
}

std::unique_ptr<IPortDevice> CSgPort::Open(int letterIndex, bool writeAccess) {
    const int flags = (writeAccess ? O_RDWR : O_RDONLY) | kNeverWait;
    const int descriptor = m_calls.Open(DevicePath(letterIndex), flags);
    if (descriptor < 0) {
        return nullptr;
    }
    return std::make_unique<CSgDevice>(m_calls, *this, letterIndex, descriptor);
}

std::optional<PortAddress> CSgPort::ReadAddress(int letterIndex) {
    // The link ends in "host:channel:target:lun".
    const std::string link = m_calls.ReadLink(SysfsFolder(letterIndex) + "/device");
    const std::string last = link.substr(link.rfind('/') + 1);
    uint32_t host = 0;
    uint32_t channel = 0;
    uint32_t target = 0;
    uint32_t lun = 0;
    char rest = 0;
    if (std::sscanf(last.c_str(), "%u:%u:%u:%u%c", &host, &channel, &target, &lun, &rest) != 4) {
        return std::nullopt;
    }
    if (host > kMaxPort || target > kMaxTarget || lun > kMaxLun) {
        return std::nullopt;
    }
    return PortAddress{static_cast<uint8_t>(host), static_cast<uint8_t>(target),
                       static_cast<uint8_t>(lun)};
}

PortError CSgPort::AddressOf(int letterIndex, PortAddress* address) {
    // Either all drives have an address or none: one made up from the letter index must not match
    // another drive's real address.
    std::set<std::tuple<uint8_t, uint8_t, uint8_t>> taken;
    for (int other = kFirstLetterIndex; other <= kLastLetterIndex; ++other) {
        if (!IsOpticalDrive(other)) {
            continue;
        }
        const std::optional<PortAddress> found = ReadAddress(other);
        if (!found || !taken.insert({found->port, found->target, found->lun}).second) {
            return PortError::NotSupported;
        }
        if (other == letterIndex) {
            *address = *found;
        }
    }
    return IsOpticalDrive(letterIndex) ? PortError::None : PortError::InvalidHandle;
}

LockResult CSgPort::LockAndDismount(int letterIndex) {
    if (m_held.contains(letterIndex)) {
        return {};
    }
    auto lock = std::make_unique<CDeviceLock>(
        m_calls, m_bus,
        CDeviceLock::Place{DevicePath(letterIndex), SysfsFolder(letterIndex), m_strMountTable});
    LockResult result = lock->Take();
    if (!result.Refused()) {
        m_held.emplace(letterIndex, std::move(lock));
    }
    return result;
}

void CSgPort::Unlock(int letterIndex) {
    m_held.erase(letterIndex);
}

std::u16string CSgPort::WhyClosed(int letterIndex) {
    const int descriptor = m_calls.Open(DevicePath(letterIndex), O_RDONLY | kNeverWait);
    if (descriptor < 0) {
        return ToWide(DeviceRefusal(DevicePath(letterIndex), -descriptor));
    }
    m_calls.Close(descriptor);
    return {};
}

std::vector<std::string> CSgPort::KernelNames() {
    std::vector<std::string> names;
    for (std::string& name : m_calls.List(m_strSysfs + "/block")) {
        if (name.starts_with("sr") && name.size() > 2 &&
            name.find_first_not_of("0123456789", 2) == std::string::npos) {
            names.push_back(std::move(name));
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::u16string> CSgPort::DrivesWithoutLetter() {
    std::vector<std::u16string> texts;
    for (const std::string& name : KernelNames()) {
        bool hasLetter = false;
        for (int letter = kFirstLetterIndex; letter <= kLastLetterIndex; ++letter) {
            hasLetter = hasLetter || KernelName(letter) == name;
        }
        if (!hasLetter) {
            texts.push_back(ToWide(m_strDeviceFolder + "/" + name +
                                   " cannot be used: Larkspin knows the drives sr0 to " +
                                   KernelName(kLastLetterIndex) + " only."));
        }
    }
    return texts;
}

bool CSgPort::IsInUse(int letterIndex) {
    return !ProgramsUsing(m_calls, DevicePath(letterIndex), {}).empty();
}

std::string CSgPort::Inventory() {
    // A drive that replaces another may get the same name and address, but seldom the same make.
    std::string inventory;
    for (const std::string& name : KernelNames()) {
        const std::string device = m_strSysfs + "/block/" + name + "/device";
        inventory += name + ' ' + m_calls.ReadLink(device) + '\n';
        for (const char* fact : {"/vendor", "/model", "/rev"}) {
            inventory += m_calls.ReadText(device + fact);
        }
    }
    return inventory;
}

} // namespace larkspin
