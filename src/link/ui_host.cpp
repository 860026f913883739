// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "link/ui_host.h"

#include <chrono>

namespace larkspin {

namespace {

using Where = Link::Where;

// The engine answers at once unless it is measuring a long queue; then the previous menu is used.
constexpr std::chrono::milliseconds kMenuTime{250};

} // namespace

UiHost::UiHost(Link& link, CCDWriterUI& ui, IMainView& view)
    : m_link(link), m_ui(ui), m_view(view) {
    TakeJobs();
    TakeView();
    m_view.SetIdleTrayCallbacks(
        [this] { m_link.Tell(op::kTrayLeftClick, m_view.DoubleClickTimeMs()); },
        [this] { OnRightClick(); });
    m_view.SetPathDropped(
        [this](const std::u16string& path) { m_link.Tell(op::kPathDropped, path); });
}

void UiHost::TakeJobs() {
    m_link.On(op::kShowDataParameters, Where::Worker, m_ui, &CCDWriterUI::ShowDataParameters);
    m_link.On(op::kShowAudioParameters, Where::Worker, m_ui, &CCDWriterUI::ShowAudioParameters);
    m_link.On(op::kShowImageParameters, Where::Worker, m_ui, &CCDWriterUI::ShowImageParameters);
    m_link.On(op::kShowEraseType, Where::Worker, m_ui, &CCDWriterUI::ShowEraseType);
    m_link.On(op::kAskUser, Where::Worker, m_ui, &CCDWriterUI::AskUser);
    m_link.On(op::kStartProgress, Where::Reader, m_ui, &CCDWriterUI::StartProgress);
    m_link.On(op::kStopProgress, Where::Reader, m_ui, &CCDWriterUI::StopProgress);
    m_link.On(op::kShowProgress, Where::Reader,
              [this](JobKind kind, const std::u16string& status, uint64_t bytes, int percent) {
                  m_ui.SetStatus(kind, status);
                  m_ui.SetAmount(kind, bytes);
                  m_ui.SetProgress(kind, percent);
              });
    m_link.On(op::kPushJobTrayCallbacks, Where::Reader, m_ui, &CCDWriterUI::PushJobTrayCallbacks);
    m_link.On(op::kPopJobTrayCallbacks, Where::Reader, m_ui, &CCDWriterUI::PopJobTrayCallbacks);
    m_link.On(op::kStartTrayAnimation, Where::Reader, m_ui, &CCDWriterUI::StartTrayAnimation);
    m_link.On(op::kStopTrayAnimation, Where::Reader, m_ui, &CCDWriterUI::StopTrayAnimation);
    m_link.On(op::kSetNoProgressReport, Where::Reader, m_ui, &CCDWriterUI::SetNoProgressReport);
    m_link.On(op::kHideQueueDialog, Where::Reader, m_ui, &CCDWriterUI::HideQueueDialog);
}

void UiHost::TakeView() {
    m_link.On(op::kShowBalloon, Where::Reader, m_view, &IMainView::ShowBalloon);
    m_link.On(op::kStartClickTimer, Where::Main, [this](uint32_t ms, uint32_t number) {
        m_view.StartClickTimer(ms, [this, number] { m_link.Tell(op::kClickTick, number); });
    });
    m_link.On(op::kKillClickTimer, Where::Main, m_view, &IMainView::KillClickTimer);
    m_link.On(op::kAfterPainting, Where::Main, [this](uint32_t number) {
        m_view.AfterPainting([this, number] { m_link.Tell(op::kPainted, number); });
    });
    m_link.On(op::kIdleMenu, Where::Reader, [this](const std::optional<IdleMenuState>& state) {
        const std::lock_guard lock(m_mutex);
        m_menu = state;
        m_bMenuAsked = false;
        m_menuCame.notify_all();
    });
    m_link.On(op::kShowQueueEditor, Where::Main, m_view, &IMainView::ShowQueueEditor);
    m_link.On(op::kCancelQuestions, Where::Main, m_view, &IMainView::CancelQuestions);
    m_link.On(op::kShowErrorBox, Where::Main, m_view, &IMainView::ShowErrorBox);
}

// The view needs its menu filled before this returns, so the answer is awaited, but not for long:
// the engine may be waiting for something itself.
void UiHost::OnRightClick() {
    std::unique_lock lock(m_mutex);
    if (!m_bMenuAsked) {
        m_bMenuAsked = true;
        m_link.Tell(op::kAskIdleMenu);
        m_menuCame.wait_for(lock, kMenuTime, [this] { return !m_bMenuAsked; });
    }
    const std::optional<IdleMenuState> menu = m_menu;
    lock.unlock();
    if (menu) {
        m_view.TrackIdleMenu(*menu,
                             [this](uint32_t command) { m_link.Tell(op::kMenuChoice, command); });
    }
}

} // namespace larkspin
