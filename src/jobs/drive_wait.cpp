#include "jobs/drive_wait.h"
#include "jobs/prompts.h"

namespace larkspin {

namespace {

constexpr uint64_t kSilentMs = 1000;
constexpr int kMostReports = 2;

} // namespace

bool DriveWait::Continue() {
    if (m_env.host.IsLeaving()) {
        m_bCancelled = true;
        return false;
    }
    const uint64_t now = m_env.clock.TickMs();
    if (!m_nBegun) {
        m_nBegun = now;
    }
    if (!m_progress) {
        if (now - *m_nBegun < kSilentMs || m_kind == JobKind::Erase) {
            return true;
        }
        m_progress.emplace(m_env, m_kind, kNothingAtStake);
        m_env.ui.SetStatus(m_kind, u"Waiting for the drive to get the disk ready...");
    }
    m_bCancelled = IsCancelled(m_env.ui, m_kind);
    return !m_bCancelled;
}

bool AwaitDrive(JobEnv& env, DriveHold& hold, CAspiCD& drive, JobKind kind) {
    drive.m_bDiscTouched = false;
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
        if ((drive.m_dwDiskKnown & DISK_APPENDABLE) != 0) {
            break;
        }
    }
    return true;
}

} // namespace larkspin
