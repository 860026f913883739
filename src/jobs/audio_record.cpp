// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "jobs/audio_record.h"

#include "platform/text.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace larkspin {

void AudioRecord::Expect(const std::vector<uint32_t>& trackBytes) {
    m_sound.clear();
    m_nPosition = 0;
    const uint64_t total = std::accumulate(trackBytes.begin(), trackBytes.end(), uint64_t{0});
    const uint64_t lastBegin = total - std::min<uint64_t>(total, kMostOffsetBytes);
    ExtentList extents;
    uint64_t begin = 0;
    for (size_t i = 0; i < trackBytes.size(); ++i) {
        const uint64_t end = begin + trackBytes[i];
        const std::u16string name = FormatWide("Track %zu", i + 1);
        // Cut where an edge begins or ends.
        for (const uint64_t border : {uint64_t{kMostOffsetBytes}, lastBegin, end}) {
            const uint64_t cut = std::clamp(border, begin, end);
            extents.Add({begin, cut - begin}, name);
            begin = cut;
        }
    }
    m_written.Expect(std::move(extents), 0);
}

void AudioRecord::Take(std::span<const uint8_t> bytes) {
    m_written.Take(bytes);
    const uint64_t position = m_nPosition;
    m_nPosition += bytes.size();
    if (m_sound.empty()) {
        const uint64_t first = std::max<uint64_t>(position, kMostOffsetBytes);
        if (first >= m_nPosition) {
            return;
        }
        bytes = bytes.subspan(static_cast<size_t>(first - position));
        const auto found =
            std::find_if(bytes.begin(), bytes.end(), [](uint8_t byte) { return byte != 0; });
        const auto silence =
            static_cast<size_t>(found - bytes.begin()) / kAudioSampleBytes * kAudioSampleBytes;
        bytes = bytes.subspan(std::min(silence, bytes.size()));
        if (bytes.empty()) {
            return;
        }
        // A tone repeats after each period, but it begins in only one place.
        m_nSoundBegin = first + silence;
        m_sound.resize(std::min<uint64_t>(m_nSoundBegin - kMostOffsetBytes, kMostOffsetBytes));
        m_nSoundBegin -= m_sound.size();
    }
    if (m_sound.size() < kSoundBytes) {
        bytes = bytes.first(std::min(bytes.size(), kSoundBytes - m_sound.size()));
        m_sound.insert(m_sound.end(), bytes.begin(), bytes.end());
    }
}

} // namespace larkspin
