// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Watching a drive blank a disc, and the erase that runs inside a write job.
#pragma once

#include "jobs/job_frame.h"

namespace larkspin {

// Polls every 100 ms until the drive is done or the user has cancelled. A percentage goes to the
// bar of the erase dialog; without one, the bar takes a step on every tenth poll and the user
// interface is told that there is no figure. A cancel doesn't stop the drive: it is asked once
// more, and the watching ends. Returns false if the drive was still busy then. A drive that is
// reset or does not answer in between is waited for (CAspiCD::AwaitUnit). A drive that makes no
// progress is treated as busy (CAspiCD::SetBusyFunctor), or after an hour if it reports no
// percentage.
bool WatchBlanking(JobEnv& env, CAspiCD& drive);

// Blanks the disc quickly, without asking, and looks at it. If it is not empty then, or may not be,
// the user is told, but the job checks the disc again all the same. Returns false when the user has
// cancelled, so that the disc can't be used, or the program is about to exit: the job has to give
// up.
bool InJobErase(JobEnv& env, CAspiCD& drive);

// Why the last blank failed; empty if the drive reported nothing.
std::u16string BlankFailure(const CAspiCD& drive);

} // namespace larkspin
