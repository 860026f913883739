// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Finds the name under which the kernel shows the drive.
#pragma once

#include <string>

namespace larkspin {

// The optical drive ("/dev/sr0") of the USB device at `busId` ("1-1"); empty as long as there is
// none. Only looks at names in sysfs: the attributes of USB devices and hubs are protected by locks
// that the kernel holds while it waits for an answer from this drive.
std::string OpticalDriveAt(const std::string& busId, const std::string& sysfs = "/sys");

} // namespace larkspin
