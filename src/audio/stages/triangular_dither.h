// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CTriangularDither: samples of 32 bits to 16 bits with triangular dither.
//
// The dither is of one step of 16 bits to each side (the sum of two even ones), so that the noise
// that it leaves does not depend on the sound. It starts from the same seed each time: equal
// sources give equal tracks.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

namespace larkspin {

class CTriangularDither {
  public:
    static constexpr int64_t kFullScale = int64_t{1} << 31;

    // `sample` may lie beyond full scale, by as much as twice that; it is held there.
    int16_t Narrow(int64_t sample) {
        // Two even dithers of one step less their mean, and half a step to round.
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
        return m_nRandom >> 16; // the lower bits of such a row are the worse ones
    }

    uint32_t m_nRandom = 1;
};

} // namespace larkspin
