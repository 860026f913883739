// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Who uses a device, as far as /proc shows it to the user of this process.
#pragma once

#include "drive/linux/system_calls.h"

#include <string>
#include <vector>

namespace larkspin {

// The programs, other than this one, that have the device itself or something at or below one of
// the mount points open, run from there or work there: "nautilus (1234), ffplay (977)". At most
// five are named. Empty if none can be seen; the programs of other users can't.
std::string ProgramsUsing(ISystemCalls& calls, const std::string& devicePath,
                          const std::vector<std::string>& mountPoints);

} // namespace larkspin
