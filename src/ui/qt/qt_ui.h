// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The Qt side of the user interface as one object: all windows of the program.
//
// Created on the main thread after QApplication and destroyed before it. CCDWriterUI's functions
// may be called on a job's thread, IMainView's on the main thread (ShowBalloon on any). Those of
// CCDWriterUI that return an answer wait for the main thread, so they must not be called there.
//
// If the desktop has no tray, the queue window is visible from the start and stands in for the
// icon: a button handles its clicks and offers its menu, and balloons are shown beside it.
#pragma once

#include "platform/clock.h"
#include "platform/files.h"
#include "platform/settings_store.h"
#include "ui/ccdwriter_ui.h"
#include "ui/main_view.h"
#include "ui/models.h"

#include <functional>
#include <memory>

namespace larkspin {

class QtUi final : public CCDWriterUI, public IMainView {
  public:
    // Keeps all references. The callbacks are called on the main thread: `onQuit` after
    // RequestExit, and `onCancel` when the user has confirmed a Cancel in the progress dialog's run
    // of that number. Throws CCDWriterUIException("Window creation failed.") if a window can't be
    // created.
    QtUi(IDriveCatalog& drives, IQueueModel& queue, ISettingsStore& store, IFileSystem& files,
         IClock& clock, std::function<void()> onQuit,
         const std::function<void(JobKind kind, uint32_t run)>& onCancel = {});
    QtUi(const QtUi&) = delete;
    QtUi& operator=(const QtUi&) = delete;
    // First ends the waits of any job thread.
    ~QtUi() override;

    // Main thread: ends all waits of job threads, current and future, with the cancelled answer,
    // and returns when none is waiting any more. To be called before joining a job's thread when
    // the main loop no longer runs; Quit does it, too.
    void ReleaseWaits();

    DataParametersResult ShowDataParameters(const std::u16string& header, bool verify) override;
    CopyParametersResult ShowAudioParameters(const std::u16string& header, bool verify) override;
    CopyParametersResult ShowImageParameters(const std::u16string& header, bool verify) override;
    EraseTypeResult ShowEraseType(const std::vector<double>& speeds) override;
    void StartProgress(JobKind kind, uint32_t diskType) override;
    void StopProgress(JobKind kind) override;
    bool IsCancelled(JobKind kind) const override;
    void SetStatus(JobKind kind, const std::u16string& text) override;
    void SetProgress(JobKind kind, int percent) override;
    int Progress(JobKind kind) const override;
    void SetAmount(JobKind kind, uint64_t bytes) override;
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
    uint32_t DoubleClickTimeMs() override;
    void TrackIdleMenu(const IdleMenuState& state, std::function<void(uint32_t)> command) override;
    void ShowQueueEditor() override;
    void CancelQuestions() override;
    void ShowErrorBox(const std::u16string& text, const std::u16string& title) override;
    void Quit(int code) override;

  private:
    class Impl;
    std::unique_ptr<Impl> m_pImpl;
};

} // namespace larkspin
