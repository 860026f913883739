// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CRateConverter: the arithmetic of sample rate conversion, without threads and pipes.
//
// A band-limited interpolator: each output sample is the sum of 32 or 33 input samples weighted by
// the filter of the nearest phase. Coefficients are single-precision floats. Products are added up
// in double precision, in four interleaved sums, and rounded to float once, so that the order of
// addition causes no error and a constant input gives the same constant. Results are clipped to 16
// bits and truncated toward zero.
//
// Input is processed in blocks. The filters at the end of a block extend into the next one, so
// output is about 16 input samples behind; the silence before the first sample is part of the
// stream.
#pragma once

#include "audio/stages/sinc_filters.h"

#include <cstdint>
#include <span>
#include <vector>

namespace larkspin {

class CRateConverter {
  public:
    static constexpr size_t kBlockFrames = 1152;

    // Rates are in samples per second, the source's at least a twentieth of the target's; 1 or 2
    // channels. Computes the filters.
    CRateConverter(int32_t sourceRate, int32_t targetRate, int channels);

    // Replaces *output by the interleaved samples that `block` yields. A block holds kBlockFrames
    // whole frames, or fewer if it is the last one.
    void Convert(std::span<const int16_t> block, std::vector<int16_t>* output);
    // What is left at the end of the stream: nothing.
    static void Flush(std::vector<int16_t>* output) { output->clear(); }

  private:
    template <size_t kChannels>
    size_t ResampleBlock(size_t at, size_t frames, int16_t* to, size_t* total);

    double m_dRatio; // input samples per output sample
    CSincFilters m_Filters;
    // How far the next block is after the time of the next output sample, in input samples. It is
    // the same for both channels, so one counter is enough.
    double m_dInputTime = 0;
    // For each channel the newest samples before the block, then the block.
    std::vector<std::vector<double>> m_Window;
};

} // namespace larkspin
