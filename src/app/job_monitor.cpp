// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/job_monitor.h"
#include "ui/progress_dialog.h"

#include <algorithm>
#include <new>
#include <utility>

namespace larkspin {

namespace {

constexpr const char16_t* kWaitsForUser = u"Waiting for an answer";

} // namespace

template <typename Change>
void JobMonitor::Alter(const Change& change) {
    const std::lock_guard lock(m_mutex);
    change();
    if (m_changed) {
        m_changed();
    }
}

template <typename Change>
void JobMonitor::AlterIfPossible(const Change& change) noexcept {
    try {
        Alter(change);
    } catch (const std::bad_alloc&) {
        return;
    }
}

void JobMonitor::OnChange(std::function<void()> changed) {
    const std::lock_guard lock(m_mutex);
    m_changed = std::move(changed);
}

void JobMonitor::Begin(JobKind kind) {
    Alter([&] {
        m_news = {m_news.nRun + 1, true, kind, 0, {}, m_news.result};
        m_soFar = JobResult::None;
        m_nQuestions = 0;
    });
}

void JobMonitor::SetResult(JobResult result) {
    const std::lock_guard lock(m_mutex);
    m_soFar = result;
}

// Failures are reported and cancels are not, so a job that reported nothing was cancelled.
void JobMonitor::End() {
    Alter([&] {
        m_news.bRunning = false;
        m_news.result = m_soFar == JobResult::None ? JobResult::Cancelled : m_soFar;
    });
}

JobNews JobMonitor::News() {
    const std::lock_guard lock(m_mutex);
    JobNews news = m_news;
    if (news.bRunning && m_nQuestions > 0) {
        news.strStatus = kWaitsForUser;
    }
    return news;
}

void JobMonitor::OnStart(JobKind kind) {
    AlterIfPossible([&] {
        m_news.nPercent = 0;
        m_news.strStatus = kind == JobKind::Erase ? kEraseStatus : u"";
        m_soFar = JobResult::None; // the next disc
    });
}

void JobMonitor::OnStatus(const std::u16string& text) {
    AlterIfPossible([&] { m_news.strStatus = text; });
}

void JobMonitor::OnProgress(int percent) {
    AlterIfPossible([&] { m_news.nPercent = std::clamp(percent, 0, 100); });
}

void JobMonitor::OnNoPercentage() {
    AlterIfPossible([&] { m_news.nPercent = kNoPercentage; });
}

void JobMonitor::OnQuestion(const std::u16string&, BoxButtons buttons) {
    AlterIfPossible([&] {
        ++m_nQuestions;
        if (buttons == BoxButtons::Ok) { // not a question: something has gone wrong
            m_soFar = JobResult::Failed;
        }
    });
}

void JobMonitor::OnAnswer() {
    AlterIfPossible([&] { --m_nQuestions; });
}

} // namespace larkspin
