// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What the job that runs is doing, and how the last one has ended, for those who look on from
// outside. All operations may be called on any thread.
#pragma once

#include "app/observed_ui.h"

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

namespace larkspin {

enum class JobResult {
    None,      // there has been no job yet
    Done,      // all that was asked for has been made
    Failed,    // the user has been told why not
    Cancelled, // the user said no, or the program was to end
};

inline constexpr int kNoPercentage = -1;

struct JobNews {
    uint32_t nRun = 0; // counts the jobs; 0 before the first
    bool bRunning = false;
    JobKind kind = JobKind::Data;       // of the job that runs, or of the last
    int nPercent = 0;                   // 0 to 100, or kNoPercentage where the drive gives none
    std::u16string strStatus;           // what is done now
    JobResult result = JobResult::None; // of the last job that has ended
};

class JobMonitor final : public IJobObserver {
  public:
    // `changed` is called after each change, on the thread that made it. It must not wait for
    // another thread, and not call back. An empty one is none; the one before is no longer called
    // when this returns.
    void OnChange(std::function<void()> changed);

    void Begin(JobKind kind);
    // The job has made one disc as it was asked to. What it tells the user from then on spoils it.
    void Succeed() { SetResult(JobResult::Done); }
    void Fail() { SetResult(JobResult::Failed); }
    // May be called again if it throws.
    void End();
    JobNews News();

    void OnStart(JobKind kind) override;
    void OnStatus(const std::u16string& text) override;
    void OnProgress(int percent) override;
    void OnNoPercentage() override;
    void OnQuestion(const std::u16string& text, BoxButtons buttons) override;
    void OnAnswer() override;

  private:
    void SetResult(JobResult result);
    template <typename Change>
    void Alter(const Change& change);
    // For want of memory a change may be lost, but no disc with it.
    template <typename Change>
    void AlterIfPossible(const Change& change) noexcept;

    std::mutex m_mutex;
    std::function<void()> m_changed;
    JobNews m_news;
    JobResult m_soFar = JobResult::None; // of the job that runs
    int m_nQuestions = 0;                // open now
};

} // namespace larkspin
