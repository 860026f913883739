// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The data job's disc check: which disc is written, and how; and whether the volume fits once it is
// laid out.
#pragma once

#include "jobs/job_frame.h"

#include <cstdint>

namespace larkspin {

enum class Verdict {
    Passed,
    Again, // the disc must be checked again
    GiveUp,
};

// What the check has found out about a disc that passed.
struct DataDisc {
    // Nothing on the disc is kept: the volume begins at its first block. On a CD the next writable
    // address decides instead.
    bool ignorePrevious = true;
    bool isDvd = false; // how to write it; the drive is not asked again
};

// The room that a volume needs and that the disc has, in sectors.
struct DataRoom {
    int64_t start = 0;    // where the volume begins; 0 unless it is appended
    int64_t sectors = 0;  // of the volume
    int64_t capacity = 0; // of the whole disc; 0 if unknown
    int64_t unit = 1;     // the smallest amount that can be written

    // The number of sectors that don't fit.
    int64_t Excess() const;
};

// Checks the disc in the drive, and prompts for another one or erases it, until it has room for
// `estimate` sectors or the user gives up. Returns true when the disc fits; how to write it goes to
// *disc. The drive is then held, and has been since before the disc was checked.
//
// The estimate covers only the files, against the whole disc: what is already there may be reused
// for unchanged files. Only the volume itself shows whether it fits beside the rest.
bool CheckDataDisc(JobEnv& env, DriveHold& hold, CAspiCD& drive, int32_t estimate, DataDisc* disc);

// Asks what to do about a volume that doesn't fit. If the disc would have room when empty, and can
// be emptied, the user may sacrifice its contents: a disc that is blanked must be checked again,
// one that is written in place passes, with *disc changed. Otherwise there remains another disc or
// another selection. The windows of the job are down meanwhile.
Verdict AskForRoom(JobEnv& env, DriveHold& hold, CAspiCD& drive, const DataRoom& room,
                   DataDisc* disc);

// Handles a volume on a disc that is written in place which was cut off before its folders were
// there, so that nothing can be appended to it. Passes, with *disc changed, if the user agrees to
// overwrite it.
Verdict AskToWriteOver(JobEnv& env, DataDisc* disc);

} // namespace larkspin
