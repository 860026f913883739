#include "virtualdrive/dvd_sequential.h"

#include "platform/text.h"
#include "virtualdrive/answer.h"

#include <algorithm>
#include <vector>

namespace larkspin {

namespace {

constexpr uint32_t kNoAddress = 0xFFFFFFFF;

constexpr uint8_t kCloseTrack = 1;

constexpr uint64_t ByteOffset(uint32_t blocks) {
    return uint64_t{blocks} * kDataBlockBytes;
}

} // namespace

CDvdSequentialMedium::CDvdSequentialMedium(CDiscStore& store, const DvdFacts& facts)
    : CDvdMedium(store, facts) {
    // A recording in one go that is still open was cut off with the process that made it.
    if (DiscTrack* open = OpenTrack(); open != nullptr && open->inOneGo) {
        open->damaged = true;
        CompleteTrack(*open);
    }
}

bool CDvdSequentialMedium::HasOpenSession() const {
    return !IsBlank() && State().tracks.back().session == OpenSession();
}

uint32_t CDvdSequentialMedium::NextTrackNumber() const {
    return IsBlank() ? 1 : State().tracks.back().number + 1;
}

int32_t CDvdSequentialMedium::NextTrackStart() const {
    if (HasOpenSession())
        return State().tracks.back().End() + TrackGap();
    const auto& sessions = State().sessions;
    return sessions.empty() ? 0 : sessions.back().leadOut + SessionGap(sessions.size());
}

const DiscTrack* CDvdSequentialMedium::OpenTrack() const {
    return !IsBlank() && !State().tracks.back().complete ? &State().tracks.back() : nullptr;
}

DiscTrack* CDvdSequentialMedium::OpenTrack() {
    return !IsBlank() && !State().tracks.back().complete ? &State().tracks.back() : nullptr;
}

uint32_t CDvdSequentialMedium::WrittenBlocks(const DiscTrack& track) const {
    return track.complete ? track.blocks
                          : static_cast<uint32_t>(Store().FileBytes(track.file) / kDataBlockBytes);
}

const DiscTrack* CDvdSequentialMedium::TrackAt(int32_t block) const {
    const auto& tracks = State().tracks;
    const auto found = std::find_if(tracks.begin(), tracks.end(), [&](const DiscTrack& track) {
        return block >= track.start &&
               block < track.start + static_cast<int32_t>(WrittenBlocks(track));
    });
    return found != tracks.end() ? &*found : nullptr;
}

const DiscTrack* CDvdSequentialMedium::TrackByAddress(TrackAddress by, uint32_t number) const {
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

DiscInformation CDvdSequentialMedium::Information(const WriteParameters&) const {
    DiscInformation information;
    information.erasable = IsErasable();
    information.lastSessionLeadIn = kNoAddress;
    information.lastPossibleLeadOut = kNoAddress;
    const bool isClosed = State().finalized;
    if (isClosed) {
        information.status = DiscInformation::Complete;
        information.lastSession = 3;
        information.sessions = static_cast<uint16_t>(State().sessions.size());
    } else {
        information.status = IsBlank() ? DiscInformation::Empty : DiscInformation::Incomplete;
        information.lastSession = HasOpenSession() ? 1 : 0;
        information.sessions = static_cast<uint16_t>(OpenSession());
    }
    // The invisible track counts as one.
    const uint32_t last =
        isClosed || OpenTrack() != nullptr ? NextTrackNumber() - 1 : NextTrackNumber();
    information.lastTrackOfLastSession = static_cast<uint16_t>(last);
    const DiscTrack* first = TrackByAddress(TrackAddress::Session, information.sessions);
    information.firstTrackOfLastSession =
        static_cast<uint16_t>(first != nullptr ? first->number : last);
    return information;
}

TrackInformation CDvdSequentialMedium::InvisibleTrack(const WriteParameters& parameters) const {
    TrackInformation track;
    track.number = static_cast<uint16_t>(NextTrackNumber());
    track.session = static_cast<uint16_t>(OpenSession());
    track.blank = true;
    track.packet = !IsPlus();
    track.packetBlocks = IsPlus() ? 0 : kEccBlockBlocks;
    track.start = NextTrackStart();
    track.freeBlocks = static_cast<uint32_t>(std::max(0, End() - track.start));
    if (const uint32_t reserved = Reserved(IsInOneGo(parameters)); reserved != 0) {
        track.reserved = true;
        track.packet = false;
        track.freeBlocks = reserved;
    }
    track.size = track.freeBlocks;
    if (track.freeBlocks > 0)
        track.nextWritable = track.start;
    return track;
}

SenseCode CDvdSequentialMedium::Track(TrackAddress by, uint32_t number,
                                      const WriteParameters& parameters,
                                      TrackInformation* information) const {
    const DiscTrack* track = TrackByAddress(by, number);
    if (track == nullptr) {
        const bool isInvisible = by == TrackAddress::Block
                                     ? static_cast<int32_t>(number) >= NextTrackStart() &&
                                           static_cast<int32_t>(number) < End()
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
    information->reserved = track->reserved != 0;
    information->packet = !IsPlus() && !track->inOneGo;
    information->packetBlocks = information->packet ? kEccBlockBlocks : 0;
    information->start = track->start;
    const uint32_t written = WrittenBlocks(*track);
    information->size = written;
    if (!track->complete) {
        const int32_t next = track->start + static_cast<int32_t>(written);
        const int32_t end =
            track->reserved != 0 ? track->start + static_cast<int32_t>(track->reserved) : End();
        information->freeBlocks = static_cast<uint32_t>(std::max(0, end - next));
        information->size += information->freeBlocks;
        if (information->freeBlocks > 0)
            information->nextWritable = next;
    }
    if (written > 0)
        information->lastRecorded = track->start + static_cast<int32_t>(written) - 1;
    return sense::kGood;
}

SenseCode CDvdSequentialMedium::Toc(uint8_t format, bool msf, uint8_t start,
                                    CAnswer& answer) const {
    const auto& sessions = State().sessions;
    if (sessions.empty() || format > kTocSessions)
        return sense::kInvalidFieldInCdb;
    if (format == kTocSessions) {
        AppendSessionToc(sessions.back().number,
                         *TrackByAddress(TrackAddress::Session, sessions.back().number), msf,
                         answer);
        return sense::kGood;
    }
    const auto& tracks = State().tracks;
    const auto closed = static_cast<size_t>(
        std::count_if(tracks.begin(), tracks.end(), [&](const DiscTrack& track) {
            return track.session <= sessions.back().number;
        }));
    AppendTrackToc(std::span(tracks).first(closed), sessions.back().leadOut, msf, start, answer);
    return sense::kGood;
}

std::vector<FormatCapacity> CDvdSequentialMedium::FormatCapacities() const {
    if (IsBlank())
        return {{.blocks = Capacity(), .type = 1}};
    return {{.blocks = LastBlock() + 1, .type = 2}};
}

uint32_t CDvdSequentialMedium::LastBlock() const {
    return State().sessions.empty() ? 0
                                    : static_cast<uint32_t>(State().sessions.back().leadOut - 1);
}

SenseCode CDvdSequentialMedium::Read(int32_t block, uint32_t count, std::span<uint8_t> data) {
    while (count > 0) {
        if (IsBlank() || block < 0)
            return sense::kAddressOutOfRange;
        const DiscTrack& last = State().tracks.back();
        if (block >= last.start + static_cast<int32_t>(WrittenBlocks(last)))
            return sense::kAddressOutOfRange;
        const DiscTrack* track = TrackAt(block);
        if (track == nullptr) // between sessions
            return sense::kUnrecoveredRead;
        const auto in = static_cast<uint32_t>(block - track->start);
        const uint32_t run = std::min(count, WrittenBlocks(*track) - in);
        const size_t bytes = size_t{run} * kDataBlockBytes;
        if (!Store().Read(track->file, ByteOffset(in), data.first(bytes)))
            return sense::kUnrecoveredRead;
        data = data.subspan(bytes);
        block += static_cast<int32_t>(run);
        count -= run;
    }
    return sense::kGood;
}

uint32_t CDvdSequentialMedium::Reserved(bool inOneGo) const {
    return inOneGo || IsPlus() ? m_nReserved : 0;
}

SenseCode CDvdSequentialMedium::ReserveNext(uint32_t blocks) {
    const uint32_t rounded = RoundUpToEcc(blocks);
    if (blocks == 0 || blocks > Capacity() ||
        int64_t{NextTrackStart()} + rounded > int64_t{Capacity()})
        return sense::kInvalidFieldInCdb;
    m_nReserved = rounded;
    return sense::kGood;
}

SenseCode CDvdSequentialMedium::BeginTrack(bool inOneGo) {
    DiscTrack track;
    track.number = NextTrackNumber();
    if (track.number > kMaxDvdTracks)
        return sense::kEndOfUserArea;
    track.session = OpenSession();
    track.start = NextTrackStart();
    track.fileStart = track.start;
    track.inOneGo = inOneGo;
    track.reserved = Reserved(inOneGo);
    track.file = Format("track-%02u.iso", track.number);
    if (!Store().BeginFile(track.file))
        return sense::kWriteError;
    m_nReserved = 0;
    State().tracks.push_back(track);
    return Keep();
}

SenseCode CDvdSequentialMedium::Write(const WriteParameters& parameters, int32_t block,
                                      uint32_t count, std::span<const uint8_t> data) {
    if (!IsWritable())
        return sense::kCannotWriteIncompatibleMedium;
    const bool inOneGo = IsInOneGo(parameters);
    const DiscTrack* open = OpenTrack();
    if (open != nullptr && open->inOneGo != inOneGo)
        return sense::kCommandSequenceError;
    if (open == nullptr) {
        if (const SenseCode code = CheckTrackBegin(inOneGo); !code.IsGood())
            return code;
    }
    const int32_t start = open != nullptr ? open->start : NextTrackStart();
    const uint32_t written = open != nullptr ? WrittenBlocks(*open) : 0;
    const uint32_t reserved = open != nullptr ? open->reserved : Reserved(inOneGo);
    const int32_t end = reserved != 0 ? start + static_cast<int32_t>(reserved) : End();
    if (block < 0 || int64_t{block} + count > end)
        return sense::kAddressOutOfRange;
    if (block != start + static_cast<int32_t>(written))
        return sense::kInvalidAddressForWrite;
    const size_t bytes = size_t{count} * kDataBlockBytes;
    if (data.size() < bytes)
        return sense::kDataPhaseError;
    if (count == 0)
        return sense::kGood;
    if (open == nullptr) {
        if (const SenseCode code = BeginTrack(inOneGo); !code.IsGood())
            return code;
        open = OpenTrack();
    }
    return Store().Write(open->file, ByteOffset(written), data.first(bytes)) ? sense::kGood
                                                                             : sense::kWriteError;
}

SenseCode CDvdSequentialMedium::FillUp(const DiscTrack& track, uint32_t blocks) {
    // What a file leaves out reads as zeros: the last block makes it long enough.
    if (WrittenBlocks(track) >= blocks)
        return sense::kGood;
    const std::vector<uint8_t> zeros(kDataBlockBytes);
    return Store().Write(track.file, ByteOffset(blocks - 1), zeros) ? sense::kGood
                                                                    : sense::kWriteError;
}

SenseCode CDvdSequentialMedium::CompleteTrack(DiscTrack& track) {
    const uint32_t blocks = std::max(RoundUpToEcc(WrittenBlocks(track)), track.reserved);
    if (const SenseCode code = FillUp(track, blocks); !code.IsGood())
        return code;
    track.blocks = blocks;
    track.complete = true;
    return Keep();
}

SenseCode CDvdSequentialMedium::Flush(const WriteParameters& parameters, Aftermath* aftermath) {
    DiscTrack* open = OpenTrack();
    if (open == nullptr)
        return sense::kGood;
    if (!open->inOneGo)
        return FillUp(*open, RoundUpToEcc(WrittenBlocks(*open)));
    *aftermath = Aftermath::LeadOut;
    return CloseSession(parameters.multiSession != 3);
}

SenseCode CDvdSequentialMedium::Close(const WriteParameters& parameters, uint8_t function,
                                      uint16_t track) {
    if (function != kCloseTrack && !IsSessionFunction(function))
        return sense::kInvalidFieldInCdb;
    if (!IsWritable())
        return sense::kGood;
    DiscTrack* open = OpenTrack();
    if (open != nullptr && open->inOneGo)
        return sense::kCommandSequenceError;
    if (function != kCloseTrack)
        return CloseSession(ClosesDisc(parameters, function));
    const uint32_t invisible = open == nullptr ? NextTrackNumber() : 0;
    if (track == invisible || (track == kInvisibleTrack && open == nullptr))
        return sense::kGood;
    if (TrackByAddress(TrackAddress::Track, track) == nullptr)
        return sense::kInvalidFieldInCdb;
    const bool isOpen = open != nullptr && (track == open->number || track == kInvisibleTrack);
    return isOpen ? CompleteTrack(*open) : sense::kGood;
}

SenseCode CDvdSequentialMedium::CloseSession(bool closeDisc) {
    if (DiscTrack* open = OpenTrack()) {
        if (const SenseCode code = CompleteTrack(*open); !code.IsGood())
            return code;
    }
    if (HasOpenSession())
        State().sessions.push_back({OpenSession(), State().tracks.back().End()});
    // A blank disc has nothing that could be closed.
    if (!State().sessions.empty())
        State().finalized = closeDisc;
    return Keep();
}

} // namespace larkspin
