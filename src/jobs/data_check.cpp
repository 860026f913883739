#include "jobs/data_check.h"
#include "drive/mmc.h"
#include "jobs/in_job_erase.h"
#include "jobs/prompts.h"

#include <algorithm>

namespace larkspin {

namespace {

Verdict AgainIf(bool answer) {
    return answer ? Verdict::Again : Verdict::GiveUp;
}

// On a disc that is written in place a volume that is not found is lost: the new one lies over it.
// So it is looked for again, as the first look at a disc may fail for reasons of its own.
bool HasVolume(CAspiCD& drive) {
    return drive.HasIsoVolume() || drive.HasIsoVolume();
}

Verdict CheckWritableDvd(DriveHold& hold, CAspiCD& drive, int32_t estimate, DataDisc* disc) {
    const int32_t capacity = drive.GetDvdCapacity();
    if (capacity <= 0) {
        return AgainIf(prompts::NotSuitableForWriting(hold.UiWithFreeDrive()));
    }
    if (estimate > capacity) {
        return AgainIf(prompts::DataTooLargeForDisk(hold.UiWithFreeDrive(),
                                                    prompts::ExcessMegabytes(estimate - capacity)));
    }
    disc->ignorePrevious = !HasVolume(drive);
    return Verdict::Passed;
}

// Compares with the whole disc, not with what is free on it.
Verdict CheckWritableCd(DriveHold& hold, CAspiCD& drive, int32_t estimate) {
    if (estimate > kCdLimitSectors) {
        return AgainIf(prompts::TooMuchDataForCd(hold.UiWithFreeDrive()));
    }
    const std::optional<int32_t> capacity = KnownCapacity(drive);
    if (!capacity) {
        return AgainIf(prompts::NotSuitableForWriting(hold.UiWithFreeDrive()));
    }
    if (*capacity >= estimate) {
        return Verdict::Passed;
    }
    return AgainIf(IsKnown(drive, DISK_BLANK)
                       ? prompts::CapacityNotEnough(hold.UiWithFreeDrive())
                       : prompts::NotSuitableForWriting(hold.UiWithFreeDrive()));
}

Verdict OfferErase(JobEnv& env, DriveHold& hold, CAspiCD& drive, int32_t estimate) {
    const int32_t limit = IsDvd(drive) ? kDvdLimitSectors : kCdLimitSectors;
    if (estimate > limit || !IsKnown(drive, DISK_ERASABLE)) {
        return AgainIf(prompts::NotSuitableForWriting(hold.UiWithFreeDrive()));
    }
    return AgainIf(prompts::EraseForMoreSpace(env.ui) && InJobErase(env, drive));
}

uint32_t ProfileOf(CAspiCD& drive) {
    return drive.HasCurrentProfile() ? drive.GetCurrentProfile() : kUnknownProfile;
}

// A DVD-RAM knows no blanking, so a data disc on it can only grow in place like the others.
bool IsWrittenInPlace(uint32_t profile) {
    return IsOverwritten(profile) || profile == mmc::kProfileDvdRam;
}

Verdict CheckOnce(JobEnv& env, DriveHold& hold, CAspiCD& drive, int32_t estimate, DataDisc* disc) {
    drive.ReadDiskInfo();
    const uint32_t profile = ProfileOf(drive);
    if (IsWrittenInPlace(profile)) {
        drive.m_dwDiskState |= DISK_APPENDABLE;
        drive.m_dwDiskKnown |= DISK_APPENDABLE;
    }
    if (!IsKnown(drive, DISK_APPENDABLE)) {
        return OfferErase(env, hold, drive, estimate);
    }
    return IsDvd(drive) ? CheckWritableDvd(hold, drive, estimate, disc)
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
    const uint32_t profile = ProfileOf(drive);
    const bool isInPlace = IsWrittenInPlace(profile);
    const bool isWorthIt = room.start > 0 && room.sectors <= room.capacity;
    if (isWorthIt && (isInPlace || IsKnown(drive, DISK_ERASABLE))) {
        if (!prompts::EraseForMoreSpace(env.ui)) {
            return Verdict::GiveUp;
        }
        if (!isInPlace) {
            return InJobErase(env, drive) ? Verdict::Again : Verdict::GiveUp;
        }
        disc->ignorePrevious = true;
        return Verdict::Passed;
    }
    return AgainIf(prompts::DataTooLargeForDisk(hold.UiWithFreeDrive(),
                                                prompts::ExcessMegabytes(room.Excess())));
}

} // namespace larkspin
