// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/mmc.h"
#include "drive/profiles.h"
#include "jobs/drive_reason.h"
#include "jobs/drive_wait.h"
#include "jobs/erase_outcome.h"
#include "jobs/in_job_erase.h"
#include "jobs/prompts.h"
#include "platform/text.h"

#include <optional>
#include <string>
#include <string_view>

namespace larkspin {

namespace {

// How filling with zeros fails at the end of the disc.
bool IsEndOfFill(const CAspiCD::CgrowisofsException& failure) {
    const std::string_view text = failure.what();
    return text == kDvdWriteError || text == kDvdOutOfSpace;
}

std::vector<double> SpeedsOf(CAspiCD& drive) {
    try {
        return drive.GetWriteSpeeds();
    } catch (const CAspiCD::CgrowisofsException&) {
        return {}; // a drive that doesn't tell can still erase
    }
}

Erasing ErasingOf(CAspiCD& drive) {
    return TraitsOf(drive.GetCurrentProfile()).erasing;
}

constexpr const char16_t* kNotDone = u"The erasing was not done.";

std::optional<EraseOutcome> OutcomeUnlessCancelled(JobEnv& env, CAspiCD& drive,
                                                   const CancelFunctor& cancel,
                                                   const std::u16string& reason) {
    if (cancel()) {
        return std::nullopt;
    }
    const EraseOutcome outcome = LookAtErased(env, drive, reason);
    return cancel() ? std::nullopt : std::optional(outcome);
}

// How much of the disc a fill reached before it ended early; empty if it reached the end.
std::u16string FillFailure(const CAspiCD& drive) {
    const DvdFacts facts = drive.GetDvdFacts();
    const int64_t end = facts.finalOffset;
    // If the drive doesn't report the disc's size, the end of the fill is the end of the disc.
    const bool isWhole = end > 0 ? facts.currentOffset + static_cast<int64_t>(kDvdChunkBytes) > end
                                 : facts.writeError == mmc::kLbaOutOfRange;
    if (isWhole) {
        return u"";
    }
    const int64_t percent = end > 0 ? facts.currentOffset * 100 / end : 0;
    return FormatWide("The drive stopped at %d%% of the disk; what lies behind was not erased. ",
                      static_cast<int>(percent)) +
           (facts.writeError != 0 ? ReasonOf(facts.writeError) : u"");
}

// Returns nothing if the user cancelled.
std::optional<EraseOutcome> EraseByFormat(JobEnv& env, CAspiCD& drive,
                                          const EraseTypeResult& choice) {
    DoorLock door(drive);
    ProgressScope progress(env, JobKind::Erase);
    const CancelFunctor cancel = CancelOf(env, drive, JobKind::Erase);
    const bool quick = choice.mode == EraseMode::Quick;
    std::u16string reason;
    try {
        drive.ResetDvdState();
        drive.OpenDvdForWriting(true, choice.dSpeed);
        drive.FormatDvdRewritable(drive.GetDvdFacts().nextStart, quick,
                                  DvdProgress(env.ui, drive, JobKind::Erase), &cancel);
    } catch (const CAspiCD::CgrowisofsException& failure) {
        if (quick || !IsEndOfFill(failure)) {
            env.ui.ShowMessage(StoppedText(failure) + u".");
            const int error = drive.GetDvdFacts().writeError;
            reason = error != 0 ? ReasonOf(error) : kNotDone;
        } else {
            reason = FillFailure(drive);
        }
    } catch (const std::bad_alloc&) {
        env.ui.ShowMessage(kOutOfMemory);
        reason = kNotDone;
    }
    // Also after a failure: the disc is about to be ejected, and no session may stay open on it.
    if (!drive.FinishDvd() && reason.empty()) {
        reason = NotFinishedText(drive);
    }
    return OutcomeUnlessCancelled(env, drive, cancel, reason);
}

std::optional<EraseOutcome> EraseByBlanking(JobEnv& env, CAspiCD& drive,
                                            const EraseTypeResult& choice) {
    DoorLock door(drive);
    ProgressScope progress(env, JobKind::Erase);
    drive.SetCdSpeed(WholeSpeed(choice.dSpeed));
    drive.SendOpc();
    const CancelFunctor cancel = CancelOf(env, drive, JobKind::Erase);
    if (cancel()) {
        return std::nullopt;
    }
    drive.BlankDisk(choice.mode == EraseMode::Full);
    WatchBlanking(env, drive);
    return OutcomeUnlessCancelled(env, drive, cancel, BlankFailure(drive));
}

} // namespace

JobEnd EraseJob(JobEnv& env, uint32_t driveIndex) {
    CAspiCD* const drive = FindDrive(env, driveIndex);
    if (drive == nullptr) {
        return JobEnd::Idle;
    }
    const EraseTypeResult choice = env.ui.ShowEraseType(SpeedsOf(*drive));
    if (choice.mode == EraseMode::Cancelled) {
        return JobEnd::Idle;
    }
    DriveHold hold(env.ui, *drive);
    for (;;) {
        if (!hold.Take() || !AwaitDrive(env, hold, *drive, JobKind::Erase)) {
            return JobEnd::Idle;
        }
        if (drive->IsDiskErasable() || ErasingOf(*drive) != Erasing::AsReported) {
            break;
        }
        if (!prompts::CannotEraseThisDisk(hold.UiWithFreeDrive())) {
            return JobEnd::Idle;
        }
    }
    env.ui.SetNoProgressReport(false);
    std::optional<EraseOutcome> outcome = ErasingOf(*drive) == Erasing::Overwrite
                                              ? EraseByFormat(env, *drive, choice)
                                              : EraseByBlanking(env, *drive, choice);
    drive->EjectDisk();
    hold.Release();
    if (outcome) {
        NoteLostBlocks(*drive, &*outcome);
    }
    if (outcome && outcome->IsEmpty() && outcome->reason.empty()) {
        env.host.TellSuccess(TextOf(*outcome));
    } else if (outcome) {
        env.ui.ShowMessage(TextOf(*outcome));
    }
    return JobEnd::Exit;
}

} // namespace larkspin
