// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Watching a drive blank a disc, and the erase that runs inside a write job.
#pragma once

#include "jobs/job_frame.h"

namespace larkspin {

// Polls every 100 ms until the drive says that it is done or the user has cancelled. A percentage
// goes to the bar of the erase dialog; without one the bar takes a step on every tenth poll and the
// user interface is told that there is no figure. A cancel doesn't stop the drive: the drive is
// asked once more, and the watching ends. False if the drive was still busy then. A drive that was
// reset, or goes silent, in the middle is waited for as long as a disc that is to be judged. One
// that gets nowhere is a busy drive (CAspiCD::SetBusyFunctor), without a percentage after an hour.
bool WatchBlanking(JobEnv& env, CAspiCD& drive);

// Blanks the disc in the least way, without a dialog, and looks at it. A disc that is not empty
// then, or may not be, is told; the job looks at it again all the same. False when the user
// cancelled, so that the disc can't be used, or the program is to end: the job has to give up.
bool InJobErase(JobEnv& env, CAspiCD& drive);

// Why the last blank failed; empty if the drive told of nothing.
std::u16string BlankFailure(const CAspiCD& drive);

} // namespace larkspin
