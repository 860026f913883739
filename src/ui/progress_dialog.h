// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The logic of a progress dialog: bar, status line, elapsed time, time left, picture, the cancel
// question and the two flags.
//
// A job's thread starts it, updates it and reads the cancel flag; the main thread runs its timer
// and handles its buttons. Functions say which thread they are for; others are for both.
#pragma once

#include "ui/ccdwriter_ui.h"
#include "ui/main_view.h"
#include "ui/progress_estimate.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>

namespace larkspin {

// The fixed text of the erase dialog.
inline constexpr const char16_t* kEraseStatus = u"Erasing disk...";

class CProgressDialog {
  public:
    static constexpr uint32_t kTimerPeriodMs = 220;

    // If not empty, AnswerCancel calls `onCancelled` with the number of the cancelled run.
    explicit CProgressDialog(JobKind kind, std::function<void(uint32_t run)> onCancelled = {})
        : m_kind(kind), m_onCancelled(std::move(onCancelled)) {}

    JobKind Kind() const { return m_kind; }

    // Job: sets the bar to 0, empties the status line, clears the flags and starts the clock.
    // `diskName` is the medium's name for the cancel question.
    void Start(uint32_t diskType, const std::u16string& diskName, uint64_t tickMs);

    // The bar, limited to 0 to 100. A step goes from 100 back to 0. It only shows that work goes
    // on, and not how far it is, so that no time left can be shown.
    void SetProgress(int percent);
    void StepProgress();
    int Progress() const { return m_nPercent; }

    // Job: the number of bytes that the whole bar stands for; 0 for work without a speed. Reset by
    // Start.
    void SetAmount(uint64_t bytes) { m_nBytes = bytes; }
    uint64_t Amount() const { return m_nBytes; }

    // Has no effect in the erase dialog, whose status text is fixed.
    void SetStatus(const std::u16string& text);
    std::u16string Status() const;

    bool IsCancelled() const { return m_bCancelled; }

    // Main: Hide and Show only change the flag; the job continues.
    void Hide() { m_bHidden = true; }
    void Show() { m_bHidden = false; }
    bool IsHidden() const { return m_bHidden; }

    // Main: the question asked by Cancel; answered with AnswerCancel.
    std::u16string CancelQuestion() const;
    // The number of starts. An answer belongs to one run: it has no effect once the next one has
    // started. Yes stays in force until then: the job may already have left out part of the disc,
    // and must not continue as if nothing had happened. No does not change the flag.
    uint32_t Run() const { return m_nRun; }
    void AnswerCancel(uint32_t run, bool yes);

    struct TimerStep {
        int nFrame = 0; // 0 or 1: which of the two pictures comes next
        std::u16string strElapsed;
        std::u16string strLeft; // empty until there is a sensible estimate
    };
    // Main: advances picture and clock by one step.
    TimerStep OnTimer(uint64_t tickMs);

  private:
    const JobKind m_kind;
    const std::function<void(uint32_t)> m_onCancelled;
    std::atomic<int> m_nPercent = 0;
    std::atomic<bool> m_bStepped = false; // the bar does not show a share of the work
    std::atomic<bool> m_bHidden = false;
    std::atomic<bool> m_bCancelled = false;
    std::atomic<uint32_t> m_nRun = 0;
    std::atomic<uint64_t> m_nStartTick = 0;
    std::atomic<uint64_t> m_nBytes = 0;
    mutable std::mutex m_mutex; // guards the next three, and the order of a start and an answer
    std::u16string m_strStatus;
    uint32_t m_nDiskType = 0;
    std::u16string m_strDiskName;
    int m_nCounter = 1; // main, like the next two; kept from run to run
    CProgressEstimate m_estimate;
    uint32_t m_nEstimatedRun = 0;
};

class CDataProgressDialog final : public CProgressDialog {
  public:
    CDataProgressDialog() : CProgressDialog(JobKind::Data) {}
};
class CAudioProgressDialog final : public CProgressDialog {
  public:
    CAudioProgressDialog() : CProgressDialog(JobKind::Audio) {}
};
class CBurnProgressDialog final : public CProgressDialog {
  public:
    CBurnProgressDialog() : CProgressDialog(JobKind::Image) {}
};
class CEraseProgressDialog final : public CProgressDialog {
  public:
    CEraseProgressDialog() : CProgressDialog(JobKind::Erase) {}
};
class CVerifyProgressDialog final : public CProgressDialog {
  public:
    CVerifyProgressDialog() : CProgressDialog(JobKind::Verify) {}
};

// "Elapsed time: 61:05"; never in hours.
std::u16string ElapsedText(uint64_t elapsedMs);

// The question before a cancel spoils a disc of that MMC profile.
std::u16string ConfirmCancelWriting(uint32_t diskType, const std::u16string& diskName);

// The balloon after a left click while a job runs.
struct ProgressBalloonText {
    const char16_t* szTitle;
    std::u16string strText;
};
inline constexpr uint32_t kProgressBalloonMs = 5000;
// `noReport`: the drive reports no percentage; only used for the erase job.
ProgressBalloonText ProgressBalloon(JobKind kind, int percent, bool noReport);

} // namespace larkspin
