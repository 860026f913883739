// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The engine's view of the user interface: every call is sent to the windows' process, whose UiHost
// passes it to the real one.
//
// What jobs read all the time, the cancel flags and the percentages, is kept here and never waits
// for the other process; neither does anything that is only shown. When the windows go, the waits
// end with the cancelled answer, what a job tells goes to standard error, and a confirmed Cancel
// stays in effect.
#pragma once

#include "link/link.h"
#include "platform/settings_store.h"
#include "ui/ccdwriter_ui.h"
#include "ui/main_view.h"
#include "ui/models.h"
#include "ui/progress_dialog.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace larkspin {

class RemoteUi final : public CCDWriterUI, public IMainView {
  public:
    struct Loop {
        Link::Post post;                // runs functions on the main thread
        std::function<void()> onQuit;   // on the main thread: RequestExit, or the session's end
        std::function<void(int)> leave; // ends the main loop with this exit code
    };

    // Opens the windows. Keeps all references. Throws CCDWriterUIException if a window can't be
    // created, which the user has then been told, and LinkError if the other process has gone.
    RemoteUi(Link& link, IDriveCatalog& drives, IQueueModel& queue, ISettingsStore& store,
             Loop loop);
    RemoteUi(const RemoteUi&) = delete;
    RemoteUi& operator=(const RemoteUi&) = delete;
    // Closes the windows and the link.
    ~RemoteUi() override { CloseWindows(m_link); }

    // Tells the other process to exit, waits briefly for that, and closes the link.
    static void CloseWindows(Link& link);

    // Ends all waits of job threads, current and future, with the cancelled answer, and returns
    // when none waits any more.
    void ReleaseWaits() { m_link.ReleaseWaits(); }

    DataParametersResult ShowDataParameters(const std::u16string& header, bool verify) override;
    CopyParametersResult ShowAudioParameters(const std::u16string& header, bool verify) override;
    CopyParametersResult ShowImageParameters(const std::u16string& header, bool verify) override;
    EraseTypeResult ShowEraseType(const std::vector<double>& speeds) override;
    void StartProgress(JobKind kind, uint32_t diskType) override;
    void StopProgress(JobKind kind) override;
    bool IsCancelled(JobKind kind) const override { return Of(kind).logic.IsCancelled(); }
    void SetStatus(JobKind kind, const std::u16string& text) override;
    void SetProgress(JobKind kind, int percent) override;
    int Progress(JobKind kind) const override { return Of(kind).logic.Progress(); }
    void SetAmount(JobKind kind, uint64_t bytes) override { Of(kind).logic.SetAmount(bytes); }
    void StepEraseProgress() override;
    void PushJobTrayCallbacks(JobKind kind) override;
    void PopJobTrayCallbacks() override;
    void StartTrayAnimation() override;
    void StopTrayAnimation() override;
    void SetNoProgressReport(bool noReport) override;
    bool AskUser(const std::u16string& text, const std::u16string& title, BoxButtons buttons,
                 BoxIcon icon) override;
    void HideQueueDialog() override;
    void RequestExit() override;

    void ShowBalloon(const std::u16string& text, const std::u16string& title, BalloonIcon icon,
                     uint32_t timeoutMs) override;
    void SetIdleTrayCallbacks(std::function<void()> left, std::function<void()> right) override;
    void SetPathDropped(std::function<void(const std::u16string&)> dropped) override;
    void StartClickTimer(uint32_t ms, std::function<void()> tick) override;
    void KillClickTimer() override;
    void AfterPainting(std::function<void()> work) override;
    // As reported by the desktop with the last click.
    uint32_t DoubleClickTimeMs() override { return m_nDoubleClickMs; }
    void TrackIdleMenu(const IdleMenuState& state, std::function<void(uint32_t)> command) override;
    void ShowQueueEditor() override;
    void CancelQuestions() override;
    void ShowErrorBox(const std::u16string& text, const std::u16string& title) override;
    void Quit(int code) override;

  private:
    // What the engine keeps about a progress dialog.
    struct Job {
        explicit Job(JobKind kind) : logic(kind) {}
        CProgressDialog logic;
        std::atomic<bool> bShowPending = false;
    };

    Job& Of(JobKind kind) const { return *m_jobs.at(static_cast<size_t>(kind)); }
    void Show(JobKind kind);
    void TakeModels(IDriveCatalog& drives, IQueueModel& queue, ISettingsStore& store);
    void TakeWishes();

    Link& m_link;
    const Loop m_loop;
    std::array<std::shared_ptr<Job>, kJobKinds.size()> m_jobs; // by JobKind

    // Main thread.
    std::function<void()> m_left;
    std::function<void()> m_right;
    std::function<void(const std::u16string&)> m_dropped;
    std::function<void(uint32_t)> m_menuCommand;
    std::function<void()> m_tick;
    std::function<void()> m_painted;
    uint32_t m_nNumber = 0; // of the click timer's run, and of the request in m_painted
    uint32_t m_nTick = 0;
    uint32_t m_nPainted = 0;
    uint32_t m_nDoubleClickMs = 400;
    bool m_bMenuTracked = false; // by the running callback
};

} // namespace larkspin
