// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "jobs/data_check.h"
#include "drive/profiles.h"
#include "jobs/drive_wait.h"
#include "jobs/in_job_erase.h"
#include "jobs/open_session.h"
#include "jobs/prompts.h"

#include <algorithm>

namespace larkspin {

namespace {

Verdict AgainIf(bool answer) {
    return answer ? Verdict::Again : Verdict::GiveUp;
}

Verdict AgainOnceBlanked(JobEnv& env, CAspiCD& drive) {
    return InJobErase(env, drive) ? Verdict::Again : Verdict::GiveUp;
}

// The disc holds something that is not a volume to append to.
Verdict CheckOtherContent(JobEnv& env, DriveHold& hold, CAspiCD& drive) {
    const bool isInPlace = TraitsOf(drive.GetCurrentProfile()).IsWrittenInPlace();
    if (!isInPlace && !drive.Disk().IsKnownToBe(DISK_ERASABLE)) {
        return AgainIf(prompts::NothingToAddTo(hold.UiWithFreeDrive()));
    }
    if (!prompts::EraseNotBlank(env.ui)) {
        return Verdict::GiveUp;
    }
    return isInPlace ? Verdict::Passed : AgainOnceBlanked(env, drive);
}

// The content of a DVD decides whether the volume is appended to it or overwrites it.
Verdict CheckContent(JobEnv& env, DriveHold& hold, CAspiCD& drive, DataDisc* disc) {
    auto content = CAspiCD::DiscContent::Unknown;
    {
        DriveWait wait(env, JobKind::Data);
        content = drive.LookAtContent(wait.GoOn());
        if (wait.WasCancelled()) {
            return Verdict::GiveUp;
        }
    }
    disc->ignorePrevious = content != CAspiCD::DiscContent::IsoVolume;
    switch (content) {
    case CAspiCD::DiscContent::Nothing:
    case CAspiCD::DiscContent::IsoVolume:
        return Verdict::Passed;
    case CAspiCD::DiscContent::Other:
        return CheckOtherContent(env, hold, drive);
    case CAspiCD::DiscContent::Unknown:
        break;
    }
    return AgainIf(prompts::CannotLookAtDisk(hold.UiWithFreeDrive()));
}

Verdict CheckWritableDvd(JobEnv& env, DriveHold& hold, CAspiCD& drive, int32_t estimate,
                         DataDisc* disc) {
    const int32_t capacity = drive.GetDvdCapacity();
    if (capacity <= 0) {
        return AgainIf(prompts::NotSuitableForWriting(hold.UiWithFreeDrive()));
    }
    if (estimate > capacity) {
        return AgainIf(prompts::DataTooLargeForDisk(hold.UiWithFreeDrive(),
                                                    prompts::ExcessMegabytes(estimate - capacity)));
    }
    return CheckContent(env, hold, drive, disc);
}

// Compares with the size of the disc, not with the free space on it.
Verdict CheckWritableCd(DriveHold& hold, CAspiCD& drive, int32_t estimate) {
    if (estimate > kCdLimitSectors) {
        return AgainIf(prompts::TooMuchDataForCd(hold.UiWithFreeDrive()));
    }
    const std::optional<int32_t> capacity = drive.Disk().Capacity();
    if (!capacity) {
        return AgainIf(prompts::NotSuitableForWriting(hold.UiWithFreeDrive()));
    }
    if (*capacity >= estimate) {
        return Verdict::Passed;
    }
    return AgainIf(drive.Disk().IsKnownToBe(DISK_BLANK)
                       ? prompts::CapacityNotEnough(hold.UiWithFreeDrive())
                       : prompts::NotSuitableForWriting(hold.UiWithFreeDrive()));
}

Verdict OfferErase(JobEnv& env, DriveHold& hold, CAspiCD& drive, int32_t estimate) {
    const int32_t limit = HasDvdWay(drive) ? kDvdLimitSectors : kCdLimitSectors;
    if (estimate > limit || !drive.Disk().IsKnownToBe(DISK_ERASABLE)) {
        return AgainIf(prompts::NotSuitableForWriting(hold.UiWithFreeDrive()));
    }
    return AgainIf(prompts::EraseForMoreSpace(env.ui) && InJobErase(env, drive));
}

Verdict CheckOnce(JobEnv& env, DriveHold& hold, CAspiCD& drive, int32_t estimate, DataDisc* disc) {
    if (!ReadDiskInfoWhenReady(env, hold, drive, JobKind::Data)) {
        return Verdict::GiveUp;
    }
    const uint32_t profile = drive.GetCurrentProfile();
    const MediumTraits& medium = TraitsOf(profile);
    if (medium.IsWrittenInPlace()) {
        drive.Disk().SetAppendable();
    }
    if (drive.Disk().IsKnownToBe(DISK_SESSION_OPEN) && medium.hasSessions) {
        return AgainIf(OfferClosing(env, hold, drive));
    }
    if (!drive.Disk().IsKnownToBe(DISK_APPENDABLE)) {
        return OfferErase(env, hold, drive, estimate);
    }
    if (profile == 0) {
        return AgainIf(prompts::CannotLookAtDisk(hold.UiWithFreeDrive()));
    }
    if (medium.recording == Recording::Random) {
        return AgainIf(prompts::RandomBdNotSupported(hold.UiWithFreeDrive()));
    }
    disc->isDvd = medium.hasDvdWay;
    return disc->isDvd ? CheckWritableDvd(env, hold, drive, estimate, disc)
                       : CheckWritableCd(hold, drive, estimate);
}

} // namespace

int64_t DataRoom::Excess() const {
    const int64_t end = (start + sectors + unit - 1) / unit * unit;
    return capacity > 0 ? std::max<int64_t>(end - capacity, 0) : 0;
}

bool CheckDataDisc(JobEnv& env, DriveHold& hold, CAspiCD& drive, int32_t estimate, DataDisc* disc) {
    while (hold.Take()) {
        const Verdict verdict = CheckOnce(env, hold, drive, estimate, disc);
        if (verdict != Verdict::Again) {
            return verdict == Verdict::Passed;
        }
    }
    return false;
}

Verdict AskForRoom(JobEnv& env, DriveHold& hold, CAspiCD& drive, const DataRoom& room,
                   DataDisc* disc) {
    const bool isInPlace = TraitsOf(drive.GetCurrentProfile()).IsWrittenInPlace();
    const bool isWorthIt = room.start > 0 && room.sectors <= room.capacity;
    if (isWorthIt && (isInPlace || drive.Disk().IsKnownToBe(DISK_ERASABLE))) {
        if (!prompts::EraseForMoreSpace(env.ui)) {
            return Verdict::GiveUp;
        }
        if (!isInPlace) {
            return AgainOnceBlanked(env, drive);
        }
        disc->ignorePrevious = true;
        return Verdict::Passed;
    }
    return AgainIf(prompts::DataTooLargeForDisk(hold.UiWithFreeDrive(),
                                                prompts::ExcessMegabytes(room.Excess())));
}

Verdict AskToWriteOver(JobEnv& env, DataDisc* disc) {
    if (!prompts::EraseNotBlank(env.ui)) {
        return Verdict::GiveUp;
    }
    disc->ignorePrevious = true;
    return Verdict::Passed;
}

} // namespace larkspin
