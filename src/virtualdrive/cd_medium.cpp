#include "virtualdrive/cd_medium.h"

#include "platform/text.h"
#include "virtualdrive/features.h"
#include "virtualdrive/msf.h"

#include <algorithm>
#include <array>

namespace larkspin {

namespace {

// KB/s of 48x to 4x, rounded up so that a host that truncates the multiple finds it whole.
constexpr std::array<uint32_t, 7> kWriteSpeeds = {8468, 7056, 5645, 4234, 2823, 1412, 706};
constexpr uint32_t kReadSpeed = 8468;

constexpr uint8_t kTrackModeData = 4;
constexpr uint8_t kBlockTypeRaw = 0;
constexpr uint8_t kBlockTypeMode1 = 8;
constexpr uint8_t kDataModeUnknown = 15;

constexpr uint8_t kCloseTrack = 1;
constexpr uint8_t kCloseSession = 2;

constexpr uint32_t kNoAddress = 0xFFFFFFFF;
constexpr int32_t kLeadInBlocks = 4500;
// Where ATIP says that the lead-in of the first session begins, 97:00:00.
constexpr int32_t kFirstLeadIn = FramesOfMsf(97, 0, 0) - 450'000 - kPregapFrames;

// READ CD, byte 9: user data alone, and all fields of a block.
constexpr uint8_t kFieldUserData = 0x10;
constexpr uint8_t kFieldsAll = 0xF8;
constexpr uint8_t kExpectAudio = 1;
constexpr uint8_t kExpectMode1 = 2;

constexpr uint8_t kBlankDisc = 0;
constexpr uint8_t kBlankMinimal = 1;

uint64_t FileOffset(const DiscTrack& track, int32_t block) {
    return static_cast<uint64_t>(block - track.fileStart) * track.blockBytes;
}

} // namespace

CCdMedium::CCdMedium(CDiscStore& store) : IMedium(store) {
    // A recording in one go that is still open was cut off with the process that made it.
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

uint32_t CCdMedium::OpenSession() const {
    return static_cast<uint32_t>(State().sessions.size()) + 1;
}

bool CCdMedium::HasOpenSession() const {
    return !State().tracks.empty() && State().tracks.back().session == OpenSession();
}

uint32_t CCdMedium::NextTrackNumber() const {
    return State().tracks.empty() ? 1 : State().tracks.back().number + 1;
}

int32_t CCdMedium::NextTrackStart() const {
    if (HasOpenSession()) {
        const DiscTrack& last = State().tracks.back();
        return last.start + static_cast<int32_t>(WrittenBlocks(last) + kRunOutBlocks) +
               kPregapFrames;
    }
    if (State().sessions.empty())
        return 0;
    return State().sessions.back().leadOut +
           (State().sessions.size() == 1 ? kFirstSessionGap : kNextSessionGap);
}

const DiscTrack* CCdMedium::OpenTrack() const {
    const auto& tracks = State().tracks;
    return !tracks.empty() && !tracks.back().complete ? &tracks.back() : nullptr;
}

DiscTrack* CCdMedium::OpenTrack() {
    auto& tracks = State().tracks;
    return !tracks.empty() && !tracks.back().complete ? &tracks.back() : nullptr;
}

uint32_t CCdMedium::WrittenBlocks(const DiscTrack& track) const {
    if (track.complete)
        return track.blocks;
    const auto fileBlocks = static_cast<int64_t>(Store().FileBytes(track.file) / track.blockBytes);
    return static_cast<uint32_t>(
        std::max<int64_t>(0, fileBlocks - (track.start - track.fileStart)));
}

const DiscTrack* CCdMedium::TrackAt(int32_t block) const {
    const auto& tracks = State().tracks;
    const auto found = std::find_if(tracks.begin(), tracks.end(), [&](const DiscTrack& track) {
        return block >= track.start - track.pregap &&
               block < track.start + static_cast<int32_t>(WrittenBlocks(track));
    });
    return found != tracks.end() ? &*found : nullptr;
}

const DiscTrack* CCdMedium::TrackByAddress(TrackAddress by, uint32_t number) const {
    if (by == TrackAddress::Block)
        return TrackAt(static_cast<int32_t>(number));
    if (by == TrackAddress::Track && number == kInvisibleTrack)
        return OpenTrack();
    const auto& tracks = State().tracks;
    const auto found = std::find_if(tracks.begin(), tracks.end(), [&](const DiscTrack& track) {
        return number == (by == TrackAddress::Track ? track.number : track.session);
    });
    return found != tracks.end() ? &*found : nullptr;
}

DiscInformation CCdMedium::Information(const WriteParameters&) const {
    const DiscState& state = State();
    DiscInformation information;
    information.erasable = IsErasable();
    if (state.finalized) {
        information.status = DiscInformation::Complete;
        information.lastSession = 3;
        information.sessions = static_cast<uint16_t>(state.sessions.size());
        information.lastTrackOfLastSession = static_cast<uint16_t>(NextTrackNumber() - 1);
        information.lastSessionLeadIn = kNoAddress;
        information.lastPossibleLeadOut = kNoAddress;
    } else {
        const bool isBlank = state.tracks.empty();
        information.status = isBlank ? DiscInformation::Empty : DiscInformation::Incomplete;
        information.lastSession = HasOpenSession() ? 1 : 0;
        information.sessions = static_cast<uint16_t>(OpenSession());
        information.lastTrackOfLastSession =
            static_cast<uint16_t>(OpenTrack() != nullptr ? OpenTrack()->number : NextTrackNumber());
        int32_t leadIn = kFirstLeadIn;
        if (!state.sessions.empty()) {
            const int32_t gap = state.sessions.size() == 1 ? kFirstSessionGap : kNextSessionGap;
            leadIn = state.sessions.back().leadOut + gap - kPregapFrames - kLeadInBlocks;
        }
        information.lastSessionLeadIn = MsfNumber(leadIn);
        information.lastPossibleLeadOut = MsfNumber(LastLeadOut());
    }
    information.firstTrackOfLastSession = information.lastTrackOfLastSession;
    if (const DiscTrack* first = TrackByAddress(TrackAddress::Session, information.sessions))
        information.firstTrackOfLastSession = static_cast<uint16_t>(first->number);
    return information;
}

TrackInformation CCdMedium::InvisibleTrack(const WriteParameters& parameters) const {
    TrackInformation track;
    track.number = static_cast<uint16_t>(NextTrackNumber());
    track.session = static_cast<uint16_t>(OpenSession());
    track.blank = true;
    track.dataMode = kDataModeUnknown;
    track.start = NextTrackStart();
    track.freeBlocks = static_cast<uint32_t>(std::max(0, LastLeadOut() - track.start));
    track.size = track.freeBlocks;
    // Session at once on a blank disc begins with the pre-gap.
    const bool inOneGo = parameters.writeType == WriteParameters::SessionAtOnce;
    if (track.freeBlocks > 0 && !(inOneGo && HasOpenSession()))
        track.nextWritable =
            inOneGo && State().tracks.empty() ? track.start - kPregapFrames : track.start;
    return track;
}

SenseCode CCdMedium::Track(TrackAddress by, uint32_t number, const WriteParameters& parameters,
                           TrackInformation* information) const {
    const DiscTrack* track = TrackByAddress(by, number);
    if (track == nullptr) {
        const bool isInvisible = by == TrackAddress::Block
                                     ? static_cast<int32_t>(number) >= NextTrackStart()
                                 : by == TrackAddress::Session
                                     ? number == OpenSession() && !HasOpenSession()
                                     : number == kInvisibleTrack || number == NextTrackNumber();
        if (!IsWritable() || !isInvisible || OpenTrack() != nullptr)
            return by == TrackAddress::Block ? sense::kAddressOutOfRange
                                             : sense::kInvalidFieldInCdb;
        *information = InvisibleTrack(parameters);
        return sense::kGood;
    }
    information->number = static_cast<uint16_t>(track->number);
    information->session = static_cast<uint16_t>(track->session);
    information->damaged = track->damaged;
    information->trackMode = track->control;
    information->dataMode = track->IsData() ? 1 : kDataModeUnknown;
    information->start = track->start;
    const uint32_t written = WrittenBlocks(*track);
    information->size = written;
    if (!track->complete && !track->inOneGo) {
        const int32_t next = track->start + static_cast<int32_t>(written);
        information->freeBlocks = static_cast<uint32_t>(std::max(0, LastLeadOut() - next));
        information->size += information->freeBlocks;
        if (information->freeBlocks > 0)
            information->nextWritable = next;
    }
    if (written > 0)
        information->lastRecorded = track->start + static_cast<int32_t>(written) - 1;
    return sense::kGood;
}

std::vector<FormatCapacity> CCdMedium::FormatCapacities() const {
    const bool isRecorded = !State().tracks.empty();
    const uint32_t blocks = isRecorded ? LastBlock() + 1 : State().capacity;
    return {{.blocks = blocks, .type = static_cast<uint8_t>(isRecorded ? 2 : 1)}};
}

uint32_t CCdMedium::LastBlock() const {
    return State().sessions.empty() ? 0
                                    : static_cast<uint32_t>(State().sessions.back().leadOut - 1);
}

SenseCode CCdMedium::Read(int32_t block, uint32_t count, std::span<uint8_t> data) {
    while (count > 0) {
        if (State().sessions.empty() || block < 0 || block > static_cast<int32_t>(LastBlock()))
            return sense::kAddressOutOfRange;
        const DiscTrack* track = TrackAt(block);
        if (track == nullptr)
            return sense::kUnrecoveredRead;
        if (!track->IsData())
            return sense::kIllegalModeForTrack;
        const uint32_t run = std::min(count, static_cast<uint32_t>(track->End() - block));
        const size_t bytes = size_t{run} * kDataBlockBytes;
        if (!Store().Read(track->file, FileOffset(*track, block), data.first(bytes)))
            return sense::kUnrecoveredRead;
        data = data.subspan(bytes);
        block += static_cast<int32_t>(run);
        count -= run;
    }
    return sense::kGood;
}

SenseCode CCdMedium::ReadCd(int32_t block, uint32_t count, const ReadCdRequest& request,
                            std::span<uint8_t> data, uint32_t* bytesPerBlock) {
    if (State().sessions.empty() || block < 0 ||
        block + static_cast<int64_t>(count) > int64_t{LastBlock()} + 1)
        return sense::kAddressOutOfRange;
    const DiscTrack* first = TrackAt(block);
    if (first == nullptr)
        return sense::kUnrecoveredRead;
    const bool isData = first->IsData();
    if ((request.expectedType == kExpectAudio && isData) ||
        (request.expectedType == kExpectMode1 && !isData) || request.expectedType > kExpectMode1)
        return sense::kIllegalModeForTrack;
    // A block of CD-DA is user data as a whole, whichever other fields are asked for with it. Sync,
    // header and parity of data blocks are not kept, so they can't be asked for.
    const uint8_t otherFields = request.fields & ~kFieldUserData;
    if ((request.fields & kFieldUserData) == 0 || (isData && otherFields != 0) ||
        (otherFields & ~kFieldsAll) != 0)
        return sense::kInvalidFieldInCdb;
    *bytesPerBlock = first->blockBytes;
    if (data.size() < size_t{count} * first->blockBytes)
        return sense::kGood;
    for (; count > 0; --count, ++block, data = data.subspan(first->blockBytes)) {
        const DiscTrack* track = TrackAt(block);
        if (track == nullptr)
            return sense::kUnrecoveredRead;
        if (track->IsData() != isData)
            return sense::kIllegalModeForTrack;
        if (!Store().Read(track->file, FileOffset(*track, block), data.first(track->blockBytes)))
            return sense::kUnrecoveredRead;
    }
    return sense::kGood;
}

SenseCode CCdMedium::CheckParameters(const WriteParameters& parameters) const {
    const bool isKnownType = parameters.writeType == WriteParameters::TrackAtOnce ||
                             parameters.writeType == WriteParameters::SessionAtOnce;
    const bool isKnownBlock =
        parameters.dataBlockType == kBlockTypeRaw || parameters.dataBlockType == kBlockTypeMode1;
    const bool isKnownFormat = parameters.sessionFormat == 0x00 || parameters.sessionFormat == 0x20;
    if (!isKnownType || !isKnownBlock || !isKnownFormat || parameters.testWrite ||
        parameters.multiSession == 2)
        return sense::kInvalidFieldInParameterList;
    return sense::kGood;
}

SenseCode CCdMedium::Write(const WriteParameters& parameters, int32_t block, uint32_t count,
                           std::span<const uint8_t> data) {
    if (!IsWritable())
        return sense::kCannotWriteIncompatibleMedium;
    const bool inOneGo = parameters.writeType == WriteParameters::SessionAtOnce;
    // One way of writing at a time: a plan wants its session, a session at once wants a plan.
    if (inOneGo != (m_plan != nullptr))
        return sense::kCommandSequenceError;
    return inOneGo ? WriteSessionAtOnce(block, count, data)
                   : WriteTrackAtOnce(parameters, block, count, data);
}

SenseCode CCdMedium::BeginTrackAtOnce(const WriteParameters& parameters) {
    DiscTrack track;
    track.number = NextTrackNumber();
    if (track.number > kMaxTracks)
        return sense::kEndOfUserArea;
    track.session = OpenSession();
    track.start = NextTrackStart();
    track.control = parameters.trackMode;
    track.blockBytes = track.IsData() ? kDataBlockBytes : kAudioBlockBytes;
    track.runOut = kRunOutBlocks;
    track.file = Format(track.IsData() ? "track-%02u.iso" : "track-%02u.bin", track.number);
    track.fileStart = track.start;
    if (!Store().BeginFile(track.file))
        return sense::kWriteError;
    State().tracks.push_back(track);
    return Keep();
}

SenseCode CCdMedium::WriteTrackAtOnce(const WriteParameters& parameters, int32_t block,
                                      uint32_t count, std::span<const uint8_t> data) {
    const bool isData = (parameters.trackMode & kTrackModeData) != 0;
    if (parameters.dataBlockType != (isData ? kBlockTypeMode1 : kBlockTypeRaw))
        return sense::kIllegalModeForTrack;
    const DiscTrack* open = OpenTrack();
    if (open != nullptr && open->inOneGo)
        return sense::kCommandSequenceError;
    if (open != nullptr && open->IsData() != isData)
        return sense::kIllegalModeForTrack;
    const int32_t next = open != nullptr ? open->start + static_cast<int32_t>(WrittenBlocks(*open))
                                         : NextTrackStart();
    if (block != next)
        return sense::kInvalidAddressForWrite;
    if (int64_t{block} + count > LastLeadOut())
        return sense::kEndOfUserArea;
    const size_t bytes = size_t{count} * (isData ? kDataBlockBytes : kAudioBlockBytes);
    if (data.size() < bytes)
        return sense::kDataPhaseError;
    if (count == 0)
        return sense::kGood;
    if (open == nullptr) {
        if (const SenseCode code = BeginTrackAtOnce(parameters); !code.IsGood())
            return code;
        open = OpenTrack();
    }
    return Store().Write(open->file, FileOffset(*open, block), data.first(bytes))
               ? sense::kGood
               : sense::kWriteError;
}

SenseCode CCdMedium::Flush(const WriteParameters& parameters, Aftermath* aftermath) {
    if (m_plan != nullptr) {
        if (m_nextPlanned < m_plan->LeadOut()) {
            // The data ran out before the lead-out: the recording is over, and incomplete.
            m_plan.reset();
            CutOffRecording();
            return Keep();
        }
        *aftermath = Aftermath::LeadOut;
        return EndSessionAtOnce(parameters);
    }
    DiscTrack* open = OpenTrack();
    if (open == nullptr || open->inOneGo || WrittenBlocks(*open) < kMinTrackBlocks)
        return sense::kGood;
    return CompleteTrack(*open);
}

SenseCode CCdMedium::CompleteTrack(DiscTrack& track) {
    track.blocks = WrittenBlocks(track);
    track.complete = true;
    return Keep();
}

SenseCode CCdMedium::Close(const WriteParameters& parameters, uint8_t function, uint16_t track) {
    if (!IsWritable())
        return sense::kGood;
    if (m_plan != nullptr)
        return sense::kCommandSequenceError;
    if (function == kCloseSession)
        return CloseSession(parameters);
    if (function != kCloseTrack)
        return sense::kInvalidFieldInCdb;
    const uint32_t invisible = OpenTrack() == nullptr ? NextTrackNumber() : 0;
    if (track == invisible)
        return sense::kGood;
    if (TrackByAddress(TrackAddress::Track, track) == nullptr)
        return sense::kInvalidFieldInCdb;
    DiscTrack* open = OpenTrack();
    const bool isOpen = open != nullptr && (track == open->number || track == kInvisibleTrack);
    if (!isOpen)
        return sense::kGood;
    if (!open->inOneGo && WrittenBlocks(*open) < kMinTrackBlocks)
        return sense::kIncompleteTrackInSession;
    return CompleteTrack(*open);
}

SenseCode CCdMedium::CloseSession(const WriteParameters& parameters) {
    if (!HasOpenSession())
        return sense::kGood;
    if (DiscTrack* open = OpenTrack()) {
        if (!open->inOneGo && WrittenBlocks(*open) < kMinTrackBlocks)
            return sense::kIncompleteTrackInSession;
        open->blocks = WrittenBlocks(*open);
        open->complete = true;
    }
    AddClosedSession(parameters.multiSession != 3);
    return Keep();
}

void CCdMedium::AddClosedSession(bool finalize) {
    const DiscTrack& last = State().tracks.back();
    State().sessions.push_back({last.session, last.End() + static_cast<int32_t>(last.runOut)});
    State().finalized = finalize;
}

SenseCode CCdRwMedium::Blank(uint8_t type, uint32_t) {
    if (type != kBlankDisc && type != kBlankMinimal)
        return sense::kInvalidFieldInCdb;
    DropPlan();
    return Store().Erase() ? sense::kGood : sense::kWriteError;
}

} // namespace larkspin
