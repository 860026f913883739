// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "usbdrive/own_device.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace larkspin {

std::string OpticalDriveAt(const std::string& busId, const std::string& sysfs) {
    std::error_code error;
    for (auto entry = std::filesystem::directory_iterator(sysfs + "/block", error);
         !busId.empty() && !error && entry != std::filesystem::directory_iterator();
         entry.increment(error)) {
        const std::string name = entry->path().filename();
        if (!name.starts_with("sr")) {
            continue;
        }
        // The USB device is one of the folders above the SCSI device.
        std::error_code gone;
        const auto folder = std::filesystem::canonical(entry->path() / "device", gone);
        if (!gone && std::find(folder.begin(), folder.end(), busId) != folder.end()) {
            return "/dev/" + name;
        }
    }
    return {};
}

} // namespace larkspin
