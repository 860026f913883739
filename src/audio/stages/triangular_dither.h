// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CTriangularDither: reduces samples of 32 bits to 16 bits with triangular dither.
//
// The dither is up to one 16-bit step in either direction (the sum of two uniform ones), so that
// the remaining noise does not depend on the sound. It always starts from the same seed: equal
// sources give equal tracks.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

namespace larkspin {

class CTriangularDither {
  public:
    static constexpr int64_t kFullScale = int64_t{1} << 31;

    // `sample` may exceed full scale by up to a factor of two; it is then limited.
    int16_t Narrow(int64_t sample) {
        // Two uniform dithers of one step, minus their mean, plus half a step for rounding.
        constexpr int64_t kStep = 1 << kDroppedBits;
        const int64_t dithered = sample + NextRandom() + NextRandom() - (kStep - 1) + kStep / 2;
        return static_cast<int16_t>(std::clamp<int64_t>(dithered >> kDroppedBits,
                                                        std::numeric_limits<int16_t>::min(),
                                                        std::numeric_limits<int16_t>::max()));
    }

  private:
    static constexpr int kDroppedBits = 16;

    int64_t NextRandom() {
        m_nRandom = m_nRandom * 1664525U + 1013904223U;
        return m_nRandom >> 16; // the lower bits of such a sequence are less random
    }

    uint32_t m_nRandom = 1;
};

} // namespace larkspin
