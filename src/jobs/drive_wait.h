// Waiting for a drive before its disc is judged: while it spins a disc up, wakes or comes out of a
// reset, nothing that it says of the disc counts.
#pragma once

#include "jobs/job_frame.h"

#include <cstdint>
#include <optional>

namespace larkspin {

// The windows of a wait. They come up only if it lasts: the job's progress window, which says what
// is waited for and can be cancelled. They are gone when the object ends. An erase job's window
// can only say that a disc is being erased, so that job waits without one.
class DriveWait {
  public:
    DriveWait(JobEnv& env, JobKind kind) : m_env(env), m_kind(kind) {}

    // For the operations of CAspiCD that wait.
    CAspiCD::GoOn GoOn() {
        return [this] { return Continue(); };
    }
    bool WasCancelled() const { return m_bCancelled; }

  private:
    bool Continue();

    JobEnv& m_env;
    const JobKind m_kind;
    std::optional<uint64_t> m_nBegun; // tick
    std::optional<ProgressScope> m_progress;
    bool m_bCancelled = false;
};

// Waits until the drive can be asked about its disc. A drive that doesn't get ready for a minute is
// told, and waited for once more if the user wants it. False when the user has given up or the
// program is to end: each look at a disc, and so each copy, begins with this.
bool AwaitDrive(JobEnv& env, DriveHold& hold, CAspiCD& drive, JobKind kind);

// CAspiCD::ReadDiskInfo on a drive that is ready, and once more on one that fell back before it
// answered. False when the user has given up.
bool ReadDiskInfoWhenReady(JobEnv& env, DriveHold& hold, CAspiCD& drive, JobKind kind);

} // namespace larkspin
