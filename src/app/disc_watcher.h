// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Watches the discs in the drives, for the line under the queue.
//
// Its own thread looks at the drives, but only while the line is visible and no job runs: every few
// seconds it asks each drive whether it is ready, which wakes none, and, once one has become ready,
// what disc it has. It opens the devices for reading only, closes them again, takes no lock and
// ignores a drive that another program has open. Whatever it could not find out is left out.
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

// The size of the queue, as far as it has been measured.
struct QueueNeeds {
    std::optional<uint64_t> bytes;
    std::optional<uint32_t> audioBytes; // PCM bytes; only if everything is audio
};

// For each disc: what it is, how much is free, and by how much the queue is too large for it.
std::u16string DiscsText(const std::vector<SeenDisc>& discs, const QueueNeeds& needs);

class DiscWatcher {
  public:
    // `isFree` says that no job runs, and may be called on any thread. `pause` is the time between
    // two looks.
    DiscWatcher(IClock& clock, std::function<bool()> isFree, std::chrono::milliseconds pause);
    DiscWatcher(const DiscWatcher&) = delete;
    DiscWatcher& operator=(const DiscWatcher&) = delete;
    ~DiscWatcher() { Stop(); }

    // Keeps `port`; null means that there are no drives. To be called once, before Stop.
    void Start(IScsiPort* port);
    // The most recent result, unless it is old; requests another look. On any thread; does not
    // wait.
    std::vector<SeenDisc> Discs();
    // For a job that has begun: when this returns, all commands to the drives have ended, and none
    // will follow until `isFree` returns true.
    void StandBack();
    // Joins the thread, after the command that may be running.
    void Stop();

  private:
    struct Known {
        int tries = 0; // number of looks at a disc about which the drive reports nothing
        std::optional<DiscGlance> glance;
    };

    void WatcherThread(const std::stop_token& stop);
    void LookAround(const std::stop_token& stop);
    void LookInto(int letterIndex);

    IClock& m_clock;
    const std::function<bool()> m_isFree;
    const std::chrono::milliseconds m_pause;
    IScsiPort* m_pPort = nullptr;
    std::map<int, Known> m_known; // discs of ready drives, by letter; the watcher's
    std::mutex m_turn;            // held while a drive is asked
    std::mutex m_mutex;           // guards the next three
    bool m_bOutdated = false;     // a job has begun since the last look began
    std::vector<SeenDisc> m_discs;
    uint64_t m_nSeenAt = 0;
    CEvent m_wanted{CEvent::Reset::Auto};
    CEvent m_hStopped{CEvent::Reset::Manual};
    std::jthread m_hWatcherThread;
};

} // namespace larkspin
