// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "virtualdrive/overwrite_medium.h"

#include "virtualdrive/answer.h"
#include "virtualdrive/features.h"
#include "virtualdrive/toc.h"

#include <algorithm>

namespace larkspin {

DiscTrack OverwriteTrack() {
    DiscTrack track;
    track.file = "track-01.iso";
    return track;
}

bool COverwriteMedium::IsFeatureCurrent(uint16_t code) const {
    return code == feature::kFormattable || CEccMedium::IsFeatureCurrent(code);
}

uint32_t COverwriteMedium::WrittenBlocks() const {
    return State().tracks.empty()
               ? 0
               : static_cast<uint32_t>(Store().FileBytes(State().tracks.front().file) /
                                       kDataBlockBytes);
}

SenseCode COverwriteMedium::Track(TrackAddress by, uint32_t number, const WriteParameters&,
                                  TrackInformation* track) const {
    const bool isKnown = by == TrackAddress::Block ? number < Capacity() : number == 1;
    if (!isKnown) {
        return by == TrackAddress::Block ? sense::kAddressOutOfRange : sense::kInvalidFieldInCdb;
    }
    const uint32_t formatted = FormattedBlocks();
    track->blank = formatted == 0;
    track->packet = HasFixedPackets();
    track->fixedPacket = HasFixedPackets();
    track->packetBlocks = HasFixedPackets() ? EccBlocks() : 0;
    track->size = Capacity();
    track->freeBlocks = Capacity() - formatted;
    if (WrittenBlocks() > 0) {
        track->lastRecorded = static_cast<int32_t>(WrittenBlocks()) - 1;
    }
    return sense::kGood;
}

SenseCode COverwriteMedium::Toc(uint8_t format, bool msf, uint8_t start, CAnswer& answer) const {
    if (FormattedBlocks() == 0) {
        return sense::kInvalidFieldInCdb;
    }
    const DiscTrack track;
    const DiscSession session = {1, static_cast<int32_t>(FormattedBlocks())};
    return AppendToc(format, {&track, 1}, session, {msf, start}, answer);
}

uint32_t COverwriteMedium::LastBlock() const {
    return FormattedBlocks() == 0 ? 0 : FormattedBlocks() - 1;
}

SenseCode COverwriteMedium::Read(int32_t block, uint32_t count, std::span<uint8_t> data) {
    if (block < 0 || !IsInside(block, count, FormattedBlocks())) {
        return sense::kAddressOutOfRange;
    }
    if (State().tracks.empty()) {
        std::fill(data.begin(), data.end(), uint8_t{0});
        return sense::kGood;
    }
    const DiscTrack& track = State().tracks.front();
    return Store().Read(track.file, track.ByteOffset(block), data) ? sense::kGood
                                                                   : sense::kUnrecoveredRead;
}

SenseCode COverwriteMedium::CheckParameters(const WriteParameters& parameters) const {
    // The page has no effect on these media, but it must not ask for what none of them supports.
    return parameters.writeType <= WriteParameters::SessionAtOnce
               ? sense::kGood
               : sense::kInvalidFieldInParameterList;
}

SenseCode COverwriteMedium::Write(const WriteParameters&, int32_t block, uint32_t count,
                                  std::span<const uint8_t> data) {
    if (block < 0) {
        return sense::kAddressOutOfRange;
    }
    if (const SenseCode code = CheckWrite(block, count); !code.IsGood()) {
        return code;
    }
    if (data.size() != size_t{count} * kDataBlockBytes) {
        return sense::kDataPhaseError;
    }
    if (count == 0) {
        return sense::kGood;
    }
    if (State().tracks.empty()) {
        const DiscTrack track = OverwriteTrack();
        if (!Store().BeginFile(track.file)) {
            return sense::kWriteError;
        }
        State().tracks.push_back(track);
        if (const SenseCode code = Keep(); !code.IsGood()) {
            return code;
        }
    }
    const DiscTrack& track = State().tracks.front();
    return Store().Write(track.file, track.ByteOffset(block), data) ? sense::kGood
                                                                    : sense::kWriteError;
}

} // namespace larkspin
