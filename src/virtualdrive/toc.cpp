// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "virtualdrive/toc.h"

#include "virtualdrive/answer.h"
#include "virtualdrive/msf.h"

#include <algorithm>

namespace larkspin {

namespace {

constexpr uint8_t kAdrPosition = 1;
constexpr int32_t kLastMsfBlock = FramesOfMsf(99, 59, 74) - kPregapFrames;

void AppendEntry(CAnswer& answer, const DiscTrack& track, uint32_t number, bool msf,
                 int32_t block) {
    answer.Append({0, AdrControl(track), static_cast<uint8_t>(number), 0});
    answer.Append32(msf ? MsfNumber(std::min(block, kLastMsfBlock)) : static_cast<uint32_t>(block));
}

} // namespace

uint8_t AdrControl(const DiscTrack& track) {
    return static_cast<uint8_t>(kAdrPosition << 4 | track.control);
}

SenseCode AppendToc(uint8_t format, std::span<const DiscTrack> tracks, const DiscSession& last,
                    const TocRequest& request, CAnswer& answer) {
    if (format == kTocSessions) {
        const auto first = std::find_if(tracks.begin(), tracks.end(), [&](const DiscTrack& track) {
            return track.session == last.number;
        });
        answer.Append({1, static_cast<uint8_t>(last.number)});
        AppendEntry(answer, *first, first->number, request.msf, first->start);
        return sense::kGood;
    }
    const DiscTrack& lastTrack = tracks.back();
    if (format != kTocTracks ||
        (request.start > lastTrack.number && request.start != kLeadOutTrack)) {
        return sense::kInvalidFieldInCdb;
    }
    answer.Append(
        {static_cast<uint8_t>(tracks.front().number), static_cast<uint8_t>(lastTrack.number)});
    for (const DiscTrack& track : tracks) {
        if (track.number >= request.start) {
            AppendEntry(answer, track, track.number, request.msf, track.start);
        }
    }
    AppendEntry(answer, lastTrack, kLeadOutTrack, request.msf, last.leadOut);
    return sense::kGood;
}

} // namespace larkspin
