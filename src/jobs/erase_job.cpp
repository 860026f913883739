#include "drive/dvd_texts.h"
#include "drive/mmc.h"
#include "jobs/drive_wait.h"
#include "jobs/in_job_erase.h"
#include "jobs/prompts.h"

#include <string_view>

namespace larkspin {

namespace {

// What a fill with zeros ends in at the end of the disc.
bool IsEndOfFill(const CAspiCD::CgrowisofsException& failure) {
    const std::string_view text = failure.what();
    return text == kDvdWriteError || text == kDvdOutOfSpace;
}

std::vector<double> SpeedsOf(CAspiCD& drive) {
    try {
        return drive.GetWriteSpeeds();
    } catch (const CAspiCD::CgrowisofsException&) {
        return {}; // a drive that can't tell still erases
    }
}

bool CanErase(CAspiCD& drive) {
    if (drive.IsDiskErasable()) {
        return true;
    }
    if (!drive.HasCurrentProfile()) {
        return false;
    }
    const uint32_t profile = drive.GetCurrentProfile();
    return IsOverwritten(profile) || profile == mmc::kProfileDvdMinusRwSequential;
}

// A DVD+RW knows no blanking: it is formatted, or filled with zeros.
bool HasNoBlanking(CAspiCD& drive) {
    if (!drive.HasCurrentProfile()) {
        return false;
    }
    const uint32_t profile = drive.GetCurrentProfile();
    return profile == mmc::kProfileDvdPlusRw || profile == mmc::kProfileDvdPlusRwDl;
}

void EraseByFormat(JobEnv& env, CAspiCD& drive, const EraseTypeResult& choice) {
    DoorLock door(drive);
    ProgressScope progress(env, JobKind::Erase);
    const CancelFunctor cancel(&env.ui, &CCDWriterUI::IsEraseCancelled);
    const bool quick = choice.mode == EraseMode::Quick;
    try {
        drive.ResetDvdState();
        drive.OpenDvdForWriting(true, choice.dSpeed);
        drive.FormatDvdRewritable(
            drive.m_nNextStart, quick, [&env](int percent) { env.ui.SetEraseProgress(percent); },
            &cancel);
    } catch (const CAspiCD::CgrowisofsException& failure) {
        if (quick || !IsEndOfFill(failure)) {
            env.ui.ShowMessage(StoppedText(failure) + u".");
        }
    } catch (const std::bad_alloc&) {
        env.ui.ShowMessage(kOutOfMemory);
    }
    // Also after a failure: the disc is about to be ejected, and no session may stay open on it.
    RunFinisher(drive);
    progress.End();
}

void EraseByBlanking(JobEnv& env, CAspiCD& drive, const EraseTypeResult& choice) {
    DoorLock door(drive);
    ProgressScope progress(env, JobKind::Erase);
    drive.SetCdSpeed(WholeSpeed(choice.dSpeed));
    drive.SendOpc();
    drive.BlankDisk(choice.mode == EraseMode::Full);
    WatchBlanking(env, drive);
    progress.End();
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
        if (CanErase(*drive)) {
            break;
        }
        if (!prompts::CannotEraseThisDisk(hold.UiWithFreeDrive())) {
            return JobEnd::Idle;
        }
    }
    env.ui.SetNoProgressReport(false);
    if (HasNoBlanking(*drive)) {
        EraseByFormat(env, *drive, choice);
    } else {
        EraseByBlanking(env, *drive, choice);
    }
    drive->EjectDisk();
    return JobEnd::Exit;
}

} // namespace larkspin
