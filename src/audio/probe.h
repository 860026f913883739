// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What the headers of an audio file say, and the room that it will take on a disc.
//
// A probe throws nothing but std::bad_alloc, and returns nothing for a file that can't be read or
// is in another format. It may be called on any thread. ProbeWav and ProbeMp3 are next to their
// readers; ProbeHeader serves the others.
#pragma once

#include "audio/reader.h"
#include "platform/files.h"

#include <cstdint>
#include <optional>
#include <string>

namespace larkspin {

struct AudioProbe {
    uint64_t bytes = 0; // of PCM in the source's own form
    int bits = 0;       // per sample
    int rate = 0;       // samples per second and channel
    int channels = 0;
};

// Marks the constructor of a reader that only reads the header and starts no decoder. It does not
// set m_nLength; PcmBytes returns the bytes of PCM, even if they don't fit into m_nLength.
struct HeaderOnly {};

template <class Reader>
std::optional<AudioProbe> ProbeHeader(const std::u16string& name, IFileSystem& files) {
    try {
        const Reader reader(HeaderOnly(), name, files);
        return AudioProbe{.bytes = reader.PcmBytes(),
                          .bits = reader.m_nBits,
                          .rate = reader.m_nSampleRate,
                          .channels = reader.m_nChannels};
    } catch (const CReaderException&) {
        return std::nullopt;
    }
}

// Bytes of the finished track, a multiple of 2352: the source's bytes, doubled if it has less than
// 16 bits, reduced if it has more, converted to 44,100 Hz with the fraction dropped, doubled unless
// it has two channels, and rounded up. 0 for a rate of 0 or less. Limited to the largest multiple
// of 2352 in 32 bits.
uint32_t NormalisedLength(const AudioProbe& probe);

} // namespace larkspin
