#include "jobs/data_check.h"
#include "drive/mmc.h"
#include "jobs/in_job_erase.h"
#include "jobs/prompts.h"

namespace larkspin {

namespace {

enum class Verdict { Passed, Again, GiveUp };

Verdict AgainIf(bool answer) {
    return answer ? Verdict::Again : Verdict::GiveUp;
}

Verdict CheckWritableDvd(JobEnv& env, CAspiCD& drive, int32_t estimate) {
    const int32_t capacity = drive.GetDvdCapacity();
    if (capacity <= 0) {
        return AgainIf(prompts::NotSuitableForWriting(env.ui));
    }
    if (estimate > capacity) {
        return AgainIf(
            prompts::DataTooLargeForDisk(env.ui, prompts::ExcessMegabytes(estimate - capacity)));
    }
    return Verdict::Passed;
}

// Compares with the whole disc, not with what is free on it.
Verdict CheckWritableCd(JobEnv& env, CAspiCD& drive, int32_t estimate) {
    if (estimate > kCdLimitSectors) {
        return AgainIf(prompts::TooMuchDataForCd(env.ui));
    }
    const std::optional<int32_t> capacity = KnownCapacity(drive);
    if (!capacity) {
        return AgainIf(prompts::NotSuitableForWriting(env.ui));
    }
    if (*capacity >= estimate) {
        return Verdict::Passed;
    }
    return AgainIf(IsKnown(drive, DISK_BLANK) ? prompts::CapacityNotEnough(env.ui)
                                              : prompts::NotSuitableForWriting(env.ui));
}

Verdict OfferErase(JobEnv& env, CAspiCD& drive, int32_t estimate) {
    const int32_t limit = IsDvd(drive) ? kDvdLimitSectors : kCdLimitSectors;
    if (estimate > limit || !IsKnown(drive, DISK_ERASABLE)) {
        return AgainIf(prompts::NotSuitableForWriting(env.ui));
    }
    return AgainIf(prompts::EraseForMoreSpace(env.ui) && InJobErase(env, drive));
}

Verdict CheckOnce(JobEnv& env, CAspiCD& drive, int32_t estimate) {
    drive.ReadDiskInfo();
    const uint32_t profile =
        drive.HasCurrentProfile() ? drive.GetCurrentProfile() : kUnknownProfile;
    // A DVD-RAM knows no blanking, so a data disc on it can only grow in place like the others.
    if (IsOverwritten(profile) || profile == mmc::kProfileDvdRam) {
        drive.m_dwDiskState |= DISK_APPENDABLE;
        drive.m_dwDiskKnown |= DISK_APPENDABLE;
    }
    if (!IsKnown(drive, DISK_APPENDABLE)) {
        return OfferErase(env, drive, estimate);
    }
    return IsDvd(drive) ? CheckWritableDvd(env, drive, estimate)
                        : CheckWritableCd(env, drive, estimate);
}

} // namespace

bool CheckDataDisc(JobEnv& env, CAspiCD& drive, int32_t estimate) {
    for (;;) {
        const Verdict verdict = CheckOnce(env, drive, estimate);
        if (verdict != Verdict::Again) {
            return verdict == Verdict::Passed;
        }
    }
}

} // namespace larkspin
