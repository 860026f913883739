// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What a progress dialog knows and decides: bar, status line, elapsed time, time left, picture, the
// cancel question and the two flags.
//
// A job's thread starts it, feeds it and reads the cancel flag; the main thread runs its timer and
// its buttons. Operations say which of the two they are for; those that say nothing are for both.
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

    // `onCancelled`, if there is one, is called by AnswerCancel with the run that was cancelled.
    explicit CProgressDialog(JobKind kind, std::function<void(uint32_t run)> onCancelled = {})
        : m_kind(kind), m_onCancelled(std::move(onCancelled)) {}

    JobKind Kind() const { return m_kind; }

    // Job: bar to 0, status line empty, flags cleared, clock started. `diskName` is the medium's
    // name for the cancel question.
    void Start(uint32_t diskType, const std::u16string& diskName, uint64_t tickMs);

    // Bar, held in 0 to 100. A step goes from 100 back to 0, which shows that work goes on, and not
    // how far it is: no time is left then that could be told.
    void SetProgress(int percent);
    void StepProgress();
    int Progress() const { return m_nPercent; }

    // Job: how many bytes the whole bar stands for; 0 for what has no speed. A start forgets it.
    void SetAmount(uint64_t bytes) { m_nBytes = bytes; }
    uint64_t Amount() const { return m_nBytes; }

    // The erase dialog has a fixed status text, which nothing changes.
    void SetStatus(const std::u16string& text);
    std::u16string Status() const;

    bool IsCancelled() const { return m_bCancelled; }

    // Main: Hide and Show change the flag alone; the job goes on.
    void Hide() { m_bHidden = true; }
    void Show() { m_bHidden = false; }
    bool IsHidden() const { return m_bHidden; }

    // Main: the question that Cancel asks; Yes and No answer it.
    std::u16string CancelQuestion() const;
    // Counts the starts. An answer is for one run: it changes nothing once the next has started.
    // Yes stands until then: the job may have left out a part of the disc already, and must not be
    // told to go on as if nothing had happened. No leaves the flag as it is.
    uint32_t Run() const { return m_nRun; }
    void AnswerCancel(uint32_t run, bool yes);

    struct TimerStep {
        int nFrame = 0; // 0 or 1, which of the two pictures is shown next
        std::u16string strElapsed;
        std::u16string strLeft; // empty as long as nothing sane can be said
    };
    // Main: one step of picture and clock.
    TimerStep OnTimer(uint64_t tickMs);

  private:
    const JobKind m_kind;
    const std::function<void(uint32_t)> m_onCancelled;
    std::atomic<int> m_nPercent = 0;
    std::atomic<bool> m_bStepped = false; // the bar tells no share of the work
    std::atomic<bool> m_bHidden = false;
    std::atomic<bool> m_bCancelled = false;
    std::atomic<uint32_t> m_nRun = 0;
    std::atomic<uint64_t> m_nStartTick = 0;
    std::atomic<uint64_t> m_nBytes = 0;
    mutable std::mutex m_mutex; // the next three, and the order of a start and an answer
    std::u16string m_strStatus;
    uint32_t m_nDiskType = 0;
    std::u16string m_strDiskName;
    int m_nCounter = 1; // main, as the next two; lives on from run to run
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

// "Elapsed time: 61:05"; minutes are never turned into hours.
std::u16string ElapsedText(uint64_t elapsedMs);

// What Cancel asks before it spoils a disc of that MMC profile.
std::u16string ConfirmCancelWriting(uint32_t diskType, const std::u16string& diskName);

// The balloon of a left click while a job runs.
struct ProgressBalloonText {
    const char16_t* szTitle;
    std::u16string strText;
};
inline constexpr uint32_t kProgressBalloonMs = 5000;
// `noReport`: the drive gives no percentage; it counts for the erase job alone.
ProgressBalloonText ProgressBalloon(JobKind kind, int percent, bool noReport);

} // namespace larkspin
