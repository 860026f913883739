// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The notices that tell the user when the queue has outgrown a kind of disc.
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
    uint32_t audioBytes = 0; // PCM bytes; 0 unless all is audio
};

// What was told, so that each mark is told once as the queue grows past it.
class CapacityNotices {
  public:
    // The notice for a queue that has changed to these totals. At most one comes at a time: the
    // highest mark of the sizes first, the playing time only when no size had anything to say.
    std::optional<QueueNotice> Pass(const QueueTotals& totals);

  private:
    uint64_t m_nLastBytes = 0;
    uint32_t m_nLastAudio = 0;
};

// The thread that measures the queue after each change and gives the notices.
class QueueWatcher {
  public:
    // Measures the queue; empty when `stop` is requested meanwhile. On the watcher's thread. Called
    // again if it finds no memory.
    using Measure = std::function<std::optional<QueueTotals>(const std::stop_token& stop)>;
    using Notify = std::function<void(const QueueNotice& notice)>;

    // `settle` is the time that a change is given for others to follow it.
    QueueWatcher(Measure measure, std::chrono::milliseconds settle);
    QueueWatcher(const QueueWatcher&) = delete;
    QueueWatcher& operator=(const QueueWatcher&) = delete;
    ~QueueWatcher() { Stop(); }

    // `notify` is called on the watcher's thread. To be called once, before Stop.
    void Start(Notify notify);
    // The queue has changed. On any thread.
    void QueueChanged() { m_hQueueChanged.Set(); }
    // Somebody waits for the measures: they are not put off until the queue has settled.
    void Hurry();
    // No notice comes after this returns; measuring goes on.
    void Silence();
    // Joins the thread, in the middle of a measuring too. No notice comes after this returns.
    void Stop();

  private:
    void WatcherThread(const std::stop_token& stop);
    void Pass(const std::stop_token& stop);

    const Measure m_measure;
    const std::chrono::milliseconds m_settle;
    Notify m_notify;
    CapacityNotices m_notices;
    CEvent m_hQueueChanged{CEvent::Reset::Auto};
    CEvent m_settled{CEvent::Reset::Auto}; // before its time
    std::mutex m_mutex;                    // held while a notice is given
    bool m_bSilent = false;
    std::jthread m_hWatcherThread;
};

} // namespace larkspin
