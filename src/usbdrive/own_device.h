// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Under which name the kernel shows the drive, once it does.
#pragma once

#include <string>

namespace larkspin {

// The optical drive ("/dev/sr0") of the USB device at `busId` ("1-1"); empty while there is none.
// Only names in sysfs are looked at: the attributes of USB devices and hubs are behind locks that
// the kernel holds while it waits for an answer of this drive.
std::string OpticalDriveAt(const std::string& busId, const std::string& sysfs = "/sys");

} // namespace larkspin
