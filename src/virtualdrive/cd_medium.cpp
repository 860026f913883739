// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "virtualdrive/cd_medium.h"

#include "virtualdrive/features.h"
#include "virtualdrive/msf.h"

#include <algorithm>
#include <array>

namespace larkspin {

namespace {

// KB/s of 48x to 4x, rounded up so that a host that truncates still gets whole multiples.
constexpr std::array<uint32_t, 7> kWriteSpeeds = {8468, 7056, 5645, 4234, 2823, 1412, 706};
constexpr uint32_t kReadSpeed = 8468;

constexpr uint8_t kDataModeUnknown = 15;
constexpr uint8_t kUndefinedDiscType = 0xFF;

constexpr int32_t kLeadInBlocks = 4500;
// Where the lead-in of the first session begins according to ATIP, 97:00:00.
constexpr int32_t kFirstLeadIn = FramesOfMsf(97, 0, 0) - 450'000 - kPregapFrames;

// READ CD, byte 9: only user data, or all fields of a block.
constexpr uint8_t kFieldUserData = 0x10;
constexpr uint8_t kFieldsAll = 0xF8;
constexpr uint8_t kExpectAudio = 1;
constexpr uint8_t kExpectMode1 = 2;

} // namespace

CCdMedium::CCdMedium(CDiscStore& store) : IMedium(store), m_tracks(store) {
    // Anything still open was interrupted along with the process that created it.
    CutOffRecording();
}

bool CCdMedium::IsFeatureCurrent(uint16_t code) const {
    switch (code) {
    case feature::kRandomReadable:
    case feature::kMultiRead:
    case feature::kCdRead:
        return true;
    case feature::kCdTrackAtOnce:
    case feature::kCdMastering:
        return IsWritable();
    case feature::kCdRwMediaWrite:
        return IsErasable();
    default:
        return false;
    }
}

std::span<const uint32_t> CCdMedium::WriteSpeeds() const {
    return kWriteSpeeds;
}

uint32_t CCdMedium::ReadSpeed() const {
    return kReadSpeed;
}

bool CCdMedium::IsWritable() const {
    return !State().finalized;
}

int32_t CCdMedium::SessionGap(size_t closedSessions) {
    return closedSessions == 1 ? kFirstSessionGap : kNextSessionGap;
}

int32_t CCdMedium::NextTrackStart() const {
    if (m_tracks.HasOpenSession()) {
        return m_tracks.End(State().tracks.back()) + static_cast<int32_t>(kRunOutBlocks) +
               kPregapFrames;
    }
    const auto& sessions = State().sessions;
    return sessions.empty() ? 0 : sessions.back().leadOut + SessionGap(sessions.size());
}

DiscInformation CCdMedium::Information(const WriteParameters&) const {
    DiscInformation information = m_tracks.Information();
    information.erasable = IsErasable();
    const auto& sessions = State().sessions;
    if (sessions.empty()) {
        information.discType = kUndefinedDiscType;
    }
    if (IsWritable()) {
        const int32_t leadIn = sessions.empty()
                                   ? kFirstLeadIn
                                   : sessions.back().leadOut + SessionGap(sessions.size()) -
                                         kPregapFrames - kLeadInBlocks;
        information.lastSessionLeadIn = MsfNumber(leadIn);
        information.lastPossibleLeadOut = MsfNumber(LastLeadOut());
    }
    return information;
}

TrackInformation CCdMedium::InvisibleTrack(const WriteParameters& parameters) const {
    TrackInformation track = m_tracks.DescribeNext(NextTrackStart());
    track.dataMode = kDataModeUnknown;
    track.SetFree(track.start, LastLeadOut());
    if (parameters.writeType != WriteParameters::SessionAtOnce) {
        return track;
    }
    // Session at once on a blank disc begins with the pre-gap.
    if (m_tracks.HasOpenSession()) {
        track.nextWritable.reset();
    } else if (m_tracks.IsBlank() && track.nextWritable) {
        *track.nextWritable -= kPregapFrames;
    }
    return track;
}

SenseCode CCdMedium::Track(TrackAddress by, uint32_t number, const WriteParameters& parameters,
                           TrackInformation* information) const {
    const DiscTrack* track = nullptr;
    const SenseCode code = m_tracks.Find(by, number, NextTrackStart(), LastLeadOut(), &track);
    if (!code.IsGood()) {
        return code;
    }
    if (track == nullptr) {
        *information = InvisibleTrack(parameters);
        return sense::kGood;
    }
    *information = m_tracks.Describe(*track);
    information->dataMode = track->IsData() ? 1 : kDataModeUnknown;
    if (!track->complete && !track->inOneGo && !track->damaged) {
        information->SetFree(m_tracks.End(*track), LastLeadOut());
    }
    return sense::kGood;
}

std::vector<FormatCapacity> CCdMedium::FormatCapacities() const {
    return {m_tracks.Capacity(State().capacity)};
}

uint32_t CCdMedium::LastBlock() const {
    return m_tracks.LastClosedBlock();
}

SenseCode CCdMedium::Read(int32_t block, uint32_t count, std::span<uint8_t> data) {
    const int32_t end = State().sessions.empty() ? 0 : State().sessions.back().leadOut;
    return m_tracks.Read(block, count, end, data);
}

SenseCode CCdMedium::ReadCd(int32_t block, uint32_t count, const ReadCdRequest& request,
                            std::span<uint8_t> data, uint32_t* bytesPerBlock) {
    if (State().sessions.empty() || block < 0 ||
        block + static_cast<int64_t>(count) > int64_t{LastBlock()} + 1) {
        return sense::kAddressOutOfRange;
    }
    const DiscTrack* first = m_tracks.At(block);
    if (first == nullptr) {
        return sense::kUnrecoveredRead;
    }
    const bool isData = first->IsData();
    if ((request.expectedType == kExpectAudio && isData) ||
        (request.expectedType == kExpectMode1 && !isData) || request.expectedType > kExpectMode1) {
        return sense::kIllegalModeForTrack;
    }
    // A block of CD-DA consists of user data, whichever other fields are requested with it. Sync,
    // header and parity of data blocks are not stored, so they can't be requested.
    const uint8_t otherFields = request.fields & ~kFieldUserData;
    if ((request.fields & kFieldUserData) == 0 || (isData && otherFields != 0) ||
        (otherFields & ~kFieldsAll) != 0) {
        return sense::kInvalidFieldInCdb;
    }
    *bytesPerBlock = first->blockBytes;
    if (data.size() < size_t{count} * first->blockBytes) {
        return sense::kGood;
    }
    for (; count > 0; --count, ++block, data = data.subspan(first->blockBytes)) {
        const DiscTrack* track = m_tracks.At(block);
        if (track == nullptr) {
            return sense::kUnrecoveredRead;
        }
        if (track->IsData() != isData) {
            return sense::kIllegalModeForTrack;
        }
        if (!Store().Read(track->file, track->ByteOffset(block), data.first(track->blockBytes))) {
            return sense::kUnrecoveredRead;
        }
    }
    return sense::kGood;
}

SenseCode CCdMedium::CheckParameters(const WriteParameters& parameters) const {
    const bool isKnownType = parameters.writeType == WriteParameters::TrackAtOnce ||
                             parameters.writeType == WriteParameters::SessionAtOnce;
    const bool isKnownBlock = parameters.dataBlockType == WriteParameters::RawBlocks ||
                              parameters.dataBlockType == WriteParameters::Mode1Blocks;
    const bool isKnownFormat = parameters.sessionFormat == 0x00 || parameters.sessionFormat == 0x20;
    if (!isKnownType || !isKnownBlock || !isKnownFormat || parameters.testWrite ||
        parameters.multiSession == 2) {
        return sense::kInvalidFieldInParameterList;
    }
    return sense::kGood;
}

SenseCode CCdMedium::Write(const WriteParameters& parameters, int32_t block, uint32_t count,
                           std::span<const uint8_t> data) {
    if (!IsWritable()) {
        return sense::kCannotWriteIncompatibleMedium;
    }
    const bool inOneGo = parameters.writeType == WriteParameters::SessionAtOnce;
    // One way of writing at a time: a plan needs its session, and a session at once needs a plan.
    if (inOneGo != (m_plan != nullptr)) {
        return sense::kCommandSequenceError;
    }
    return inOneGo ? WriteSessionAtOnce(block, count, data)
                   : WriteTrackAtOnce(parameters, block, count, data);
}

SenseCode CCdMedium::WriteTrackAtOnce(const WriteParameters& parameters, int32_t block,
                                      uint32_t count, std::span<const uint8_t> data) {
    DiscTrack track;
    track.control = parameters.trackMode;
    track.blockBytes = track.IsData() ? kDataBlockBytes : kAudioBlockBytes;
    track.runOut = kRunOutBlocks;
    if (parameters.dataBlockType !=
        (track.IsData() ? WriteParameters::Mode1Blocks : WriteParameters::RawBlocks)) {
        return sense::kIllegalModeForTrack;
    }
    const DiscTrack* open = m_tracks.Open();
    if (open != nullptr && open->damaged) {
        return sense::kCommandSequenceError;
    }
    if (open != nullptr && open->IsData() != track.IsData()) {
        return sense::kIllegalModeForTrack;
    }
    if (block != (open != nullptr ? m_tracks.End(*open) : NextTrackStart())) {
        return sense::kInvalidAddressForWrite;
    }
    if (int64_t{block} + count > LastLeadOut()) {
        return sense::kEndOfUserArea;
    }
    if (data.size() != size_t{count} * track.blockBytes) {
        return sense::kDataPhaseError;
    }
    if (count == 0) {
        return sense::kGood;
    }
    if (open == nullptr) {
        if (const SenseCode code = m_tracks.Begin(track, block, kMaxTracks); !code.IsGood()) {
            return code;
        }
        open = m_tracks.Open();
    }
    return Store().Write(open->file, open->ByteOffset(block), data) ? sense::kGood
                                                                    : sense::kWriteError;
}

SenseCode CCdMedium::Flush(const WriteParameters& parameters, Aftermath* aftermath) {
    if (m_plan != nullptr) {
        if (m_nextPlanned < m_plan->LeadOut()) {
            // The data ended before the lead-out: the recording is over, and incomplete.
            m_plan.reset();
            CutOffRecording();
            return Keep();
        }
        *aftermath = Aftermath::LeadOut;
        return EndSessionAtOnce(parameters);
    }
    DiscTrack* open = m_tracks.Open();
    if (open == nullptr || open->damaged || IsTooShort(*open)) {
        return sense::kGood;
    }
    return m_tracks.Complete(*open, m_tracks.Written(*open));
}

bool CCdMedium::IsTooShort(const DiscTrack& open) const {
    return !open.damaged && m_tracks.Written(open) < kMinTrackBlocks;
}

SenseCode CCdMedium::Close(const WriteParameters& parameters, uint8_t function, uint16_t track) {
    if (function != kCloseTrack && function != kCloseSession) {
        return sense::kInvalidFieldInCdb;
    }
    if (!IsWritable()) {
        return sense::kGood;
    }
    if (m_plan != nullptr) {
        return sense::kCommandSequenceError;
    }
    DiscTrack* open = m_tracks.Open();
    if (function == kCloseTrack) {
        if (const SenseCode code = m_tracks.FindToClose(track, &open); !code.IsGood()) {
            return code;
        }
    }
    if (open != nullptr) {
        if (IsTooShort(*open)) {
            return sense::kIncompleteTrackInSession;
        }
        const SenseCode code = m_tracks.Complete(*open, m_tracks.Written(*open));
        if (!code.IsGood()) {
            return code;
        }
    }
    return function == kCloseSession && m_tracks.HasOpenSession()
               ? m_tracks.CloseSession(!parameters.AllowsNextSession())
               : sense::kGood;
}

SenseCode CCdRwMedium::Blank(uint8_t type, uint32_t) {
    if (type != kBlankAll && type != kBlankMinimal) {
        return sense::kInvalidFieldInCdb;
    }
    DropPlan();
    return Store().Erase() ? sense::kGood : sense::kWriteError;
}

} // namespace larkspin
