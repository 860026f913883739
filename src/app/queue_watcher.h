// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The notices that tell the user when the queue has become too large for a kind of disc.
#pragma once

#include "platform/event.h"
#include "ui/main_view.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>

namespace larkspin {

struct QueueNotice {
    std::u16string title;
    std::u16string text;
    BalloonIcon icon = BalloonIcon::Warning;
};

struct QueueTotals {
    uint64_t bytes = 0;
    bool allAudio = false;
    uint32_t audioBytes = 0; // PCM bytes; 0 unless everything is audio
};

// Remembers what has been shown, so that each mark is reported once as the queue grows past it.
class CapacityNotices {
  public:
    // The notice for a queue that now has these totals. There is at most one at a time: the highest
    // size mark first, and the playing time only if there is none for the size.
    std::optional<QueueNotice> Pass(const QueueTotals& totals);

  private:
    uint64_t m_nLastBytes = 0;
    uint32_t m_nLastAudio = 0;
};

// The thread that measures the queue after each change and shows the notices.
class QueueWatcher {
  public:
    // Measures the queue; empty if `stop` is requested meanwhile. Called on the watcher's thread,
    // and again if it runs out of memory.
    using Measure = std::function<std::optional<QueueTotals>(const std::stop_token& stop)>;
    using Notify = std::function<void(const QueueNotice& notice)>;

    // `settle` is how long to wait for further changes after a change.
    QueueWatcher(Measure measure, std::chrono::milliseconds settle);
    QueueWatcher(const QueueWatcher&) = delete;
    QueueWatcher& operator=(const QueueWatcher&) = delete;
    ~QueueWatcher() { Stop(); }

    // `notify` is called on the watcher's thread. To be called once, before Stop.
    void Start(Notify notify);
    // The queue has changed. May be called on any thread.
    void QueueChanged() { m_hQueueChanged.Set(); }
    // Somebody is waiting for the sizes: measure without waiting for further changes.
    void Hurry();
    // After this returns, no notice is shown any more; measuring continues.
    void Silence();
    // Joins the thread, interrupting a measurement. After this returns, no notice is shown.
    void Stop();

  private:
    void WatcherThread(const std::stop_token& stop);
    void Pass(const std::stop_token& stop);

    const Measure m_measure;
    const std::chrono::milliseconds m_settle;
    Notify m_notify;
    CapacityNotices m_notices;
    CEvent m_hQueueChanged{CEvent::Reset::Auto};
    CEvent m_settled{CEvent::Reset::Auto}; // ends the wait for further changes
    std::mutex m_mutex;                    // held while a notice is shown
    bool m_bSilent = false;
    std::jthread m_hWatcherThread;
};

} // namespace larkspin
