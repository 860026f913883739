// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The timing of the virtual drive.
#pragma once

#include <cstdint>

namespace larkspin {

struct DriveTiming {
    uint32_t bufferKB = 2048;
    double speedFactor = 0.0; // multiple of the selected write speed; 0: no delays at all
    // How long blanking, formatting, closing and writing a lead-out take. 0: they are done before
    // the command is answered.
    uint32_t longOperationMs = 0;
    // How long a disc takes to spin up after it was inserted, after a reset, and when the drive is
    // woken. Meanwhile, the unit is becoming ready. 0: no time.
    uint32_t spinUpMs = 0;
    // The disc stops after this time without a command that needs it, and the next one wakes the
    // drive. 0: never.
    uint32_t restMs = 0;
};

// Like a real drive, but shortened for those who try the program.
constexpr uint32_t kQuickSpinUpMs = 1500;
constexpr uint32_t kUsualRestMs = 10 * 60'000;

} // namespace larkspin
