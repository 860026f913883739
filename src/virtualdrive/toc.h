// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// READ TOC/PMA/ATIP, formats 0 and 1 (MMC), which all media support.
#pragma once

#include "virtualdrive/disc_store.h"
#include "virtualdrive/sense_code.h"

#include <cstdint>
#include <span>

namespace larkspin {

class CAnswer;

enum TocFormat : uint8_t {
    kTocTracks = 0,
    kTocSessions = 1,
    kTocFull = 2,
    kTocPma = 3,
    kTocAtip = 4,
    kTocCdText = 5,
};

constexpr uint8_t kLeadOutTrack = 0xAA;

// The request: addresses as MSF or blocks, and the first track wanted.
struct TocRequest {
    bool msf = false;
    uint8_t start = 0;
};

// ADR 1 (position) and the control nibble of a track.
uint8_t AdrControl(const DiscTrack& track);

// Appends everything after the two length bytes: the readable tracks, at least one, and the
// lead-out of the last session, or the first track of that session. A DVD has no addresses in
// minutes of its own; what lies beyond the last one is reported as 99:59:74 (MMC, fabricated TOC).
SenseCode AppendToc(uint8_t format, std::span<const DiscTrack> tracks, const DiscSession& last,
                    const TocRequest& request, CAnswer& answer);

} // namespace larkspin
