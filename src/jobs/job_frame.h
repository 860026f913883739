// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The parts that the jobs share: drive look-up, disc facts, and the guards around the writing.
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
constexpr int32_t kDvdLimitSectors = 2'300'000; // above it no single layer disc

// How a job ends whose user has said no before anything was asked of the disc: the queue is kept. A
// feeding program's paths go with that, and so does the program if no others have come.
JobEnd EndOfCancelledDialog(JobHost& host);

// Null for an index past the end of the drive list.
CAspiCD* FindDrive(JobEnv& env, uint32_t index);

// Whether the disc in the drive is recorded as DVDs are: those, and BDs. It picks a job's way.
bool HasDvdWay(CAspiCD& drive);

// What ends a job early: its Cancel, and as long as nothing on the disc has been changed, the wish
// to leave the program.
CancelFunctor CancelOf(JobEnv& env, CAspiCD& drive, JobKind kind);

// The disc's kind for the cancel question. A drive that has no profile to report gives CD-RW or
// CD-R, as the disc can be erased or not.
uint32_t DiskTypeOf(CAspiCD& drive);
uint32_t CdTypeOf(CAspiCD& drive);

// A speed from a dialog as SetCdSpeed takes it: -1.0, no wish, gives 0.
uint32_t WholeSpeed(double speed);

// Copies as the user typed them, held in 1 to 20; negative numbers arrive wrapped around.
uint32_t HeldCopies(uint32_t typed);

// A count of sectors in a signed 32-bit number; what it can't hold stays at its greatest value.
int32_t HeldSectors(uint64_t sectors);

// What CAspiCD::FinishDvd could not do.
const char16_t* NotFinishedText(const CAspiCD& drive);

// The same for a session at once that FinishSaoWrite could not finish.
const char16_t* NoLeadOutText(const CAspiCD& drive);

// "Stopped: %s", the words for a failure of the DVD logic.
std::u16string StoppedText(const CAspiCD::CgrowisofsException& failure);

// What the user must know when the job is over, in one box: files that changed, a disc that was cut
// short. Nothing is shown for an empty list; a long one is told in part.
void ShowClosingNotices(CCDWriterUI& ui, const std::vector<std::u16string>& notices);

// What is told of a disc that is as it was asked for, with what is on it behind.
inline constexpr const char16_t* kDiscWritten = u"Disc written: ";
inline constexpr const char16_t* kOutOfMemory = u"Out of memory";
// Told of a recording that was not closed: nothing else tells its disc from a good one.
inline constexpr const char16_t* kSessionNotClosed =
    u"The drive could not close the session. The disk may not be readable in other drives.";
// Told when the drive reports that its cache did not reach the disc.
inline constexpr const char16_t* kCacheLost =
    u"The drive could not write everything that it had taken. The disk is not complete; please "
    u"write it again, on another disk if this happens once more.";
// Told of a DVD-RAM whose drive reports an error when it stops the disc.
inline constexpr const char16_t* kNotStopped =
    u"The drive reported an error when it was to stop the disk. Please check that the disk can be "
    u"read.";
// Told of a session at once that was not finished: nothing else tells its disc from a good one.
inline constexpr const char16_t* kLeadOutFailed =
    u"The drive could not write the lead-out. The disk may not be readable in other drives.";

// Progress dialog, tray callbacks and tray animation of a job while it works.
class ProgressScope {
  public:
    // `diskType` is of no use to a job that erases or verifies.
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

// The progress window of work that may last, before the disc is touched: it comes up once
// `silentMs` have passed, can be cancelled, and is gone when the object ends. An erase job's window
// can only say that a disc is being erased, so that job works without one.
class LateProgress {
  public:
    LateProgress(JobEnv& env, JobKind kind, uint64_t silentMs);

    // To be called often. `status` is asked for the text to show now and then. False once the user
    // has cancelled, or the program is to end.
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

// Of a job that is not writing: its progress window was cancelled, or the program is to end.
bool IsGivenUp(JobEnv& env, JobKind kind);

// The drive, kept from everybody else (CAspiCD::LockAndDismount): held before the last look at the
// disc, so that it is still the same when it is written, and until it has come out. While the user
// is to put in another disc the drive is free, for otherwise its button does nothing. While it is
// held, the user is asked about a drive that stays busy.
class DriveHold {
  public:
    DriveHold(CCDWriterUI& ui, CAspiCD& drive) : m_ui(ui), m_drive(drive) {}
    DriveHold(const DriveHold&) = delete;
    DriveHold& operator=(const DriveHold&) = delete;
    ~DriveHold() { Release(); }

    // Asks the user when somebody else has the drive, as often as they wish. False when they give
    // up.
    bool Take();
    void Release();
    // Frees the drive for a question that another disc may answer, and gives what to ask it with.
    CCDWriterUI& UiWithFreeDrive() {
        Release();
        return m_ui;
    }

  private:
    CCDWriterUI& m_ui;
    CAspiCD& m_drive;
    std::optional<BusyQuestion> m_busy; // while it is held
};

// Takes the job's paths out of the queue before the first block goes to the drive in its lifetime.
// A job that fails or is cancelled earlier leaves them there.
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

// The drive's door, locked until the object ends.
class DoorLock {
  public:
    // The DVD logic locks the door itself, when it prepares the disc.
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

// Shows how far the DVD logic is, and how much it has to write, in the progress window of that kind
// of job. The references outlive it.
ProgressFunctor DvdProgress(CCDWriterUI& ui, const CAspiCD& drive, JobKind kind);

} // namespace larkspin
