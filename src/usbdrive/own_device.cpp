#include "usbdrive/own_device.h"

#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

namespace larkspin {

COwnDevice::COwnDevice(std::string serial, std::string sysfs)
    : m_serial(std::move(serial)), m_sysfs(std::move(sysfs)) {}

bool COwnDevice::Look() {
    std::error_code error;
    const std::filesystem::path blocks = m_sysfs + "/block";
    for (auto entry = std::filesystem::directory_iterator(blocks, error);
         !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        const std::string name = entry->path().filename();
        if (!name.starts_with("sr"))
            continue;
        // The USB device is one of the folders above the SCSI device.
        std::error_code gone;
        auto folder = std::filesystem::canonical(entry->path() / "device", gone);
        for (; !gone && folder.has_relative_path(); folder = folder.parent_path()) {
            std::string serial;
            std::ifstream(folder / "serial") >> serial;
            if (serial == m_serial)
                m_path = "/dev/" + name;
        }
    }
    return IsKnown();
}

} // namespace larkspin
