// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The filters of a band-limited interpolator: sinc functions with a Blackman window, one for each
// phase between two input samples.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace larkspin {

class CSincFilters {
  public:
    // Computes all filters, each with unit gain at 0 Hz. Rates are in samples per second, above 0.
    CSincFilters(int32_t sourceRate, int32_t targetRate);

    // The number of input samples that a filter covers, minus one: 31, or 32 when the source rate
    // is an exact multiple of the target rate. A nearly exact ratio goes through all phases of a
    // sample and so needs the filter that is centred between two samples.
    int FilterLen() const { return m_nFilterLen; }
    int Taps() const { return m_nFilterLen + 1; }
    // Phases on each side of the centre; filters are numbered from 0 to 2 * Phases().
    int Phases() const { return m_nPhases; }
    // Taps() coefficients, then zeros up to Stride(), which is a multiple of kLanes.
    const float* Filter(int index) const {
        return m_Coefficients.data() + static_cast<size_t>(index) * m_nStride;
    }
    size_t Stride() const { return m_nStride; }

    static constexpr size_t kLanes = 4;

  private:
    int m_nFilterLen;
    int m_nPhases;
    size_t m_nStride;
    std::vector<float> m_Coefficients;
};

} // namespace larkspin
