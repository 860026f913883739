// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/stages/sinc_filters.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace larkspin {

namespace {

constexpr int kMaxPhases = 320;
constexpr int kBaseFilterLen = 31;

// A sinc with cut-off `fcn` at `x`, from 0 to `l` input samples, centred at l / 2.
double BlackmanSinc(double x, double fcn, double l) {
    constexpr double kPi = std::numbers::pi;
    const double wcn = kPi * fcn;
    x = std::clamp(x / l, 0.0, 1.0);
    const double x2 = x - 0.5;
    if (std::fabs(x2) < 1e-9) {
        return wcn / kPi;
    }
    const double window = 0.42 - 0.5 * std::cos(2 * x * kPi) + 0.08 * std::cos(4 * x * kPi);
    return window * std::sin(l * wcn * x2) / (kPi * l * x2);
}

int32_t GreatestCommonDivisor(int32_t a, int32_t b) {
    return b == 0 ? a : GreatestCommonDivisor(b, a % b);
}

int PhasesBetween(int32_t sourceRate, int32_t targetRate) {
    const int32_t phases = targetRate / GreatestCommonDivisor(sourceRate, targetRate % sourceRate);
    return phases > kMaxPhases ? kMaxPhases : phases;
}

} // namespace

CSincFilters::CSincFilters(int32_t sourceRate, int32_t targetRate)
    : m_nFilterLen(kBaseFilterLen + (sourceRate % targetRate == 0 ? 1 : 0)),
      m_nPhases(PhasesBetween(sourceRate, targetRate)),
      m_nStride((static_cast<size_t>(m_nFilterLen) + kLanes) / kLanes * kLanes),
      m_Coefficients((2 * static_cast<size_t>(m_nPhases) + 1) * m_nStride, 0.0F) {
    // As a fraction of the source's Nyquist frequency.
    const double cutOff = std::min(1.0, 1.0 / (static_cast<double>(sourceRate) / targetRate));
    for (int j = 0; j <= 2 * m_nPhases; ++j) {
        const double offset = static_cast<double>(j - m_nPhases) / (2.0 * m_nPhases);
        float* filter = m_Coefficients.data() + static_cast<size_t>(j) * m_nStride;
        double sum = 0;
        for (int i = 0; i <= m_nFilterLen; ++i) {
            filter[i] = static_cast<float>(BlackmanSinc(i - offset, cutOff, m_nFilterLen));
            sum += filter[i];
        }
        double gain = 0;
        for (int i = 0; i <= m_nFilterLen; ++i) {
            filter[i] = static_cast<float>(filter[i] / sum);
            gain += filter[i];
        }
        // What is left by rounding, some 1e-8, goes to the outermost tap, where it is least
        // audible. Otherwise, truncation would turn it into a whole step wherever the signal is
        // constant.
        filter[0] = static_cast<float>(filter[0] + (1 - gain));
    }
}

} // namespace larkspin
