// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// How long a drive may take for each command before it counts as hung.
//
// A caller may ask for more time than this, but not for less: a time-out makes the kernel reset the
// drive, which ruins the disc in it.
#pragma once

#include <cstdint>
#include <span>

namespace larkspin {

constexpr uint32_t kDiscReportSeconds = 240;   // for a disc that the drive has not yet looked at
constexpr uint32_t kFlushInOneGoSeconds = 900; // the cache of a write in one go, and the lead-out

// In seconds; 0 for a command that moves nothing in the drive, for which the default is enough.
uint32_t LeastSeconds(std::span<const uint8_t> cdb);

} // namespace larkspin
