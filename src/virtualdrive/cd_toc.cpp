// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// READ TOC/PMA/ATIP of CD media (MMC, "READ TOC/PMA/ATIP command").
#include "virtualdrive/answer.h"
#include "virtualdrive/cd_medium.h"
#include "virtualdrive/msf.h"
#include "virtualdrive/toc.h"

namespace larkspin {

namespace {

// One row of the full TOC or the PMA: session, ADR and control, TNO 0, point, a time, three bytes.
void AppendPoint(CAnswer& answer, uint32_t session, uint8_t adrControl, uint8_t point,
                 const Msf& value, const Msf& time = {}) {
    answer.Append({static_cast<uint8_t>(session), adrControl, 0, point, time.minute, time.second,
                   time.frame, 0, value.minute, value.second, value.frame});
}

} // namespace

SenseCode CCdMedium::Toc(uint8_t format, bool msf, uint8_t start, CAnswer& answer) const {
    switch (format) {
    case kTocAtip:
        AppendAtip(answer);
        return sense::kGood;
    case kTocPma:
        AppendPma(answer);
        return sense::kGood;
    case kTocFull:
    case kTocCdText:
        if (State().sessions.empty()) {
            return sense::kInvalidFieldInCdb;
        }
        if (format == kTocFull) {
            AppendFullToc(start, answer);
        } else {
            answer.Append({0, 0});
        }
        return sense::kGood;
    default:
        return m_tracks.Toc(format, msf, start, answer);
    }
}

void CCdMedium::AppendPma(CAnswer& answer) const {
    answer.Append({0, 0});
    for (const DiscTrack& track : State().tracks) {
        if (track.complete) {
            AppendPoint(answer, track.session, AdrControl(track),
                        static_cast<uint8_t>(track.number), MsfOfBlock(track.start),
                        MsfOfBlock(track.End() + static_cast<int32_t>(track.runOut)));
        }
    }
}

void CCdMedium::AppendFullToc(uint8_t firstSession, CAnswer& answer) const {
    const auto& sessions = State().sessions;
    answer.Append({1, static_cast<uint8_t>(sessions.size())});
    for (size_t i = 0; i < sessions.size(); ++i) {
        const DiscSession& session = sessions[i];
        if (session.number < firstSession) {
            continue;
        }
        const DiscTrack* first = m_tracks.FirstOf(session.number);
        const DiscTrack* last = first;
        CAnswer rows;
        for (const DiscTrack& track : State().tracks) {
            if (track.session != session.number) {
                continue;
            }
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
        if (isLast && State().finalized) {
            continue;
        }
        // Where the next session's program area may begin, and the outermost lead-out.
        const Msf next = MsfOfBlock(session.leadOut + SessionGap(i + 1) - kPregapFrames);
        const Msf outermost = MsfOfBlock(LastLeadOut());
        answer.Append({static_cast<uint8_t>(session.number), 0x54, 0, 0xB0, next.minute,
                       next.second, next.frame, 1, outermost.minute, outermost.second,
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
