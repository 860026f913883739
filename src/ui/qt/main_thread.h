// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Runs functions of a job's thread on the main thread.
//
// A job's thread touches neither widgets nor anything else of Qt: it posts functions here, which
// the main thread runs in order from its event loop.
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

// A call by a job's thread that waits for an answer from the main thread.
class CWaitingCall {
  public:
    // Main thread: the answer is ready. The caller returns once it has run whatever it was given
    // before.
    void Finish();
    // Main thread: runs `work` on the waiting thread; dropped if that is no longer waiting.
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
    // Created on the main thread after the application object, and destroyed before it.
    CMainThread();
    CMainThread(const CMainThread&) = delete;
    CMainThread& operator=(const CMainThread&) = delete;
    // Ends all waits; drops what has been posted but not run.
    ~CMainThread();

    bool IsCurrent() const { return std::this_thread::get_id() == m_id; }

    // Any thread. An exception from `work` is reported on standard error.
    void Post(std::function<void()> work);

    // A job's thread: posts `start` and waits until the call passed to it is finished. False if the
    // wait was released or `start` threw. `start` and everything it leaves behind must own what
    // they use.
    using Start = std::function<void(const std::shared_ptr<CWaitingCall>&)>;
    bool PostAndWait(Start start);

    // Main thread: ends all waits, current and future, and returns when no thread is inside
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
    int m_wakeUp = -1; // eventfd watched by the main thread's loop
    std::unique_ptr<QSocketNotifier> m_pNotifier;
};

} // namespace larkspin
