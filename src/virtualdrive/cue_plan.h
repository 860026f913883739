// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A strict parser for cue sheets (SEND CUE SHEET, MMC); the result is the plan of a session-at-once
// recording.
#pragma once

#include "virtualdrive/disc_store.h"
#include "virtualdrive/sense_code.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace larkspin {

// A range of blocks that the host sends in one form.
struct CueArea {
    int32_t start = 0;
    int32_t end = 0;        // one past the last block
    uint32_t hostBytes = 0; // per block; 0: the drive creates the blocks itself
    bool isData = false;
    uint8_t track = 1;
    bool isPregap = false; // index 0
};

class CCuePlan {
  public:
    // Where and how the session must be placed.
    struct Place {
        int32_t start = -150; // first block of the first track's pre-gap
        uint8_t firstTrack = 1;
        int32_t lastLeadOut = 0; // the latest start of the lead-out
        uint32_t session = 1;
    };

    // Parses a sheet. Returns 5/26/00 if it is inconsistent, 5/63/00 if it doesn't fit on the disc.
    SenseCode Parse(std::span<const uint8_t> sheet, const Place& place);

    int32_t Start() const { return m_areas.front().start; }
    int32_t LeadOut() const { return m_leadOut; }
    // The area of a block in the session; null outside it.
    const CueArea* AreaAt(int32_t block) const;
    // First block from `block` on that the host sends; the lead-out if there is none.
    int32_t SkipMadeByDrive(int32_t block) const;
    // The tracks to be recorded, open, with their files.
    std::vector<DiscTrack> Tracks() const { return m_tracks; }

  private:
    struct Entry {
        uint8_t control = 0;
        uint8_t track = 0;
        uint8_t index = 0;
        uint8_t form = 0;
        int32_t block = 0;
    };

    static std::optional<std::vector<Entry>> ReadEntries(std::span<const uint8_t> sheet);
    bool BuildAreas(std::span<const Entry> entries);
    bool CheckTracks(std::span<const Entry> entries, const Place& place) const;
    void BuildTracks(std::span<const Entry> entries, const Place& place);

    std::vector<CueArea> m_areas;
    std::vector<DiscTrack> m_tracks;
    int32_t m_leadOut = 0;
};

} // namespace larkspin
