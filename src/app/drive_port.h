// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The drives used by the process.
//
// Environment variables choose them:
//   LARKSPIN_VIRTUAL_DRIVE  one or more disc folders joined by ':'. A virtual drive replaces the
//                           machine's own. It starts with the first folder's disc. When a disc is
//                           ejected, "disc: FOLDER" goes to standard output and the next folder's
//                           disc is inserted. A new or empty folder gets a blank disc.
//   LARKSPIN_VIRTUAL_DISC   kind of those blank discs, "cd-r" by default (virtual_drive.h)
//   LARKSPIN_VIRTUAL_SPEED  how fast the virtual drive is, as a multiple of the selected write
//                           speed; as fast as possible by default
//   LARKSPIN_VIRTUAL_SPIN_UP  milliseconds that a disc takes to spin up (drive_timing.h)
//   LARKSPIN_VIRTUAL_FAULTS  a file that says which commands fail (fault_script.h)
// Without the first, the machine's drives are used: through SG_IO, or through an ASPI library if
// the kernel shows none.
#pragma once

#include "drive/port.h"
#include "platform/clock.h"

#include <memory>
#include <string>
#include <vector>

namespace larkspin {

struct DrivePort {
    std::unique_ptr<IScsiPort> port;
    std::vector<std::string> aspiLibraries; // used if the port has no drive
};

DrivePort OpenDrivePort(IClock& clock);

} // namespace larkspin
