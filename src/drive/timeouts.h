// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// How long drives may take for a command before it counts as hung.
//
// Whoever sends a command may ask for more time than this, never for less: a time-out makes the
// kernel reset the drive, which ruins the disc in it.
#pragma once

#include <cstdint>
#include <span>

namespace larkspin {

constexpr uint32_t kDiscReportSeconds = 240;   // a disc that the drive does not know yet
constexpr uint32_t kFlushInOneGoSeconds = 900; // the cache of a write in one go and the lead-out

// Seconds; 0 for a command that moves nothing, which runs on the defaults.
uint32_t LeastSeconds(std::span<const uint8_t> cdb);

} // namespace larkspin
