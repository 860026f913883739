// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/queue_watcher.h"
#include "jobs/capacity_marks.h"
#include "platform/insist.h"

#include <array>
#include <utility>

namespace larkspin {

namespace {

struct SizeMark {
    uint64_t bytes;
    const char16_t* title;
    const char16_t* text;
    BalloonIcon icon;
};

// From the highest down.
constexpr std::array<SizeMark, 3> kSizeMarks = {{
    {kDvdDoubleLayerBytes, u"Error",
     u"You have added more than 8.5 Gb files to queue.\nThese files won't fit any disk.",
     BalloonIcon::Error},
    {kDvdBytes, u"Warning",
     u"You have added more than 4.7 Gb files to queue.\n"
     u"Double Layer DVD\u00B1R/RW disk is required to write them.",
     BalloonIcon::Warning},
    {kCdDataBytes, u"Warning",
     u"You have added more than 700 Mb files to queue.\n"
     u"DVD\u00B1R/RW disk is required to write them.",
     BalloonIcon::Warning},
}};

constexpr const char16_t* kAudioTitle = u"Warning";
constexpr const char16_t* kAudioText =
    u"You have added more than 80 minutes of audio files to queue.\n"
    u"This is too much for an Audio CD.\n\n"
    u"Notice that writing them as Data CD (like famous MP3-CDs) is still possible.";

} // namespace

std::optional<QueueNotice> CapacityNotices::Pass(const QueueTotals& totals) {
    if (totals.bytes <= m_nLastBytes) {
        m_nLastBytes = totals.bytes;
    } else {
        for (const SizeMark& mark : kSizeMarks) {
            if (m_nLastBytes <= mark.bytes && totals.bytes > mark.bytes) {
                m_nLastBytes = totals.bytes;
                return QueueNotice{mark.title, mark.text, mark.icon};
            }
        }
    }
    if (!totals.allAudio) {
        return std::nullopt;
    }
    if (totals.audioBytes <= m_nLastAudio) {
        m_nLastAudio = totals.audioBytes;
    } else if (m_nLastAudio <= kCdAudioBytes && totals.audioBytes > kCdAudioBytes) {
        m_nLastAudio = totals.audioBytes;
        return QueueNotice{kAudioTitle, kAudioText, BalloonIcon::Warning};
    }
    return std::nullopt;
}

QueueWatcher::QueueWatcher(Measure measure, std::chrono::milliseconds settle)
    : m_measure(std::move(measure)), m_settle(settle) {}

void QueueWatcher::Start(Notify notify) {
    m_notify = std::move(notify);
    m_hWatcherThread = std::jthread([this](const std::stop_token& stop) { WatcherThread(stop); });
}

void QueueWatcher::Hurry() {
    m_settled.Set();
    m_hQueueChanged.Set();
}

void QueueWatcher::Silence() {
    const std::lock_guard lock(m_mutex);
    m_bSilent = true;
}

void QueueWatcher::Stop() {
    m_hWatcherThread.request_stop();
    Hurry();
    if (m_hWatcherThread.joinable()) {
        m_hWatcherThread.join();
    }
}

void QueueWatcher::WatcherThread(const std::stop_token& stop) {
    for (;;) {
        m_hQueueChanged.Lock();
        m_settled.Lock(m_settle);
        if (stop.stop_requested()) {
            return;
        }
        // Otherwise this change gets no notice; the next one is measured again.
        Insist([&] { Pass(stop); });
    }
}

void QueueWatcher::Pass(const std::stop_token& stop) {
    const std::optional<QueueTotals> totals = m_measure(stop);
    const std::optional<QueueNotice> notice =
        totals ? m_notices.Pass(*totals) : std::optional<QueueNotice>();
    const std::lock_guard lock(m_mutex);
    if (notice && !stop.stop_requested() && !m_bSilent) {
        m_notify(*notice);
    }
}

} // namespace larkspin
