// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A user interface with an observer: every call is passed on to the actual user interface, and what
// a job tells and asks is also reported to the observer.
//
// Called on the same threads as the actual one.
#pragma once

#include "ui/ccdwriter_ui.h"

#include <type_traits>

namespace larkspin {

// Called on the job's threads, concurrently if a job asks two things at once. Functions of no
// interest need not be overridden.
class IJobObserver {
  public:
    virtual ~IJobObserver() = default;

    // A progress window appears, with its bar at 0.
    virtual void OnStart(JobKind) {}
    virtual void OnStatus(const std::u16string&) {}
    virtual void OnProgress(int) {} // percent
    // The drive reports no percentage; OnProgress is meaningless.
    virtual void OnNoPercentage() {}
    // A dialog or box is about to open, or has been answered. A dialog has no text.
    virtual void OnQuestion(const std::u16string&, BoxButtons) {}
    virtual void OnAnswer() {}
};

class ObservedUi final : public CCDWriterUI {
  public:
    // Keeps both references.
    ObservedUi(CCDWriterUI& ui, IJobObserver& observer) : m_ui(ui), m_observer(observer) {}

    DataParametersResult ShowDataParameters(const std::u16string& header, bool verify) override {
        return AskDialog([&] { return m_ui.ShowDataParameters(header, verify); });
    }
    CopyParametersResult ShowAudioParameters(const std::u16string& header, bool verify) override {
        return AskDialog([&] { return m_ui.ShowAudioParameters(header, verify); });
    }
    CopyParametersResult ShowImageParameters(const std::u16string& header, bool verify) override {
        return AskDialog([&] { return m_ui.ShowImageParameters(header, verify); });
    }
    EraseTypeResult ShowEraseType(const std::vector<double>& speeds) override {
        return AskDialog([&] { return m_ui.ShowEraseType(speeds); });
    }
    void StartProgress(JobKind kind, uint32_t diskType) override {
        m_observer.OnStart(kind);
        m_ui.StartProgress(kind, diskType);
    }
    void StopProgress(JobKind kind) override { m_ui.StopProgress(kind); }
    bool IsCancelled(JobKind kind) const override { return m_ui.IsCancelled(kind); }
    void SetStatus(JobKind kind, const std::u16string& text) override {
        m_observer.OnStatus(text);
        m_ui.SetStatus(kind, text);
    }
    void SetProgress(JobKind kind, int percent) override {
        m_observer.OnProgress(percent);
        m_ui.SetProgress(kind, percent);
    }
    int Progress(JobKind kind) const override { return m_ui.Progress(kind); }
    void SetAmount(JobKind kind, uint64_t bytes) override { m_ui.SetAmount(kind, bytes); }
    void StepEraseProgress() override { m_ui.StepEraseProgress(); }
    void PushJobTrayCallbacks(JobKind kind) override { m_ui.PushJobTrayCallbacks(kind); }
    void PopJobTrayCallbacks() override { m_ui.PopJobTrayCallbacks(); }
    void StartTrayAnimation() override { m_ui.StartTrayAnimation(); }
    void StopTrayAnimation() override { m_ui.StopTrayAnimation(); }
    void SetNoProgressReport(bool noReport) override {
        if (noReport) {
            m_observer.OnNoPercentage();
        }
        m_ui.SetNoProgressReport(noReport);
    }
    bool AskUser(const std::u16string& text, const std::u16string& title, BoxButtons buttons,
                 BoxIcon icon) override {
        m_observer.OnQuestion(text, buttons);
        const bool answer = m_ui.AskUser(text, title, buttons, icon);
        m_observer.OnAnswer();
        return answer;
    }
    void HideQueueDialog() override { m_ui.HideQueueDialog(); }
    void RequestExit() override { m_ui.RequestExit(); }

  private:
    template <typename Ask>
    std::invoke_result_t<Ask> AskDialog(const Ask& ask) {
        m_observer.OnQuestion({}, BoxButtons::OkCancel);
        auto answer = ask();
        m_observer.OnAnswer();
        return answer;
    }

    CCDWriterUI& m_ui;
    IJobObserver& m_observer;
};

} // namespace larkspin
