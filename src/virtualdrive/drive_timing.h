// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// How the virtual drive behaves in time.
#pragma once

#include <cstdint>

namespace larkspin {

struct DriveTiming {
    uint32_t bufferKB = 2048;
    double speedFactor = 0.0; // multiple of the selected write speed; 0: no delays at all
    // How long blanking, formatting, closing and the writing of a lead-out take. With 0 they are
    // done before the command is answered.
    uint32_t longOperationMs = 0;
    // How long a disc takes to come up to speed when it was put in, when the drive was reset, and
    // when the drive is woken. The unit is becoming ready meanwhile. 0: no time.
    uint32_t spinUpMs = 0;
    // After so long without a command that needs the disc it stands still, and the next one wakes
    // the drive. 0: never.
    uint32_t restMs = 0;
};

// Like a real drive, but for the patience of whoever tries the program.
constexpr uint32_t kQuickSpinUpMs = 1500;
constexpr uint32_t kUsualRestMs = 10 * 60'000;

} // namespace larkspin
