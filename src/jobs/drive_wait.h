// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Waiting for a drive before its disc is judged: while it spins up a disc, wakes or recovers from a
// reset, nothing it reports about the disc is reliable.
#pragma once

#include "jobs/job_frame.h"

namespace larkspin {

// The window shown during a wait, which says what is waited for (see LateProgress).
class DriveWait {
  public:
    DriveWait(JobEnv& env, JobKind kind);

    // To be passed to the operations of CAspiCD that wait.
    CAspiCD::GoOn GoOn() {
        return [this] { return Continue(); };
    }
    bool WasCancelled() const { return m_progress.WasCancelled(); }

  private:
    bool Continue();

    LateProgress m_progress;
};

// Waits until the drive can be asked about its disc. If it does not get ready within a minute, the
// user is told, and may have it waited for again. Returns false when the user has given up or the
// program is about to exit. Every look at a disc, and so each copy, begins with this.
bool AwaitDrive(JobEnv& env, DriveHold& hold, CAspiCD& drive, JobKind kind);

// Calls CAspiCD::ReadDiskInfo on a ready drive, and once more if the drive became busy again before
// it answered. False when the user has given up.
bool ReadDiskInfoWhenReady(JobEnv& env, DriveHold& hold, CAspiCD& drive, JobKind kind);

} // namespace larkspin
