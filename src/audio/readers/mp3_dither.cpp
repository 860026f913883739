#include "audio/readers/mp3_dither.h"

#include <algorithm>

namespace larkspin {

namespace {

constexpr int kFractionBits = 28;
constexpr int kDroppedBits = kFractionBits + 1 - 16;
constexpr int32_t kMask = (1 << kDroppedBits) - 1;
constexpr int64_t kMost = (1 << kFractionBits) - 1;
constexpr int64_t kLeast = -(1 << kFractionBits);

} // namespace

int16_t CMp3Dither::Reduce(int32_t sample) {
    // 64 bits, since a damaged stream can bring the decoder's samples near the ends of 32.
    int64_t shaped = int64_t{sample} + m_nError0 - m_nError1 + m_nError2;
    m_nError2 = m_nError1;
    m_nError1 = m_nError0 / 2;

    const uint32_t next = m_nRandom * 1664525U + 1013904223U;
    int64_t out = shaped + (1 << (kDroppedBits - 1)) + static_cast<int32_t>(next & kMask) -
                  static_cast<int32_t>(m_nRandom & kMask);
    m_nRandom = next;

    // Clipping is no error to make good later.
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
