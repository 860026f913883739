// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What a fuzz target of an audio reader does with its input: the probe, then the whole life of a
// reader, as the audio job would use it.
#pragma once

#include "audio/reader.h"
#include "support/memory_files.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace larkspin {

template <class Reader, class Probe>
int FuzzAudioReader(const uint8_t* data, size_t size, Probe probe) {
    constexpr int kMaxChunks = 64; // a megabyte of sound shows what a decoder does
    MemoryFiles files({data, data + size});
    probe(u"input", files);
    try {
        Reader reader(u"input", files);
        std::array<uint8_t, kCdReadChunkBytes> buffer = {};
        uint32_t got = 1;
        for (int i = 0; i < kMaxChunks && got > 0; ++i) {
            reader.Read(buffer.data(), kCdReadChunkBytes, &got);
        }
    } catch (const CReaderException&) {
        // A refusal is an answer like any other.
    }
    return 0;
}

} // namespace larkspin
