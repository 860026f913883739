// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/qt/main_thread.h"

#include <QSocketNotifier>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace larkspin {

void CWaitingCall::Finish() {
    {
        const std::lock_guard lock(m_mutex);
        m_bFinished = true;
    }
    m_changed.notify_all();
}

void CWaitingCall::RunOnCaller(std::function<void()> work) {
    {
        const std::lock_guard lock(m_mutex);
        if (m_bOver) {
            return;
        }
        m_work.push_back(std::move(work));
    }
    m_changed.notify_all();
}

void CWaitingCall::Release() {
    {
        const std::lock_guard lock(m_mutex);
        m_bReleased = true;
    }
    m_changed.notify_all();
}

bool CWaitingCall::Wait() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [&] { return m_bReleased || m_bFinished || !m_work.empty(); });
        if (m_bReleased || m_work.empty()) {
            m_bOver = true;
            m_work.clear();
            return !m_bReleased;
        }
        const std::function<void()> work = std::move(m_work.front());
        m_work.pop_front();
        lock.unlock();
        work();
        lock.lock();
    }
}

CMainThread::CMainThread() : m_wakeUp(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
    if (m_wakeUp < 0) {
        throw std::system_error(errno, std::generic_category());
    }
    m_pNotifier = std::make_unique<QSocketNotifier>(m_wakeUp, QSocketNotifier::Read);
    QObject::connect(m_pNotifier.get(), &QSocketNotifier::activated, m_pNotifier.get(),
                     [this] { RunPosted(); });
}

CMainThread::~CMainThread() {
    ReleaseWaits();
    m_pNotifier.reset();
    ::close(m_wakeUp);
}

void CMainThread::Wake() {
    const uint64_t one = 1;
    // Fails only when the counter is full, and then the loop is awake anyway.
    [[maybe_unused]] const ssize_t written = ::write(m_wakeUp, &one, sizeof one);
}

void CMainThread::Post(std::function<void()> work) {
    {
        const std::lock_guard lock(m_mutex);
        m_posted.push_back(std::move(work));
    }
    Wake();
}

void CMainThread::RunPosted() {
    uint64_t count = 0;
    [[maybe_unused]] const ssize_t got = ::read(m_wakeUp, &count, sizeof count);
    std::unique_lock lock(m_mutex);
    // No more than there are now, so that a busy job leaves time for the user's own events.
    for (size_t left = m_posted.size(); left > 0 && !m_posted.empty(); --left) {
        const std::function<void()> work = std::move(m_posted.front());
        m_posted.pop_front();
        lock.unlock();
        try {
            work();
        } catch (const std::exception& failure) { // the others still get their turn
            std::fprintf(stderr, "larkspin: %s\n", failure.what());
        }
        lock.lock();
    }
    if (!m_posted.empty()) {
        Wake();
    }
}

bool CMainThread::PostAndWait(Start start) {
    const auto call = std::make_shared<CWaitingCall>();
    {
        const std::lock_guard lock(m_mutex);
        if (m_bReleased) {
            return false;
        }
        m_calls.push_back(call);
    }
    // Removes the call from the list, however the wait ends.
    struct Leave {
        CMainThread& main;
        const std::shared_ptr<CWaitingCall>& call;
        ~Leave() {
            {
                const std::lock_guard lock(call->m_mutex);
                call->m_bOver = true;
                call->m_work.clear();
            }
            const std::lock_guard lock(main.m_mutex);
            std::erase(main.m_calls, call);
            main.m_callLeft.notify_all();
        }
    } const leave{*this, call};
    Post([start = std::move(start), call] {
        try {
            start(call);
        } catch (const std::exception&) { // nobody else would finish it
            call->Release();
        }
    });
    return call->Wait();
}

void CMainThread::ReleaseWaits() {
    std::unique_lock lock(m_mutex);
    m_bReleased = true;
    for (const std::shared_ptr<CWaitingCall>& call : m_calls) {
        call->Release();
    }
    m_callLeft.wait(lock, [&] { return m_calls.empty(); });
}

} // namespace larkspin
