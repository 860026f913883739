// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What a job has written to an audio CD: a hash for each track, and a stretch of sound from which
// the drive's offset can be determined.
//
// A drive reads audio from a place that is off by a constant number of samples. What that may put
// out of its reach, at the very beginning and the very end, is hashed separately.
#pragma once

#include "jobs/written_record.h"

#include <cstdint>
#include <span>
#include <vector>

namespace larkspin {

constexpr uint32_t kAudioSampleBytes = 4;
// A larger offset is an error.
constexpr uint32_t kMostOffsetBytes = 1176 * kAudioSampleBytes;

class AudioRecord {
  public:
    // Starts over with tracks of these sizes in bytes, in disc order.
    void Expect(const std::vector<uint32_t>& trackBytes);
    void Take(std::span<const uint8_t> bytes);

    const WrittenRecord& Written() const { return m_written; }

    // The first sound that a drive can read with any offset, with some of the silence before it,
    // and its position. Empty if there is only silence.
    std::span<const uint8_t> Sound() const { return m_sound; }
    uint64_t SoundBegin() const { return m_nSoundBegin; }

  private:
    static constexpr size_t kSoundBytes = 16'384;

    WrittenRecord m_written;
    std::vector<uint8_t> m_sound;
    uint64_t m_nSoundBegin = 0;
    uint64_t m_nPosition = 0;
};

} // namespace larkspin
