// Writes Monkey's Audio files (format 3.99, compression level "fast"), since no free encoder for
// them is to be had. A frame of nothing but zeros becomes the format's own mark for silence.
#pragma once

#include <cstdint>
#include <vector>

namespace larkspin::codecs {

struct ApeSound {
    std::vector<int32_t> samples; // interleaved
    int channels = 2;             // 1 or 2
    int bits = 16;                // 8, 16 or 24
    int rate = 44100;
    uint32_t blocksPerFrame = 9216;
};

std::vector<uint8_t> WriteApe(const ApeSound& sound);

} // namespace larkspin::codecs
