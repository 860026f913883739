// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The drives that the process works with.
//
// The environment chooses:
//   LARKSPIN_VIRTUAL_DRIVE  one or more disc folders joined by ':'. One virtual drive stands in for
//                           the machine's own; the first folder's disc lies in it, and when a disc
//                           is ejected, "disc: FOLDER" goes to standard output and the next
//                           folder's disc comes in. A new or empty folder gets a blank disc.
//   LARKSPIN_VIRTUAL_DISC   kind of those blank discs, "cd-r" unless set (virtual_drive.h)
//   LARKSPIN_VIRTUAL_SPEED  how fast the virtual drive is, as a multiple of the selected write
//                           speed; without it, as fast as it can be
//   LARKSPIN_VIRTUAL_SPIN_UP  milliseconds that a disc takes to come up to speed (drive_timing.h)
//   LARKSPIN_VIRTUAL_FAULTS  a file that tells which commands fail (fault_script.h)
// Without the first, the machine's drives are used: through SG_IO, or through an ASPI library where
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
    std::vector<std::string> aspiLibraries; // tried where the port shows no drive
};

DrivePort OpenDrivePort(IClock& clock);

} // namespace larkspin
