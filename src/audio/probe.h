// What the headers of an audio file say, and the place that it will take on a disc.
//
// Each reader's header declares its probe beside the reader:
//     std::optional<AudioProbe> ProbeWav(const std::u16string& name, IFileSystem& files);
// A probe never throws but for std::bad_alloc and yields nothing for a file that can't be read or
// isn't of its format. It may be called on any thread.
#pragma once

#include <cstdint>

namespace larkspin {

struct AudioProbe {
    uint64_t bytes = 0; // of PCM in the source's own form
    int bits = 0;       // per sample
    int rate = 0;       // samples per second and channel
    int channels = 0;
};

// Bytes of the finished track, a multiple of 2352: doubled unless the source has 16 bits, brought
// to 44,100 Hz with the fraction dropped, doubled unless it has two channels, rounded up. 0 for a
// rate of 0 or less; what does not fit is held at the largest multiple of 2352 in 32 bits.
uint32_t NormalisedLength(const AudioProbe& probe);

} // namespace larkspin
