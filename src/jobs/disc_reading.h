// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Reads a disc extent by extent, with what the user sees of it: bar, Cancel, unreadable files.
//
// Used by the job's thread.
#pragma once

#include "jobs/disc_window.h"
#include "jobs/job_frame.h"
#include "volume/extent_list.h"

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace larkspin {

class DiscReading {
  public:
    enum class End {
        Whole,
        Cancelled,
        BrokenOff,  // the drive or the disc went away
        Impossible, // nothing could be read
    };
    using Sink = std::function<void(std::span<const uint8_t>)>;

    // Works in the window of such a job, which is up. `total` is the number of bytes to read.
    DiscReading(JobEnv& env, JobKind kind, uint64_t total)
        : m_env(env), m_kind(kind), m_nTotal(total) {}

    // Passes the bytes of an extent to `sink`, read `offset` bytes away from their place, up to the
    // first block that can't be read: one is enough. Returns the number of those bytes.
    uint64_t Read(const ExtentList::Extent& extent, DiscWindow& window, int64_t offset,
                  const Sink& sink);

    // Adds a line about something bad. Only the first of them are kept.
    void AddBad(const std::u16string& line);
    // Adds the line for an extent of which only `read` bytes could be read.
    void AddUnreadable(const std::u16string& name, const ExtentList::Extent& extent, uint64_t read,
                       const DiscWindow& window);

    // Ends the reading because of the drive's state, which is not Ready.
    void Stop(CAspiCD::UnitState state);
    void TellImpossible(const std::u16string& reason);
    bool IsOver() const { return m_end != End::Whole; }
    End Ended() const { return m_end; }
    bool IsBad() const { return m_nBad > 0; }

    // "You cancelled its verification after 12%." and the like, for a reading that is over.
    std::u16string EndText() const;
    // The lines of AddBad, each after a line break.
    std::u16string BadLines() const;

  private:
    void Count(uint64_t bytes);

    JobEnv& m_env;
    const JobKind m_kind;
    const uint64_t m_nTotal; // bytes
    uint64_t m_nDone = 0;
    int m_nPercent = 0;
    End m_end = End::Whole;
    std::u16string m_strReason;
    size_t m_nBad = 0;
    std::vector<std::u16string> m_firstBad;
};

} // namespace larkspin
