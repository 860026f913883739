// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "jobs/drive_wait.h"
#include "jobs/prompts.h"

namespace larkspin {

namespace {

constexpr uint64_t kSilentMs = 1000;
constexpr int kMostReports = 2;

} // namespace

DriveWait::DriveWait(JobEnv& env, JobKind kind) : m_progress(env, kind, kSilentMs) {}

bool DriveWait::Continue() {
    return m_progress.Continue([] { return std::u16string(u"Waiting for the drive..."); });
}

bool AwaitDrive(JobEnv& env, DriveHold& hold, CAspiCD& drive, JobKind kind) {
    drive.BeginWithDisc();
    while (!env.host.IsLeaving()) {
        CAspiCD::UnitState state = CAspiCD::UnitState::Ready;
        {
            DriveWait wait(env, kind);
            state = drive.AwaitUnit(wait.GoOn());
        }
        if (state == CAspiCD::UnitState::Cancelled) {
            return false;
        }
        if (state != CAspiCD::UnitState::Busy) {
            return true;
        }
        if (!prompts::DriveNotReady(hold.UiWithFreeDrive()) || !hold.Take()) {
            return false;
        }
    }
    return false;
}

bool ReadDiskInfoWhenReady(JobEnv& env, DriveHold& hold, CAspiCD& drive, JobKind kind) {
    for (int tries = 0; tries < kMostReports; ++tries) {
        if (!AwaitDrive(env, hold, drive, kind)) {
            return false;
        }
        drive.ReadDiskInfo();
        if (drive.Disk().Knows(DISK_APPENDABLE)) {
            break;
        }
    }
    return true;
}

} // namespace larkspin
