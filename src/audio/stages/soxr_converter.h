// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CSoxrConverter: sample rate conversion by libsoxr in its high quality, for rates at which much
// has to be filtered out. Flat to 20 kHz; everything above half the target rate is removed. The
// result is reduced to 16 bits with triangular dither.
#pragma once

#include "audio/stages/triangular_dither.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

struct soxr;

namespace larkspin {

class CSoxrConverter {
  public:
    // Rates are in samples per second; 1 or 2 channels. Throws std::bad_alloc if libsoxr can't
    // start.
    CSoxrConverter(int32_t sourceRate, int32_t targetRate, int channels);

    // Convert replaces *output by the interleaved samples that are ready after `block`, which holds
    // whole frames; Flush by those left at the end of the stream. Together they are as long as the
    // input.
    void Convert(std::span<const int16_t> block, std::vector<int16_t>* output);
    void Flush(std::vector<int16_t>* output);

  private:
    struct Deleter {
        void operator()(soxr* converter) const;
    };
    void Process(const int16_t* block, size_t frames, std::vector<int16_t>* output);

    size_t m_nChannels;
    std::unique_ptr<soxr, Deleter> m_pConverter;
    std::vector<float> m_floats;
    CTriangularDither m_Dither;
};

} // namespace larkspin
