// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The disc check of the data job: which disc is written, and how; and whether the volume fits once
// it is laid out.
#pragma once

#include "jobs/job_frame.h"

#include <cstdint>

namespace larkspin {

enum class Verdict {
    Passed,
    Again, // the disc is to be looked at again
    GiveUp,
};

// What the check has found out about the disc that it passed.
struct DataDisc {
    // Nothing on it is to be kept: the volume begins at its first block. On a CD the next writable
    // address decides.
    bool ignorePrevious = true;
    bool isDvd = false; // the way to write it; no second question to the drive decides another
};

// What a volume takes of a disc and what the disc has, in sectors.
struct DataRoom {
    int64_t start = 0;    // where the volume begins; 0 unless it is added to something
    int64_t sectors = 0;  // of the volume
    int64_t capacity = 0; // of the whole disc; 0 if the drive doesn't tell
    int64_t unit = 1;     // what is written at a time

    // Sectors that there is no room for.
    int64_t Excess() const;
};

// Looks at the disc in the drive, and prompts for another one or erases it, until it takes
// `estimate` sectors or the user gives up. True when the disc fits; how to write it goes to *disc.
// The drive is held then, and has been since before the disc was looked at.
//
// The estimate is that of the files alone, against the whole disc: what is there already may serve
// for files that have not changed. Only the volume itself tells whether it fits beside the rest.
bool CheckDataDisc(JobEnv& env, DriveHold& hold, CAspiCD& drive, int32_t estimate, DataDisc* disc);

// Asks what to do about a volume that doesn't fit. A disc that would take it if it were empty, and
// can be emptied, may be given away for it: one that is blanked is to be looked at again, one that
// is written in place passes, with *disc changed. Another disc or another selection is left for the
// rest. The windows of the job are down meanwhile.
Verdict AskForRoom(JobEnv& env, DriveHold& hold, CAspiCD& drive, const DataRoom& room,
                   DataDisc* disc);

// A volume on a disc that is written in place which was cut off before its folders were there, so
// that nothing can be added to it. Passes, with *disc changed, if the user gives it away.
Verdict AskToWriteOver(JobEnv& env, DataDisc* disc);

} // namespace larkspin
