// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What the current job is doing, and how the last one ended, for observers outside. All functions
// may be called on any thread.
#pragma once

#include "app/observed_ui.h"

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

namespace larkspin {

enum class JobResult {
    None,      // there has been no job yet
    Done,      // everything that was asked for has been made
    Failed,    // the user has been told why
    Cancelled, // the user declined, or the program was about to exit
};

inline constexpr int kNoPercentage = -1;

struct JobNews {
    uint32_t nRun = 0; // number of the job; 0 before the first
    bool bRunning = false;
    JobKind kind = JobKind::Data;       // of the current job, or the last
    int nPercent = 0;                   // 0 to 100, or kNoPercentage if the drive reports none
    std::u16string strStatus;           // the current activity
    JobResult result = JobResult::None; // of the last job that ended
};

class JobMonitor final : public IJobObserver {
  public:
    // `changed` is called after each change, on the thread that made it. It must not wait for
    // another thread, and not call back. An empty function is allowed. When this returns, the
    // previous one is no longer called.
    void OnChange(std::function<void()> changed);

    void Begin(JobKind kind);
    // The job has made one disc as requested. Anything it tells the user afterwards makes it a
    // failure.
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
    // Without memory, a change may be lost, but never a disc.
    template <typename Change>
    void AlterIfPossible(const Change& change) noexcept;

    std::mutex m_mutex;
    std::function<void()> m_changed;
    JobNews m_news;
    JobResult m_soFar = JobResult::None; // of the current job
    int m_nQuestions = 0;                // open now
};

} // namespace larkspin
