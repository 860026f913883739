// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What lies in the drives, for the line under the queue.
//
// A thread of its own looks, and only while somebody sees the line and no job runs: every few
// seconds it asks each drive whether it is ready, which wakes none, and what disc it has once it
// has become so. It opens the devices for reading only and closes them again, holds no lock on them
// and keeps away from a drive that another program has open. Whatever it could not find out is left
// out.
#pragma once

#include "drive/aspi_cd.h"
#include "platform/clock.h"
#include "platform/event.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

namespace larkspin {

struct SeenDisc {
    std::u16string drive; // "sr0"
    DiscGlance glance;
};

// What the queue comes to, as far as it has been measured.
struct QueueNeeds {
    std::optional<uint64_t> bytes;
    std::optional<uint32_t> audioBytes; // PCM; only if all is audio
};

// For each disc what it is, what is free on it, and how much the queue is too much for it.
std::u16string DiscsText(const std::vector<SeenDisc>& discs, const QueueNeeds& needs);

class DiscWatcher {
  public:
    // `isFree`: no job runs; from any thread. `pause` lies between two looks.
    DiscWatcher(IClock& clock, std::function<bool()> isFree, std::chrono::milliseconds pause);
    DiscWatcher(const DiscWatcher&) = delete;
    DiscWatcher& operator=(const DiscWatcher&) = delete;
    ~DiscWatcher() { Stop(); }

    // `port` is kept; null has no drives. To be called once, before Stop.
    void Start(IScsiPort* port);
    // What was seen last, and not long ago; asks for another look. On any thread, without a wait.
    std::vector<SeenDisc> Discs();
    // For a job that has begun: what this sends to a drive has ended when it returns, and nothing
    // follows until `isFree` says so.
    void StandBack();
    // Joins the thread, after the command that it may be at.
    void Stop();

  private:
    struct Known {
        int tries = 0; // at a disc that the drive tells nothing of
        std::optional<DiscGlance> glance;
    };

    void WatcherThread(const std::stop_token& stop);
    void LookAround(const std::stop_token& stop);
    void LookInto(int letterIndex);

    IClock& m_clock;
    const std::function<bool()> m_isFree;
    const std::chrono::milliseconds m_pause;
    IScsiPort* m_pPort = nullptr;
    std::map<int, Known> m_known; // discs of ready drives, by letter index; the watcher's
    std::mutex m_turn;            // held while a drive is asked
    std::mutex m_mutex;           // guards the next three
    bool m_bOutdated = false;     // a job has begun since the last look did
    std::vector<SeenDisc> m_discs;
    uint64_t m_nSeenAt = 0;
    CEvent m_wanted{CEvent::Reset::Auto};
    CEvent m_hStopped{CEvent::Reset::Manual};
    std::jthread m_hWatcherThread;
};

} // namespace larkspin
