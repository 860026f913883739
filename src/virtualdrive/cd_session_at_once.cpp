// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Session at once: from the cue sheet to the lead-out.
#include "virtualdrive/cd_medium.h"

#include "virtualdrive/msf.h"

#include <algorithm>

namespace larkspin {

SenseCode CCdMedium::SendCueSheet(const WriteParameters& parameters,
                                  std::span<const uint8_t> sheet) {
    if (!IsWritable()) {
        return sense::kCannotWriteIncompatibleMedium;
    }
    if (parameters.writeType != WriteParameters::SessionAtOnce || m_tracks.HasOpenSession()) {
        return sense::kCommandSequenceError;
    }
    CCuePlan::Place place;
    place.start = NextTrackStart() - kPregapFrames;
    place.firstTrack = static_cast<uint8_t>(m_tracks.NextNumber());
    place.lastLeadOut = LastLeadOut();
    place.session = m_tracks.OpenSession();
    auto plan = std::make_unique<CCuePlan>();
    if (const SenseCode code = plan->Parse(sheet, place); !code.IsGood()) {
        return code;
    }
    m_plan = std::move(plan);
    m_nextPlanned = m_plan->SkipMadeByDrive(m_plan->Start());
    return sense::kGood;
}

SenseCode CCdMedium::WriteSessionAtOnce(int32_t block, uint32_t count,
                                        std::span<const uint8_t> data) {
    if (count == 0) {
        return sense::kGood;
    }
    if (block != m_nextPlanned) {
        return sense::kInvalidAddressForWrite;
    }
    const CueArea* area = m_plan->AreaAt(block);
    if (area == nullptr || int64_t{block} + count > m_plan->LeadOut()) {
        return sense::kInvalidAddressForWrite;
    }
    const uint32_t blockBytes = area->hostBytes;
    if (data.size() != size_t{count} * blockBytes) {
        return sense::kDataPhaseError;
    }
    // One command holds blocks of one form.
    for (int32_t at = block; at < block + static_cast<int32_t>(count);
         at = m_plan->AreaAt(at)->end) {
        if (m_plan->AreaAt(at)->hostBytes != blockBytes ||
            m_plan->AreaAt(at)->isData != area->isData) {
            return sense::kIllegalModeForTrack;
        }
    }

    if (!m_tracks.HasOpenSession()) {
        for (const DiscTrack& track : m_plan->Tracks()) {
            if (!Store().BeginFile(track.file)) {
                return sense::kWriteError;
            }
            State().tracks.push_back(track);
        }
        if (const SenseCode code = Keep(); !code.IsGood()) {
            return code;
        }
    }
    for (const DiscTrack& track : State().tracks) {
        if (track.session != m_tracks.OpenSession()) {
            continue;
        }
        // Anything before the first stored block is a pause that nobody reads.
        const int32_t from = std::max(block, track.start - track.pregap);
        const int32_t to = std::min(block + static_cast<int32_t>(count), track.End());
        if (from >= to) {
            continue;
        }
        const auto part = data.subspan(static_cast<size_t>(from - block) * blockBytes,
                                       static_cast<size_t>(to - from) * blockBytes);
        if (!Store().Write(track.file, track.ByteOffset(from), part)) {
            return sense::kWriteError;
        }
    }
    m_nextPlanned = m_plan->SkipMadeByDrive(block + static_cast<int32_t>(count));
    return sense::kGood;
}

SenseCode CCdMedium::EndSessionAtOnce(const WriteParameters& parameters) {
    m_plan.reset();
    for (DiscTrack& track : State().tracks) {
        track.complete = true;
    }
    return m_tracks.CloseSession(!parameters.AllowsNextSession());
}

void CCdMedium::CutOffRecording() {
    auto& tracks = State().tracks;
    // Tracks that were never reached are removed, except the first: the disc is not blank any more.
    while (tracks.size() > 1 && !tracks.back().complete && !tracks[tracks.size() - 2].complete &&
           m_tracks.Written(tracks.back()) == 0) {
        tracks.pop_back();
    }
    for (DiscTrack& track : tracks) {
        if (track.complete) {
            continue;
        }
        track.damaged = true;
        track.blocks = std::min(track.blocks, m_tracks.Written(track));
        track.complete = &track != &tracks.back();
    }
}

} // namespace larkspin
