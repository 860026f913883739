// READ TOC/PMA/ATIP of CD media (MMC, "READ TOC/PMA/ATIP command").
#include "virtualdrive/answer.h"
#include "virtualdrive/cd_medium.h"
#include "virtualdrive/msf.h"

#include <algorithm>

namespace larkspin {

namespace {

enum TocFormat : uint8_t {
    kTracks = 0,
    kSessions = 1,
    kFull = 2,
    kPma = 3,
    kAtip = 4,
    kCdText = 5,
};

constexpr uint8_t kLeadOutTrack = 0xAA;
constexpr uint8_t kAdrPosition = 1;

void AppendAddress(CAnswer& answer, bool msf, int32_t block) {
    answer.Append32(msf ? MsfNumber(block) : static_cast<uint32_t>(block));
}

uint8_t AdrControl(const DiscTrack& track) {
    return static_cast<uint8_t>(kAdrPosition << 4 | track.control);
}

// One row of the full TOC: session, ADR and control, TNO 0, point, running time 0, three bytes.
void AppendPoint(CAnswer& answer, uint32_t session, uint8_t adrControl, uint8_t point,
                 const Msf& value) {
    answer.Append({static_cast<uint8_t>(session), adrControl, 0, point, 0, 0, 0, 0, value.minute,
                   value.second, value.frame});
}

} // namespace

SenseCode CCdMedium::Toc(uint8_t format, bool msf, uint8_t start, CAnswer& answer) const {
    const auto& sessions = State().sessions;
    if (format == kAtip) {
        AppendAtip(answer);
        return sense::kGood;
    }
    if (format == kPma) {
        answer.Append({0, 0});
        for (const DiscTrack& track : State().tracks)
            if (track.complete)
                AppendPoint(answer, track.session, AdrControl(track),
                            static_cast<uint8_t>(track.number), MsfOfBlock(track.start));
        return sense::kGood;
    }
    if (sessions.empty() || format > kCdText)
        return sense::kInvalidFieldInCdb;
    if (format == kCdText) {
        answer.Append({0, 0});
        return sense::kGood;
    }
    if (format == kFull) {
        AppendFullToc(start, answer);
        return sense::kGood;
    }
    if (format == kSessions) {
        AppendSessionToc(msf, answer);
        return sense::kGood;
    }
    const auto isReadable = [&](const DiscTrack& track) {
        return track.session <= sessions.size();
    };
    const auto last = std::find_if(State().tracks.rbegin(), State().tracks.rend(), isReadable);
    if (start > last->number && start != kLeadOutTrack)
        return sense::kInvalidFieldInCdb;
    AppendTrackToc(msf, start, answer);
    return sense::kGood;
}

void CCdMedium::AppendTrackToc(bool msf, uint8_t start, CAnswer& answer) const {
    const auto& sessions = State().sessions;
    CAnswer rows;
    const DiscTrack* last = nullptr;
    for (const DiscTrack& track : State().tracks) {
        if (track.session > sessions.size())
            break;
        last = &track;
        if (track.number < start)
            continue;
        rows.Append({0, AdrControl(track), static_cast<uint8_t>(track.number), 0});
        AppendAddress(rows, msf, track.start);
    }
    rows.Append({0, AdrControl(*last), kLeadOutTrack, 0});
    AppendAddress(rows, msf, sessions.back().leadOut);
    answer.Append(
        {static_cast<uint8_t>(State().tracks.front().number), static_cast<uint8_t>(last->number)});
    answer.Append(rows.Bytes());
}

void CCdMedium::AppendSessionToc(bool msf, CAnswer& answer) const {
    const uint32_t last = State().sessions.back().number;
    const DiscTrack* track = TrackByAddress(TrackAddress::Session, last);
    answer.Append({1, static_cast<uint8_t>(last), 0, AdrControl(*track),
                   static_cast<uint8_t>(track->number), 0});
    AppendAddress(answer, msf, track->start);
}

void CCdMedium::AppendFullToc(uint8_t firstSession, CAnswer& answer) const {
    const auto& sessions = State().sessions;
    answer.Append({1, static_cast<uint8_t>(sessions.size())});
    for (size_t i = 0; i < sessions.size(); ++i) {
        const DiscSession& session = sessions[i];
        if (session.number < firstSession)
            continue;
        const DiscTrack* first = TrackByAddress(TrackAddress::Session, session.number);
        const DiscTrack* last = first;
        CAnswer rows;
        for (const DiscTrack& track : State().tracks) {
            if (track.session != session.number)
                continue;
            last = &track;
            AppendPoint(rows, session.number, AdrControl(track), static_cast<uint8_t>(track.number),
                        MsfOfBlock(track.start));
        }
        // First track and disc type, last track, start of the lead-out.
        AppendPoint(answer, session.number, AdrControl(*first), 0xA0,
                    {static_cast<uint8_t>(first->number), 0, 0});
        AppendPoint(answer, session.number, AdrControl(*last), 0xA1,
                    {static_cast<uint8_t>(last->number), 0, 0});
        AppendPoint(answer, session.number, AdrControl(*last), 0xA2, MsfOfBlock(session.leadOut));
        answer.Append(rows.Bytes());
        const bool isLast = i + 1 == sessions.size();
        if (isLast && State().finalized)
            continue;
        // Where the next session's program area may begin, and the outermost lead-out.
        const int32_t gap = i == 0 ? kFirstSessionGap : kNextSessionGap;
        const Msf next = MsfOfBlock(session.leadOut + gap - kPregapFrames);
        const Msf outermost = MsfOfBlock(LastLeadOut());
        answer.Append({static_cast<uint8_t>(session.number), 0x54, 0, 0xB0, next.minute,
                       next.second, next.frame, 2, outermost.minute, outermost.second,
                       outermost.frame});
    }
}

void CCdMedium::AppendAtip(CAnswer& answer) const {
    const Msf leadIn = MsfOfFrames(FramesOfMsf(97, 0, 0));
    const Msf leadOut = MsfOfBlock(LastLeadOut());
    answer.Append({0, 0});
    // Indicative writing power 4, reference speed 2; use restriction; CD-R or CD-RW.
    answer.Append({0xC2, 0x00, static_cast<uint8_t>(IsErasable() ? 0xC0 : 0x80), 0});
    answer.Append({leadIn.minute, leadIn.second, leadIn.frame, 0});
    answer.Append({leadOut.minute, leadOut.second, leadOut.frame, 0});
    // Additional values A1 to A3: none.
    answer.Append({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
}

} // namespace larkspin
