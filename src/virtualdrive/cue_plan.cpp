// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "virtualdrive/cue_plan.h"

#include "platform/text.h"
#include "virtualdrive/cd_limits.h"
#include "virtualdrive/msf.h"
#include "virtualdrive/toc.h"

#include <algorithm>

namespace larkspin {

namespace {

constexpr size_t kEntryBytes = 8;
constexpr uint8_t kAdrPosition = 1;
constexpr uint8_t kAdrCatalogNumber = 2;
constexpr uint8_t kAdrIsrc = 3;
// Control bits of one track: four channels (8), data (4), copy permitted (2), pre-emphasis (1).
constexpr uint8_t kControlData = 4;

// DATA FORM, main channel: the bytes of each block from the host. Nothing for a form that the drive
// does not support (sub-channel data, and raw modes of data blocks).
std::optional<uint32_t> HostBytes(uint8_t form) {
    switch (form) {
    case 0x00:
        return kAudioBlockBytes;
    case 0x10:
        return kDataBlockBytes;
    case 0x01:
    case 0x14:
        return 0;
    default:
        return std::nullopt;
    }
}

bool IsDataForm(uint8_t form) {
    return (form & 0x30) != 0;
}

} // namespace

std::optional<std::vector<CCuePlan::Entry>> CCuePlan::ReadEntries(std::span<const uint8_t> sheet) {
    if (sheet.size() % kEntryBytes != 0) {
        return std::nullopt;
    }
    std::vector<Entry> entries;
    for (; !sheet.empty(); sheet = sheet.subspan(kEntryBytes)) {
        const uint8_t adr = sheet[0] & 0x0F;
        // Catalog number and ISRC are text in two entries each; they do not affect the layout.
        if (adr == kAdrCatalogNumber || adr == kAdrIsrc) {
            continue;
        }
        if (adr != kAdrPosition || sheet[6] >= 60 || sheet[7] >= kFramesPerSecond) {
            return std::nullopt;
        }
        Entry entry;
        entry.control = sheet[0] >> 4;
        entry.track = sheet[1];
        entry.index = sheet[2];
        entry.form = sheet[3];
        entry.block = FramesOfMsf(sheet[5], sheet[6], sheet[7]) - kPregapFrames;
        const bool isData = (entry.control & kControlData) != 0;
        if (!HostBytes(entry.form) || IsDataForm(entry.form) != isData) {
            return std::nullopt;
        }
        entries.push_back(entry);
    }
    return entries;
}

SenseCode CCuePlan::Parse(std::span<const uint8_t> sheet, const Place& place) {
    const std::optional<std::vector<Entry>> entries = ReadEntries(sheet);
    // Lead-in, pre-gap and start of a track, lead-out.
    if (!entries || entries->size() < 4) {
        return sense::kInvalidFieldInParameterList;
    }
    const Entry& leadIn = entries->front();
    const Entry& leadOut = entries->back();
    if (leadIn.track != 0 || leadIn.index != 0 || HostBytes(leadIn.form) != 0U ||
        leadOut.track != kLeadOutTrack || leadOut.index != 1 || HostBytes(leadOut.form) != 0U) {
        return sense::kInvalidFieldInParameterList;
    }
    m_leadOut = leadOut.block;
    const std::span<const Entry> body = std::span(*entries).subspan(1, entries->size() - 2);
    if (!BuildAreas(body) || !CheckTracks(body, place)) {
        return sense::kInvalidFieldInParameterList;
    }
    if (m_leadOut > place.lastLeadOut) {
        return sense::kEndOfUserArea;
    }
    BuildTracks(body, place);
    return sense::kGood;
}

bool CCuePlan::BuildAreas(std::span<const Entry> entries) {
    m_areas.clear();
    for (size_t i = 0; i < entries.size(); ++i) {
        const Entry& entry = entries[i];
        const int32_t end = i + 1 < entries.size() ? entries[i + 1].block : m_leadOut;
        if (end <= entry.block) {
            return false;
        }
        m_areas.push_back({.start = entry.block,
                           .end = end,
                           .hostBytes = *HostBytes(entry.form),
                           .isData = IsDataForm(entry.form),
                           .track = entry.track,
                           .isPregap = entry.index == 0});
    }
    return true;
}

bool CCuePlan::CheckTracks(std::span<const Entry> entries, const Place& place) const {
    // The session begins with the pre-gap of its first track, at least two seconds long.
    if (entries[0].track != place.firstTrack || entries[0].index != 0 ||
        entries[0].block != place.start || entries[1].index != 1 ||
        entries[1].block < place.start + kPregapFrames) {
        return false;
    }
    int32_t trackStart = 0;
    for (size_t i = 0; i < entries.size(); ++i) {
        const Entry& entry = entries[i];
        const bool isNew = i == 0 || entry.track != entries[i - 1].track;
        if (entry.track > kMaxTracks) {
            return false;
        }
        if (isNew) {
            if (i > 0 && entry.track != entries[i - 1].track + 1) {
                return false;
            }
            if (entry.index > 1 || (entry.index == 0 && i + 1 == entries.size())) {
                return false;
            }
        } else if (entry.index != entries[i - 1].index + 1 ||
                   entry.control != entries[i - 1].control) {
            return false;
        }
        if (entry.index == 1) {
            trackStart = entry.block;
        }
        const bool isLast = i + 1 == entries.size() || entries[i + 1].track != entry.track;
        const int32_t end = i + 1 == entries.size() ? m_leadOut : entries[i + 1].block;
        if (isLast &&
            (entry.index == 0 || end - trackStart < static_cast<int32_t>(kMinTrackBlocks))) {
            return false;
        }
    }
    return true;
}

void CCuePlan::BuildTracks(std::span<const Entry> entries, const Place& place) {
    m_tracks.clear();
    int32_t pregapStart = 0;
    for (size_t i = 0; i < entries.size(); ++i) {
        const Entry& entry = entries[i];
        const int32_t end = i + 1 == entries.size() ? m_leadOut : entries[i + 1].block;
        if (entry.index == 0) {
            pregapStart = entry.block;
        }
        if (entry.index > 1) {
            m_tracks.back().blocks += static_cast<uint32_t>(end - entry.block);
        }
        if (entry.index != 1) {
            continue;
        }
        DiscTrack track;
        track.number = entry.track;
        track.session = place.session;
        track.start = entry.block;
        track.control = entry.control;
        track.blocks = static_cast<uint32_t>(end - entry.block);
        track.blockBytes = track.IsData() ? kDataBlockBytes : kAudioBlockBytes;
        track.inOneGo = true;
        track.fileStart = entry.block;
        const bool hasPregap = i > 0 && entries[i - 1].track == entry.track;
        if (track.IsData()) {
            track.file = Format("track-%02u.iso", track.number);
        } else {
            // Consecutive audio tracks share a file, so that they play without gaps. Readers of
            // disc.cue expect the first one under the same name.
            track.file =
                place.session == 1 ? "disc.bin" : Format("session-%02u.bin", place.session);
            const bool followsAudio = !m_tracks.empty() && !m_tracks.back().IsData();
            if (followsAudio) {
                track.fileStart = m_tracks.back().fileStart;
                track.file = m_tracks.back().file;
                track.pregap = hasPregap ? entry.block - pregapStart : 0;
            } else if (!m_tracks.empty()) {
                track.file = Format("session-%02u-track-%02u.bin", place.session, track.number);
            }
        }
        m_tracks.push_back(track);
    }
}

const CueArea* CCuePlan::AreaAt(int32_t block) const {
    const auto found = std::find_if(m_areas.begin(), m_areas.end(), [block](const CueArea& area) {
        return block >= area.start && block < area.end;
    });
    return found != m_areas.end() ? &*found : nullptr;
}

int32_t CCuePlan::SkipMadeByDrive(int32_t block) const {
    const CueArea* area = AreaAt(block);
    while (area != nullptr && area->hostBytes == 0) {
        block = area->end;
        area = AreaAt(block);
    }
    return block;
}

} // namespace larkspin
