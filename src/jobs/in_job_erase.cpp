#include "jobs/in_job_erase.h"

namespace larkspin {

namespace {

constexpr std::chrono::milliseconds kPollTime{100};
constexpr uint32_t kPollsPerStep = 10;
constexpr int kNoPercentage = -1;

} // namespace

bool WatchBlanking(JobEnv& env, CAspiCD& drive) {
    int percent = kNoPercentage;
    uint32_t pollCount = 0; // polls without a percentage
    while (!env.ui.IsEraseCancelled()) {
        if (!drive.IsBlankingInProgress(&percent)) {
            return true;
        }
        if (percent != kNoPercentage) {
            env.ui.SetEraseProgress(percent);
        } else {
            env.ui.SetNoProgressReport(true);
            if (pollCount % kPollsPerStep == kPollsPerStep - 1) {
                env.ui.StepEraseProgress();
            }
            ++pollCount;
        }
        env.clock.Sleep(kPollTime);
    }
    return !drive.IsBlankingInProgress(&percent);
}

bool InJobErase(JobEnv& env, CAspiCD& drive) {
    env.ui.SetNoProgressReport(false);
    drive.SendOpc();
    drive.BlankDisk(false);
    const ProgressScope progress(env, JobKind::Erase);
    return WatchBlanking(env, drive);
}

} // namespace larkspin
