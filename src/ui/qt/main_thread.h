// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The way from a job's thread to the main thread and back.
//
// A job's thread touches neither widgets nor anything else of Qt: it leaves functions here, which
// the main thread runs in the order they came, from its event loop.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

class QSocketNotifier;

namespace larkspin {

// One call of a job's thread that waits for an answer from the main thread.
class CWaitingCall {
  public:
    // Main thread: the answer is there. The caller goes on when it has run what was asked of it
    // before.
    void Finish();
    // Main thread: runs `work` on the waiting thread; dropped if that no longer waits.
    void RunOnCaller(std::function<void()> work);

  private:
    friend class CMainThread;

    bool Wait(); // false if released
    void Release();

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::function<void()>> m_work;
    bool m_bFinished = false;
    bool m_bReleased = false;
    bool m_bOver = false;
};

class CMainThread {
  public:
    // Made and destroyed on the main thread, after the application object and before it.
    CMainThread();
    CMainThread(const CMainThread&) = delete;
    CMainThread& operator=(const CMainThread&) = delete;
    // Ends all waits; what was posted and has not run is dropped.
    ~CMainThread();

    bool IsCurrent() const { return std::this_thread::get_id() == m_id; }

    // Any thread. Work that throws is told of on standard error, and is over.
    void Post(std::function<void()> work);

    // A job's thread: posts `start` and waits until the call it is given is finished. False if the
    // wait was released or `start` threw instead. `start` and all it leaves behind must own what
    // they use.
    using Start = std::function<void(const std::shared_ptr<CWaitingCall>&)>;
    bool PostAndWait(Start start);

    // Main thread: ends all waits, now and from now on, and returns when no thread is inside
    // PostAndWait any more.
    void ReleaseWaits();

  private:
    void Wake();
    void RunPosted();

    const std::thread::id m_id = std::this_thread::get_id();
    std::mutex m_mutex;
    std::condition_variable m_callLeft;
    std::deque<std::function<void()>> m_posted;
    std::vector<std::shared_ptr<CWaitingCall>> m_calls;
    bool m_bReleased = false;
    int m_wakeUp = -1; // eventfd that the main thread's loop watches
    std::unique_ptr<QSocketNotifier> m_pNotifier;
};

} // namespace larkspin
