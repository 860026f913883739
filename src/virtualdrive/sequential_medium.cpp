// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "virtualdrive/sequential_medium.h"

#include <algorithm>
#include <vector>

namespace larkspin {

CSequentialMedium::CSequentialMedium(CDiscStore& store, const EccFacts& facts)
    : CEccMedium(store, facts), m_tracks(store) {
    // Anything still open was interrupted along with the process that created it. A recording in
    // one go ends there; otherwise the drive's cache is lost, and writing continues at the next ECC
    // block.
    DiscTrack* open = m_tracks.Open();
    if (open == nullptr) {
        return;
    }
    if (open->inOneGo) {
        open->damaged = true;
        open->reserved = 0;
    }
    FillUp(*open, RoundUpToEcc(m_tracks.Written(*open)));
}

int32_t CSequentialMedium::NextTrackStart() const {
    if (m_tracks.HasOpenSession()) {
        return State().tracks.back().End() + TrackGap();
    }
    const auto& sessions = State().sessions;
    return sessions.empty() ? 0 : sessions.back().leadOut + SessionGap(sessions.size());
}

int32_t CSequentialMedium::TrackEnd(int32_t start, uint32_t reserved) const {
    return reserved != 0 ? start + static_cast<int32_t>(reserved)
                         : static_cast<int32_t>(Capacity());
}

DiscInformation CSequentialMedium::Information(const WriteParameters&) const {
    DiscInformation information = m_tracks.Information();
    information.erasable = IsErasable();
    // A CD has no such state.
    if (const DiscTrack* open = m_tracks.Open(); open != nullptr && open->damaged) {
        information.lastSession = 2;
    }
    return information;
}

TrackInformation CSequentialMedium::InvisibleTrack(const WriteParameters& parameters) const {
    const uint32_t reserved = Reserved(IsInOneGo(parameters));
    TrackInformation track = m_tracks.DescribeNext(NextTrackStart());
    track.reserved = reserved != 0;
    track.packet = HasPackets() && !track.reserved;
    track.packetBlocks = HasPackets() ? EccBlocks() : 0;
    track.SetFree(track.start, TrackEnd(track.start, reserved));
    return track;
}

SenseCode CSequentialMedium::Track(TrackAddress by, uint32_t number,
                                   const WriteParameters& parameters,
                                   TrackInformation* information) const {
    const DiscTrack* track = nullptr;
    const SenseCode code =
        m_tracks.Find(by, number, NextTrackStart(), static_cast<int32_t>(Capacity()), &track);
    if (!code.IsGood()) {
        return code;
    }
    if (track == nullptr) {
        *information = InvisibleTrack(parameters);
        return sense::kGood;
    }
    *information = m_tracks.Describe(*track);
    information->reserved = track->reserved != 0;
    information->packet = HasPackets() && !track->inOneGo;
    information->packetBlocks = information->packet ? EccBlocks() : 0;
    if (!track->complete && !track->damaged) {
        information->SetFree(m_tracks.End(*track), TrackEnd(track->start, track->reserved));
    }
    return sense::kGood;
}

SenseCode CSequentialMedium::Toc(uint8_t format, bool msf, uint8_t start, CAnswer& answer) const {
    return m_tracks.Toc(format, msf, start, answer);
}

std::vector<FormatCapacity> CSequentialMedium::FormatCapacities() const {
    return {m_tracks.Capacity(Capacity())};
}

uint32_t CSequentialMedium::LastBlock() const {
    return m_tracks.LastClosedBlock();
}

SenseCode CSequentialMedium::Read(int32_t block, uint32_t count, std::span<uint8_t> data) {
    const int32_t end = m_tracks.IsBlank() ? 0 : m_tracks.End(State().tracks.back());
    return m_tracks.Read(block, count, end, data);
}

uint32_t CSequentialMedium::Reserved(bool inOneGo) const {
    return inOneGo || !HasPackets() ? m_nReserved : 0;
}

SenseCode CSequentialMedium::CheckParameters(const WriteParameters& parameters) const {
    return parameters.writeType <= WriteParameters::SessionAtOnce
               ? sense::kGood
               : sense::kInvalidFieldInParameterList;
}

SenseCode CSequentialMedium::Reserve(const WriteParameters&, uint32_t blocks) {
    if (!IsWritable()) {
        return sense::kCannotWriteIncompatibleMedium;
    }
    return m_tracks.Open() != nullptr ? sense::kCommandSequenceError : ReserveNext(blocks);
}

SenseCode CSequentialMedium::ReserveNext(uint32_t blocks) {
    const uint32_t rounded = RoundUpToEcc(blocks);
    if (blocks == 0 || blocks > Capacity() ||
        int64_t{NextTrackStart()} + rounded > int64_t{Capacity()}) {
        return sense::kInvalidFieldInCdb;
    }
    m_nReserved = rounded;
    return sense::kGood;
}

SenseCode CSequentialMedium::Write(const WriteParameters& parameters, int32_t block, uint32_t count,
                                   std::span<const uint8_t> data) {
    if (!IsWritable()) {
        return sense::kCannotWriteIncompatibleMedium;
    }
    DiscTrack fresh;
    fresh.inOneGo = IsInOneGo(parameters);
    fresh.reserved = Reserved(fresh.inOneGo);
    const DiscTrack* open = m_tracks.Open();
    if (open != nullptr && (open->damaged || open->inOneGo != fresh.inOneGo)) {
        return sense::kCommandSequenceError;
    }
    if (open == nullptr) {
        if (const SenseCode code = CheckTrackBegin(fresh.inOneGo); !code.IsGood()) {
            return code;
        }
    }
    const int32_t next = open != nullptr ? m_tracks.End(*open) : NextTrackStart();
    const int32_t end =
        open != nullptr ? TrackEnd(open->start, open->reserved) : TrackEnd(next, fresh.reserved);
    if (block < 0 || int64_t{block} + count > end) {
        return sense::kAddressOutOfRange;
    }
    if (block != next) {
        return sense::kInvalidAddressForWrite;
    }
    if (data.size() != size_t{count} * kDataBlockBytes) {
        return sense::kDataPhaseError;
    }
    if (count == 0) {
        return sense::kGood;
    }
    if (open == nullptr) {
        if (const SenseCode code = m_tracks.Begin(fresh, next, MaxTracks()); !code.IsGood()) {
            return code;
        }
        m_nReserved = 0;
        open = m_tracks.Open();
    }
    return Store().Write(open->file, open->ByteOffset(block), data) ? sense::kGood
                                                                    : sense::kWriteError;
}

SenseCode CSequentialMedium::FillUp(const DiscTrack& track, uint32_t blocks) {
    const uint32_t written = m_tracks.Written(track);
    if (written >= blocks) {
        return sense::kGood;
    }
    // What a file leaves out reads as zeros, so writing the last block makes it long enough. The
    // first one may be incomplete if a process was killed.
    const std::vector<uint8_t> zeros(kDataBlockBytes);
    for (const uint32_t block : {written, blocks - 1}) {
        if (!Store().Write(track.file, uint64_t{block} * kDataBlockBytes, zeros)) {
            return sense::kWriteError;
        }
    }
    return sense::kGood;
}

SenseCode CSequentialMedium::CompleteTrack(DiscTrack& track) {
    const uint32_t blocks = std::max(RoundUpToEcc(m_tracks.Written(track)), track.reserved);
    const SenseCode code = FillUp(track, blocks);
    return code.IsGood() ? m_tracks.Complete(track, blocks) : code;
}

SenseCode CSequentialMedium::Flush(const WriteParameters& parameters, Aftermath* aftermath) {
    DiscTrack* open = m_tracks.Open();
    if (open == nullptr || open->damaged) {
        return sense::kGood;
    }
    if (!open->inOneGo) {
        return FillUp(*open, RoundUpToEcc(m_tracks.Written(*open)));
    }
    *aftermath = Aftermath::LeadOut;
    return CloseSession(!parameters.AllowsNextSession());
}

SenseCode CSequentialMedium::Close(const WriteParameters& parameters, uint8_t function,
                                   uint16_t track) {
    if (function != kCloseTrack && !IsSessionFunction(function)) {
        return sense::kInvalidFieldInCdb;
    }
    if (!IsWritable()) {
        return sense::kGood;
    }
    DiscTrack* open = m_tracks.Open();
    if (open != nullptr && open->inOneGo && !open->damaged) {
        return sense::kCommandSequenceError;
    }
    if (function != kCloseTrack) {
        return CloseSession(ClosesDisc(parameters, function));
    }
    const SenseCode code = m_tracks.FindToClose(track, &open);
    return code.IsGood() && open != nullptr ? CompleteTrack(*open) : code;
}

SenseCode CSequentialMedium::CloseSession(bool closeDisc) {
    if (DiscTrack* open = m_tracks.Open()) {
        if (const SenseCode code = CompleteTrack(*open); !code.IsGood()) {
            return code;
        }
    }
    if (m_tracks.HasOpenSession()) {
        return m_tracks.CloseSession(closeDisc);
    }
    // A blank disc has nothing to be closed.
    if (!m_tracks.IsBlank()) {
        State().finalized = closeDisc;
    }
    return Keep();
}

} // namespace larkspin
