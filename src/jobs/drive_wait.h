// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Waiting for a drive before its disc is judged: while it spins a disc up, wakes or comes out of a
// reset, nothing that it says of the disc counts.
#pragma once

#include "jobs/job_frame.h"

namespace larkspin {

// The window of a wait, which says what is waited for (see LateProgress).
class DriveWait {
  public:
    DriveWait(JobEnv& env, JobKind kind);

    // For the operations of CAspiCD that wait.
    CAspiCD::GoOn GoOn() {
        return [this] { return Continue(); };
    }
    bool WasCancelled() const { return m_progress.WasCancelled(); }

  private:
    bool Continue();

    LateProgress m_progress;
};

// Waits until the drive can be asked about its disc. A drive that doesn't get ready for a minute is
// told, and waited for once more if the user wants it. False when the user has given up or the
// program is to end: each look at a disc, and so each copy, begins with this.
bool AwaitDrive(JobEnv& env, DriveHold& hold, CAspiCD& drive, JobKind kind);

// CAspiCD::ReadDiskInfo on a drive that is ready, and once more on one that fell back before it
// answered. False when the user has given up.
bool ReadDiskInfoWhenReady(JobEnv& env, DriveHold& hold, CAspiCD& drive, JobKind kind);

} // namespace larkspin
