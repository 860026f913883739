// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What a job has written to an audio CD: a hash for each track, and a stretch of sound by which the
// offset of the drive can be found.
//
// A drive reads audio some samples before or behind the place that it wrote them to, always by the
// same number. What may lie outside of what it can read for that, at the very beginning and the
// very end, has hashes of its own.
#pragma once

#include "jobs/written_record.h"

#include <cstdint>
#include <span>
#include <vector>

namespace larkspin {

constexpr uint32_t kAudioSampleBytes = 4;
// An offset up to this is no error.
constexpr uint32_t kMostOffsetBytes = 1176 * kAudioSampleBytes;

class AudioRecord {
  public:
    // Forgets everything. Bytes of each track, in the order of the disc.
    void Expect(const std::vector<uint32_t>& trackBytes);
    void Take(std::span<const uint8_t> bytes);

    const WrittenRecord& Written() const { return m_written; }

    // The first sound that a drive can read with any offset, with some of the silence in front of
    // it, and its place. Empty for silence alone.
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
