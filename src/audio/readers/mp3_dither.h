// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CMp3Dither: reduces one channel of libmad's fixed-point samples to 16 bits, with noise-shaped
// dither.
#pragma once

#include <algorithm>
#include <cstdint>

namespace larkspin {

class CMp3Dither {
  public:
    // `sample` is signed with 28 fractional bits; values outside -1.0 to 1.0 are clipped.
    int16_t Reduce(int32_t sample);

  private:
    static constexpr int kFractionBits = 28;
    static constexpr int kDroppedBits = kFractionBits + 1 - 16;
    static constexpr int32_t kMask = (1 << kDroppedBits) - 1;
    static constexpr int64_t kMost = (1 << kFractionBits) - 1;
    static constexpr int64_t kLeast = -(1 << kFractionBits);

    // Errors of the last three samples, weighted for the next one.
    int32_t m_nError0 = 0;
    int32_t m_nError1 = 0;
    int32_t m_nError2 = 0;
    uint32_t m_nRandom = 0;
};

// In the header for speed: it runs for each sample.
inline int16_t CMp3Dither::Reduce(int32_t sample) {
    // 64 bits, since a damaged stream can bring the decoder's samples close to the limits of 32.
    int64_t shaped = int64_t{sample} + m_nError0 - m_nError1 + m_nError2;
    m_nError2 = m_nError1;
    m_nError1 = m_nError0 / 2;

    const uint32_t next = m_nRandom * 1664525U + 1013904223U;
    int64_t out = shaped + (1 << (kDroppedBits - 1)) + static_cast<int32_t>(next & kMask) -
                  static_cast<int32_t>(m_nRandom & kMask);
    m_nRandom = next;

    // Clipping is not an error to be compensated later.
    if (out > kMost) {
        out = kMost;
        shaped = std::min(shaped, kMost);
    } else if (out < kLeast) {
        out = kLeast;
        shaped = std::max(shaped, kLeast);
    }
    const int64_t kept = out & ~int64_t{kMask};
    m_nError0 = static_cast<int32_t>(shaped - kept);
    return static_cast<int16_t>(kept >> kDroppedBits);
}

} // namespace larkspin
