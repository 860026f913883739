// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The tracks and sessions of a disc that is written from the inside out: which ones there are, how
// far they reach, and how the next one begins and ends.
//
// Only the last track of an unfinished recording is open; its file shows how far it is written. A
// session is open from its first track until it is closed. What is not recorded yet is the
// invisible track (MMC, "Track and session information"), with the number FFh or the next number.
#pragma once

#include "virtualdrive/medium.h"

#include <cstdint>
#include <span>

namespace larkspin {

class CTracks {
  public:
    // `store` must outlive the object.
    explicit CTracks(CDiscStore& store) : m_store(store) {}

    bool IsBlank() const { return State().tracks.empty(); }
    // The open session, or the one to be opened by the next track.
    uint32_t OpenSession() const { return static_cast<uint32_t>(State().sessions.size()) + 1; }
    bool HasOpenSession() const {
        return !IsBlank() && State().tracks.back().session == OpenSession();
    }
    uint32_t NextNumber() const { return IsBlank() ? 1 : State().tracks.back().number + 1; }
    // Null if all tracks are complete.
    DiscTrack* Open() const;
    uint32_t Written(const DiscTrack& track) const;
    // The address after the last block written.
    int32_t End(const DiscTrack& track) const {
        return track.start + static_cast<int32_t>(Written(track));
    }
    // Address of the last block of the closed sessions; 0 if there are none.
    uint32_t LastClosedBlock() const;

    // Status, sessions and tracks of READ DISC INFORMATION.
    DiscInformation Information() const;
    // Finds a track as identified by READ TRACK INFORMATION. `track` is null for the invisible
    // track, which extends from `nextStart` to `discEnd`.
    SenseCode Find(TrackAddress by, uint32_t number, int32_t nextStart, int32_t discEnd,
                   const DiscTrack** track) const;
    // What all media report about a track, and about the invisible one.
    TrackInformation Describe(const DiscTrack& track) const;
    TrackInformation DescribeNext(int32_t start) const;
    // READ TOC, formats 0 and 1, of the closed sessions.
    SenseCode Toc(uint8_t format, bool msf, uint8_t start, CAnswer& answer) const;
    // Current capacity for READ FORMAT CAPACITIES; `blocks` is that of the blank disc.
    FormatCapacity Capacity(uint32_t blocks) const;
    // The track that contains a block, including pauses that are stored.
    const DiscTrack* At(int32_t block) const;
    // Null if there is no such session.
    const DiscTrack* FirstOf(uint32_t session) const;
    // Reads blocks of 2048 bytes, all before `end`.
    SenseCode Read(int32_t block, uint32_t count, int32_t end, std::span<uint8_t> data) const;

    // Adds `track` as the open one, with the next number, at most `lastNumber`, and at `start`.
    SenseCode Begin(DiscTrack track, int32_t start, uint32_t lastNumber);
    SenseCode Complete(DiscTrack& track, uint32_t blocks);
    // The open track if CLOSE TRACK refers to it, by number or as FFh; null if there is none to
    // close.
    SenseCode FindToClose(uint16_t number, DiscTrack** open) const;
    // Closes the open session, whose tracks must be complete.
    SenseCode CloseSession(bool finalize);

  private:
    DiscState& State() const { return m_store.State(); }
    SenseCode Keep() { return m_store.Save() ? sense::kGood : sense::kWriteError; }
    template <class Condition>
    const DiscTrack* FindIf(Condition condition) const;

    CDiscStore& m_store;
};

} // namespace larkspin
