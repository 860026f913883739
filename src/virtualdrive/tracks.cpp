// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "virtualdrive/tracks.h"

#include "platform/text.h"
#include "virtualdrive/toc.h"

#include <algorithm>

namespace larkspin {

template <class Condition>
const DiscTrack* CTracks::FindIf(Condition condition) const {
    const auto& tracks = State().tracks;
    const auto found = std::find_if(tracks.begin(), tracks.end(), condition);
    return found != tracks.end() ? &*found : nullptr;
}

DiscTrack* CTracks::Open() const {
    return !IsBlank() && !State().tracks.back().complete ? &State().tracks.back() : nullptr;
}

uint32_t CTracks::Written(const DiscTrack& track) const {
    if (track.complete) {
        return track.blocks;
    }
    const auto fileBlocks = static_cast<int64_t>(m_store.FileBytes(track.file) / track.blockBytes);
    return static_cast<uint32_t>(
        std::max<int64_t>(0, fileBlocks - (track.start - track.fileStart)));
}

uint32_t CTracks::LastClosedBlock() const {
    const auto& sessions = State().sessions;
    // A session that was interrupted in its first pre-gap has no block.
    return sessions.empty() ? 0 : static_cast<uint32_t>(std::max(sessions.back().leadOut, 1) - 1);
}

DiscInformation CTracks::Information() const {
    const bool isClosed = State().finalized;
    DiscInformation information;
    information.status = isClosed    ? DiscInformation::Complete
                         : IsBlank() ? DiscInformation::Empty
                                     : DiscInformation::Incomplete;
    information.lastSession = isClosed ? 3 : HasOpenSession() ? 1 : 0;
    information.sessions = static_cast<uint16_t>(isClosed ? OpenSession() - 1 : OpenSession());
    // The invisible track counts as one.
    const uint32_t last = isClosed || Open() != nullptr ? NextNumber() - 1 : NextNumber();
    const DiscTrack* first = FirstOf(information.sessions);
    information.lastTrackOfLastSession = static_cast<uint16_t>(last);
    information.firstTrackOfLastSession =
        static_cast<uint16_t>(first != nullptr ? first->number : last);
    return information;
}

SenseCode CTracks::Find(TrackAddress by, uint32_t number, int32_t nextStart, int32_t discEnd,
                        const DiscTrack** track) const {
    const auto block = static_cast<int32_t>(number);
    bool isInvisible = false;
    switch (by) {
    case TrackAddress::Block:
        *track = At(block);
        isInvisible = block >= nextStart && block < discEnd;
        break;
    case TrackAddress::Track:
        *track = number == kInvisibleTrack
                     ? Open()
                     : FindIf([number](const DiscTrack& each) { return each.number == number; });
        isInvisible = number == kInvisibleTrack || number == NextNumber();
        break;
    case TrackAddress::Session:
        *track = FirstOf(number);
        isInvisible = number == OpenSession();
        break;
    }
    if (*track != nullptr || (isInvisible && Open() == nullptr && !State().finalized)) {
        return sense::kGood;
    }
    return by == TrackAddress::Block ? sense::kAddressOutOfRange : sense::kInvalidFieldInCdb;
}

TrackInformation CTracks::Describe(const DiscTrack& track) const {
    TrackInformation information;
    information.number = static_cast<uint16_t>(track.number);
    information.session = static_cast<uint16_t>(track.session);
    information.damaged = track.damaged;
    information.trackMode = track.control;
    information.start = track.start;
    information.size = Written(track);
    if (information.size > 0) {
        information.lastRecorded = End(track) - 1;
    }
    return information;
}

TrackInformation CTracks::DescribeNext(int32_t start) const {
    TrackInformation information;
    information.number = static_cast<uint16_t>(NextNumber());
    information.session = static_cast<uint16_t>(OpenSession());
    information.blank = true;
    information.start = start;
    return information;
}

SenseCode CTracks::Toc(uint8_t format, bool msf, uint8_t start, CAnswer& answer) const {
    const auto& sessions = State().sessions;
    if (sessions.empty()) {
        return sense::kInvalidFieldInCdb;
    }
    const auto& tracks = State().tracks;
    const auto closed = std::find_if(tracks.begin(), tracks.end(), [&](const DiscTrack& track) {
        return track.session > sessions.size();
    });
    return AppendToc(format, {tracks.begin(), closed}, sessions.back(), {msf, start}, answer);
}

FormatCapacity CTracks::Capacity(uint32_t blocks) const {
    if (IsBlank()) {
        return {.blocks = blocks, .type = 1};
    }
    return {.blocks = LastClosedBlock() + 1, .type = 2};
}

const DiscTrack* CTracks::At(int32_t block) const {
    return FindIf([&](const DiscTrack& track) {
        return block >= track.start - track.pregap && block < End(track);
    });
}

const DiscTrack* CTracks::FirstOf(uint32_t session) const {
    return FindIf([session](const DiscTrack& track) { return track.session == session; });
}

SenseCode CTracks::Read(int32_t block, uint32_t count, int32_t end, std::span<uint8_t> data) const {
    while (count > 0) {
        if (block < 0 || block >= end) {
            return sense::kAddressOutOfRange;
        }
        const DiscTrack* track = At(block);
        if (track == nullptr) { // run-out, or between sessions
            return sense::kUnrecoveredRead;
        }
        if (!track->IsData()) {
            return sense::kIllegalModeForTrack;
        }
        const uint32_t run = std::min(count, static_cast<uint32_t>(End(*track) - block));
        const size_t bytes = size_t{run} * kDataBlockBytes;
        if (!m_store.Read(track->file, track->ByteOffset(block), data.first(bytes))) {
            return sense::kUnrecoveredRead;
        }
        data = data.subspan(bytes);
        block += static_cast<int32_t>(run);
        count -= run;
    }
    return sense::kGood;
}

SenseCode CTracks::Begin(DiscTrack track, int32_t start, uint32_t lastNumber) {
    track.number = NextNumber();
    if (track.number > lastNumber) {
        return sense::kEndOfUserArea;
    }
    track.session = OpenSession();
    track.start = start;
    track.fileStart = start;
    track.file = Format(track.IsData() ? "track-%02u.iso" : "track-%02u.bin", track.number);
    if (!m_store.BeginFile(track.file)) {
        return sense::kWriteError;
    }
    State().tracks.push_back(track);
    return Keep();
}

SenseCode CTracks::Complete(DiscTrack& track, uint32_t blocks) {
    track.blocks = blocks;
    track.complete = true;
    return Keep();
}

SenseCode CTracks::FindToClose(uint16_t number, DiscTrack** open) const {
    DiscTrack* candidate = Open();
    const bool isMeant =
        candidate != nullptr && (number == candidate->number || number == kInvisibleTrack);
    *open = isMeant ? candidate : nullptr;
    // Complete tracks and an invisible one have nothing to close.
    const bool isKnown =
        isMeant || (number >= 1 && number < NextNumber()) ||
        (candidate == nullptr && (number == NextNumber() || number == kInvisibleTrack));
    return isKnown ? sense::kGood : sense::kInvalidFieldInCdb;
}

SenseCode CTracks::CloseSession(bool finalize) {
    const DiscTrack& last = State().tracks.back();
    State().sessions.push_back({last.session, last.End() + static_cast<int32_t>(last.runOut)});
    State().finalized = finalize;
    return Keep();
}

} // namespace larkspin
