// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What the headers of an audio file say, and the place that it will take on a disc.
//
// A probe never throws but for std::bad_alloc and yields nothing for a file that can't be read or
// isn't of its format. It may be called on any thread. ProbeWav and ProbeMp3 stand beside their
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

// Marks the constructor of a reader that reads the header alone and starts no decoder. It leaves
// m_nLength out; PcmBytes tells the bytes of PCM, also where they fit no m_nLength.
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

// Bytes of the finished track, a multiple of 2352: doubled unless the source has 16 bits or more,
// less if it has more, brought
// to 44,100 Hz with the fraction dropped, doubled unless it has two channels, rounded up. 0 for a
// rate of 0 or less; what does not fit is held at the largest multiple of 2352 in 32 bits.
uint32_t NormalisedLength(const AudioProbe& probe);

} // namespace larkspin
