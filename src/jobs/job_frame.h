// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Shared by all jobs: drive look-up, disc facts, and the guards around the writing.
#pragma once

#include "drive/aspi_cd.h"
#include "jobs/busy_drive.h"
#include "jobs/jobs.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace larkspin {

constexpr int32_t kCdLimitSectors = 360'000;
constexpr int32_t kDvdLimitSectors = 2'300'000; // more than any single layer disc holds

// How a job ends when the user declines before anything was asked of the disc. The queue is kept,
// except that a feeding program's paths are dropped, and the program exits unless others have come.
JobEnd EndOfCancelledDialog(JobHost& host);

// Null for an index past the end of the drive list.
CAspiCD* FindDrive(JobEnv& env, uint32_t index);

// Whether the disc in the drive is recorded like a DVD (DVDs and BDs), which decides a job's way.
bool HasDvdWay(CAspiCD& drive);

// Ends a job early: on its Cancel, and, as long as nothing on the disc has been changed, when the
// program is about to exit.
CancelFunctor CancelOf(JobEnv& env, CAspiCD& drive, JobKind kind);

// The kind of disc for the cancel question. For a drive without profiles it is CD-RW or CD-R,
// depending on whether the disc can be erased.
uint32_t DiskTypeOf(CAspiCD& drive);
uint32_t CdTypeOf(CAspiCD& drive);

// Converts a speed from a dialog for SetCdSpeed: -1.0, no preference, becomes 0.
uint32_t WholeSpeed(double speed);

// The number of copies as typed, limited to 1 to 20; a negative number arrives wrapped around.
uint32_t HeldCopies(uint32_t typed);

// A number of sectors as a signed 32-bit number, limited to its maximum.
int32_t HeldSectors(uint64_t sectors);

// What CAspiCD::FinishDvd failed to do.
const char16_t* NotFinishedText(const CAspiCD& drive);

// The same for a session at once that FinishSaoWrite failed to finish.
const char16_t* NoLeadOutText(const CAspiCD& drive);

// "Stopped: %s", the text for a failure of the DVD logic.
std::u16string StoppedText(const CAspiCD::CgrowisofsException& failure);

// What the user must know at the end of the job, in one box: files that changed, a disc that was
// cut short. Shows nothing for an empty list, and only part of a long one.
void ShowClosingNotices(CCDWriterUI& ui, const std::vector<std::u16string>& notices);

// Reports a disc that is as requested; followed by its contents.
inline constexpr const char16_t* kDiscWritten = u"Disc written: ";
inline constexpr const char16_t* kOutOfMemory = u"Out of memory";
// For a recording that was not closed: nothing else distinguishes its disc from a good one.
inline constexpr const char16_t* kSessionNotClosed =
    u"The drive could not close the session. The disk may not be readable in other drives.";
// For a drive whose cache did not reach the disc.
inline constexpr const char16_t* kCacheLost =
    u"The drive could not write everything that it had taken. The disk is not complete; please "
    u"write it again, on another disk if this happens once more.";
// For a DVD-RAM drive that reports an error when it stops the disc.
inline constexpr const char16_t* kNotStopped =
    u"The drive reported an error when it was to stop the disk. Please check that the disk can be "
    u"read.";
// For a session at once that was not finished: nothing else distinguishes its disc from a good one.
inline constexpr const char16_t* kLeadOutFailed =
    u"The drive could not write the lead-out. The disk may not be readable in other drives.";

// The progress dialog, tray callbacks and tray animation of a working job.
class ProgressScope {
  public:
    // `diskType` does not matter to a job that erases or verifies.
    ProgressScope(JobEnv& env, JobKind kind, uint32_t diskType = 0);
    ProgressScope(const ProgressScope&) = delete;
    ProgressScope& operator=(const ProgressScope&) = delete;
    ~ProgressScope() { End(); }

    void End();

  private:
    CCDWriterUI& m_ui;
    JobKind m_kind;
    std::optional<TrayCallbackGuard> m_callbacks;
};

// The progress window of possibly slow work before the disc is touched: it appears once `silentMs`
// have passed, can be cancelled, and disappears with the object. An erase job's window can only say
// that a disc is being erased, so that job does without.
class LateProgress {
  public:
    LateProgress(JobEnv& env, JobKind kind, uint64_t silentMs);

    // To be called often. `status` is called now and then for the text to show. Returns false once
    // the user has cancelled, or the program is about to exit.
    bool Continue(const std::function<std::u16string()>& status);
    bool WasCancelled() const { return m_bCancelled; }

  private:
    JobEnv& m_env;
    const JobKind m_kind;
    const uint64_t m_nSilentMs;
    std::optional<uint64_t> m_nBegun; // tick
    std::optional<uint64_t> m_nShown; // tick
    std::u16string m_strStatus;
    std::optional<ProgressScope> m_progress;
    bool m_bCancelled = false;
};

// For a job that is not writing: its progress window was cancelled, or the program is about to
// exit.
bool IsGivenUp(JobEnv& env, JobKind kind);

// Exclusive use of the drive (CAspiCD::LockAndDismount), from before the last look at the disc, so
// that it is still the same disc when it is written, until it has been ejected. While the user is
// to change the disc the drive is free, because otherwise its button does nothing. While it is
// held, the user is asked about a drive that stays busy.
class DriveHold {
  public:
    DriveHold(CCDWriterUI& ui, CAspiCD& drive) : m_ui(ui), m_drive(drive) {}
    DriveHold(const DriveHold&) = delete;
    DriveHold& operator=(const DriveHold&) = delete;
    ~DriveHold() { Release(); }

    // If somebody else has the drive, asks the user, as often as they want to retry. False when
    // they give up.
    bool Take();
    void Release();
    // Frees the drive for a question that may lead to another disc, and returns the UI to ask with.
    CCDWriterUI& UiWithFreeDrive() {
        Release();
        return m_ui;
    }

  private:
    CCDWriterUI& m_ui;
    CAspiCD& m_drive;
    std::optional<BusyQuestion> m_busy; // while it is held
};

// Removes the job's paths from the queue before the first block is sent to the drive during the
// object's lifetime. A job that fails or is cancelled earlier leaves them there.
class PathsTaking {
  public:
    PathsTaking(JobHost& host, CAspiCD& drive) : m_drive(drive) {
        drive.SetBeforeFirstBlock([&host] { host.TakePaths(); });
    }
    PathsTaking(const PathsTaking&) = delete;
    PathsTaking& operator=(const PathsTaking&) = delete;
    ~PathsTaking() { m_drive.SetBeforeFirstBlock(nullptr); }

  private:
    CAspiCD& m_drive;
};

// Keeps the drive's door locked as long as the object lives.
class DoorLock {
  public:
    // The DVD logic locks the door itself, while it prepares the disc.
    enum class By { ThisObject, DvdLogic };

    explicit DoorLock(CAspiCD& drive, By by = By::ThisObject) : m_pDrive(&drive) {
        if (by == By::ThisObject) {
            drive.LockDoor(true);
        }
    }
    DoorLock(const DoorLock&) = delete;
    DoorLock& operator=(const DoorLock&) = delete;
    ~DoorLock() { Release(); }

    void Release();

  private:
    CAspiCD* m_pDrive;
};

// Shows the progress of the DVD logic, and how much it has to write, in the progress window of such
// a job. The references must outlive it.
ProgressFunctor DvdProgress(CCDWriterUI& ui, const CAspiCD& drive, JobKind kind);

} // namespace larkspin
