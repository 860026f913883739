// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Finds out who uses a device, as far as /proc shows it to this process's user.
#pragma once

#include "drive/linux/system_calls.h"

#include <string>
#include <vector>

namespace larkspin {

// The programs, other than this one, that have the device itself open, have something open at or
// below one of the mount points, run from there or have their working directory there: "nautilus
// (1234), ffplay (977)". Names at most five. Empty if none is visible; other users' programs are
// not.
std::string ProgramsUsing(ISystemCalls& calls, const std::string& devicePath,
                          const std::vector<std::string>& mountPoints);

} // namespace larkspin
