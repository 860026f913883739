// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "jobs/in_job_erase.h"
#include "drive/waiting.h"
#include "jobs/drive_reason.h"
#include "jobs/erase_outcome.h"

namespace larkspin {

namespace {

constexpr uint64_t kPollMs = 100;
// Without a figure, a drive may need the better part of an hour for a whole disc.
constexpr uint64_t kPatienceWithoutFigureMs = uint64_t{60} * 60 * 1000;
constexpr uint32_t kPollsPerStep = 10;
constexpr int kNoPercentage = -1;

} // namespace

bool WatchBlanking(JobEnv& env, CAspiCD& drive) {
    const CAspiCD::GoOn goOn = [&env] { return !env.ui.IsEraseCancelled(); };
    const CancelFunctor cancel(&env.ui, &CCDWriterUI::IsEraseCancelled);
    BusyWait wait(drive, &cancel);
    int percent = kNoPercentage;
    uint32_t pollCount = 0; // polls without a percentage
    while (!env.ui.IsEraseCancelled()) {
        // An answer other than "busy" may be some report that hides it.
        if (!drive.IsBlankingInProgress(&percent) &&
            (drive.AwaitUnit(goOn) != CAspiCD::UnitState::Busy ||
             !drive.IsBlankingInProgress(&percent))) {
            return true;
        }
        wait.SetPatience(percent != kNoPercentage ? BusyWait::kPatienceMs
                                                  : kPatienceWithoutFigureMs);
        if (percent != kNoPercentage) {
            wait.NoteFigure(percent);
            env.ui.SetEraseProgress(percent);
        } else {
            env.ui.SetNoProgressReport(true);
            if (pollCount % kPollsPerStep == kPollsPerStep - 1) {
                env.ui.StepEraseProgress();
            }
            ++pollCount;
        }
        if (!wait.Pause(kPollMs)) {
            break;
        }
    }
    return !drive.IsBlankingInProgress(&percent);
}

bool InJobErase(JobEnv& env, CAspiCD& drive) {
    env.ui.SetNoProgressReport(false);
    drive.SendOpc();
    if (env.host.IsLeaving()) {
        return false;
    }
    drive.BlankDisk(false);
    EraseOutcome outcome;
    {
        const ProgressScope progress(env, JobKind::Erase);
        if (!WatchBlanking(env, drive)) {
            if (drive.IsGivenUp()) {
                env.ui.ShowMessage(kGivenUp);
            }
            return false;
        }
        outcome = LookAtErased(env, drive, BlankFailure(drive));
        if (env.ui.IsEraseCancelled()) {
            return false;
        }
    }
    if (!outcome.IsEmpty()) {
        env.ui.ShowMessage(TextOf(outcome));
    }
    return true;
}

std::u16string BlankFailure(const CAspiCD& drive) {
    return drive.BlankError() != 0 ? ReasonOf(drive.BlankError()) : u"";
}

} // namespace larkspin
