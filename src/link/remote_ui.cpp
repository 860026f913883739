// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "link/remote_ui.h"

#include "link/protocol.h"
#include "platform/text.h"
#include "ui/ui_exception.h"

#include <chrono>
#include <cstdio>
#include <tuple>
#include <utility>

namespace larkspin {

namespace {

using Where = Link::Where;

constexpr std::chrono::seconds kEndTime{5};

// The only way left to tell the user something when the windows have gone.
void TellTerminal(const std::u16string& text) {
    std::fprintf(stderr, "larkspin: %s\n", ToNative(text).c_str());
}

// The first of `paths`, as many as fit into a frame.
std::vector<std::u16string> FittingPaths(std::vector<std::u16string> paths) {
    constexpr size_t kHead = sizeof(uint32_t);
    size_t left = FrameSocket::kMaxFrame / 2;
    size_t count = 0;
    for (; count < paths.size(); ++count) {
        const size_t bytes = kHead + paths[count].size() * sizeof(char16_t);
        if (bytes > left) {
            break;
        }
        left -= bytes;
    }
    paths.resize(count);
    return paths;
}

} // namespace

RemoteUi::RemoteUi(Link& link, IDriveCatalog& drives, IQueueModel& queue, ISettingsStore& store,
                   Loop loop)
    : m_link(link), m_loop(std::move(loop)) {
    for (const JobKind kind : kJobKinds) {
        m_jobs.at(static_cast<size_t>(kind)) = std::make_shared<Job>(kind);
    }
    TakeModels(drives, queue, store);
    TakeWishes();
    const std::optional<std::optional<std::string>> failure = m_link.Ask(op::kOpenWindows);
    if (failure && !*failure) {
        return;
    }
    CloseWindows(m_link); // no callback of ours may be called any more
    if (failure) {
        throw CCDWriterUIException(**failure);
    }
    throw LinkError("the windows have gone");
}

void RemoteUi::CloseWindows(Link& link) {
    link.Tell(op::kQuit);
    link.WaitClosed(kEndTime);
    link.Close();
}

void RemoteUi::TakeModels(IDriveCatalog& drives, IQueueModel& queue, ISettingsStore& store) {
    m_link.On(op::kDriveNames, Where::Caller, [&drives] {
        std::vector<DriveNames> names;
        for (size_t i = 0; i < drives.Count(); ++i) {
            names.push_back({drives.Name(i), drives.Label(i)});
        }
        return names;
    });
    m_link.On(op::kWriteSpeeds, Where::Caller,
              [&drives](uint32_t drive) { return drives.WriteSpeeds(drive); });
    m_link.On(op::kQueuePaths, Where::Reader, [&queue] { return FittingPaths(queue.Paths()); });
    m_link.On(op::kQueueState, Where::Reader, queue, &IQueueModel::State);
    m_link.On(op::kQueueMove, Where::Reader,
              [&queue](const std::vector<std::u16string>& paths, const std::u16string& before) {
                  queue.Move(paths, before);
                  return true;
              });
    m_link.On(op::kQueueHeader, Where::Reader, queue, &IQueueModel::HeaderText);
    m_link.On(op::kQueueRemove, Where::Reader, [&queue](const std::vector<std::u16string>& paths) {
        queue.Remove(paths);
        return true;
    });
    m_link.On(op::kStoreHasKey, Where::Reader, store, &ISettingsStore::HasKey);
    m_link.On(op::kStoreCreateKey, Where::Reader, store, &ISettingsStore::CreateKey);
    m_link.On(op::kStoreReadNumber, Where::Reader, store, &ISettingsStore::ReadNumber);
    m_link.On(op::kStoreReadText, Where::Reader, store, &ISettingsStore::ReadText);
    m_link.On(op::kStoreWriteNumber, Where::Reader, store, &ISettingsStore::WriteNumber);
    m_link.On(op::kStoreWriteText, Where::Reader, store, &ISettingsStore::WriteText);
}

void RemoteUi::TakeWishes() {
    m_link.On(op::kCancelled, Where::Reader,
              [this](JobKind kind, uint32_t run) { Of(kind).logic.AnswerCancel(run, true); });
    m_link.On(op::kTrayLeftClick, Where::Main, [this](uint32_t doubleClickMs) {
        m_nDoubleClickMs = doubleClickMs;
        const std::function<void()> left = m_left; // it may be replaced
        if (left) {
            left();
        }
    });
    m_link.On(op::kAskIdleMenu, Where::Main, [this] {
        m_bMenuTracked = false;
        const std::function<void()> right = m_right;
        if (right) {
            right();
        }
        if (!m_bMenuTracked) {
            m_link.Tell(op::kIdleMenu, std::nullopt);
        }
    });
    m_link.On(op::kMenuChoice, Where::Main, [this](uint32_t command) {
        const std::function<void(uint32_t)> chosen = m_menuCommand;
        if (chosen) {
            chosen(command);
        }
    });
    m_link.On(op::kPathDropped, Where::Main, [this](const std::u16string& path) {
        if (m_dropped) {
            m_dropped(path);
        }
    });
    m_link.On(op::kClickTick, Where::Main, [this](uint32_t number) {
        const std::function<void()> tick = m_tick;
        if (tick && number == m_nTick) {
            tick();
        }
    });
    m_link.On(op::kPainted, Where::Main, [this](uint32_t number) {
        if (number == m_nPainted) {
            const std::function<void()> work = std::exchange(m_painted, {});
            if (work) {
                work();
            }
        }
    });
    m_link.On(op::kDesktopQuits, Where::Main, [this] { m_loop.onQuit(); });
}

// --- CCDWriterUI ---

DataParametersResult RemoteUi::ShowDataParameters(const std::u16string& header, bool verify) {
    return m_link.Ask(op::kShowDataParameters, header, verify).value_or(DataParametersResult());
}

CopyParametersResult RemoteUi::ShowAudioParameters(const std::u16string& header, bool verify) {
    return m_link.Ask(op::kShowAudioParameters, header, verify).value_or(CopyParametersResult());
}

CopyParametersResult RemoteUi::ShowImageParameters(const std::u16string& header, bool verify) {
    return m_link.Ask(op::kShowImageParameters, header, verify).value_or(CopyParametersResult());
}

EraseTypeResult RemoteUi::ShowEraseType(const std::vector<double>& speeds) {
    return m_link.Ask(op::kShowEraseType, speeds).value_or(EraseTypeResult());
}

void RemoteUi::StartProgress(JobKind kind, uint32_t diskType) {
    Of(kind).logic.Start(diskType, {}, 0);
    m_link.Tell(op::kStartProgress, kind, diskType);
}

void RemoteUi::StopProgress(JobKind kind) {
    m_link.Tell(op::kStopProgress, kind);
}

void RemoteUi::Show(JobKind kind) {
    const std::shared_ptr<Job>& job = m_jobs.at(static_cast<size_t>(kind));
    // One at a time: a job may report thousands of times a second.
    if (!job->bShowPending.exchange(true)) {
        m_link.TellLater(op::kShowProgress, [job] {
            job->bShowPending = false;
            return std::tuple(job->logic.Kind(), job->logic.Status(), job->logic.Amount(),
                              job->logic.Progress());
        });
    }
}

void RemoteUi::SetStatus(JobKind kind, const std::u16string& text) {
    Of(kind).logic.SetStatus(text);
    Show(kind);
}

void RemoteUi::SetProgress(JobKind kind, int percent) {
    CProgressDialog& logic = Of(kind).logic;
    const int before = logic.Progress();
    logic.SetProgress(percent);
    if (logic.Progress() != before) {
        Show(kind);
    }
}

void RemoteUi::StepEraseProgress() {
    Of(JobKind::Erase).logic.StepProgress();
    Show(JobKind::Erase);
}

void RemoteUi::PushJobTrayCallbacks(JobKind kind) {
    m_link.Tell(op::kPushJobTrayCallbacks, kind);
}

void RemoteUi::PopJobTrayCallbacks() {
    m_link.Tell(op::kPopJobTrayCallbacks);
}

void RemoteUi::StartTrayAnimation() {
    m_link.Tell(op::kStartTrayAnimation);
}

void RemoteUi::StopTrayAnimation() {
    m_link.Tell(op::kStopTrayAnimation);
}

void RemoteUi::SetNoProgressReport(bool noReport) {
    m_link.Tell(op::kSetNoProgressReport, noReport);
}

bool RemoteUi::AskUser(const std::u16string& text, const std::u16string& title, BoxButtons buttons,
                       BoxIcon icon) {
    const std::optional<bool> answer = m_link.Ask(op::kAskUser, text, title, buttons, icon);
    if (!answer && m_link.IsClosed()) {
        TellTerminal(text);
    }
    return answer.value_or(false);
}

void RemoteUi::HideQueueDialog() {
    m_link.Tell(op::kHideQueueDialog);
}

void RemoteUi::RequestExit() {
    m_loop.post(m_loop.onQuit);
}

// --- IMainView ---

void RemoteUi::ShowBalloon(const std::u16string& text, const std::u16string& title,
                           BalloonIcon icon, uint32_t timeoutMs) {
    m_link.Tell(op::kShowBalloon, text, title, icon, timeoutMs);
}

void RemoteUi::SetIdleTrayCallbacks(std::function<void()> left, std::function<void()> right) {
    m_left = std::move(left);
    m_right = std::move(right);
}

void RemoteUi::SetPathDropped(std::function<void(const std::u16string&)> dropped) {
    m_dropped = std::move(dropped);
}

void RemoteUi::StartClickTimer(uint32_t ms, std::function<void()> tick) {
    m_tick = std::move(tick);
    m_nTick = ++m_nNumber;
    m_link.Tell(op::kStartClickTimer, ms, m_nTick);
}

void RemoteUi::KillClickTimer() {
    m_tick = {};
    m_link.Tell(op::kKillClickTimer);
}

void RemoteUi::AfterPainting(std::function<void()> work) {
    m_painted = std::move(work);
    m_nPainted = ++m_nNumber;
    m_link.Tell(op::kAfterPainting, m_nPainted);
}

void RemoteUi::TrackIdleMenu(const IdleMenuState& state, std::function<void(uint32_t)> command) {
    m_menuCommand = std::move(command);
    m_bMenuTracked = true;
    m_link.Tell(op::kIdleMenu, state);
}

void RemoteUi::ShowQueueEditor() {
    m_link.Tell(op::kShowQueueEditor);
}

void RemoteUi::CancelQuestions() {
    m_link.Tell(op::kCancelQuestions);
}

void RemoteUi::ShowErrorBox(const std::u16string& text, const std::u16string& title) {
    if (m_link.IsClosed()) {
        TellTerminal(text);
    }
    m_link.Tell(op::kShowErrorBox, text, title);
}

void RemoteUi::Quit(int code) {
    ReleaseWaits();
    m_loop.leave(code);
}

} // namespace larkspin
