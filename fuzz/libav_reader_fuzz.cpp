// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The containers of CLibavReader; the last byte of an input tells which.
#include "audio/readers/libav_reader.h"
#include "audio_fuzz.h"

#include <iterator>

namespace larkspin {
namespace {

template <const char* demuxer>
int Fuzz(const uint8_t* data, size_t size) {
    using Reader = CLibavFile<demuxer>;
    return FuzzAudioReader<Reader>(data, size, &ProbeHeader<Reader>);
}

constexpr decltype(&Fuzz<kMpeg4>) kFuzzers[] = {&Fuzz<kMpeg4>, &Fuzz<kAdts>, &Fuzz<kOggPages>,
                                                &Fuzz<kAiff>, &Fuzz<kWavPack>};

} // namespace
} // namespace larkspin

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using larkspin::kFuzzers;
    return size == 0 ? 0 : kFuzzers[data[size - 1] % std::size(kFuzzers)](data, size - 1);
}
