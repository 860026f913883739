// CMp3Dither: one channel of libmad's fixed-point samples to 16 bits, with noise-shaped dither.
#pragma once

#include <cstdint>

namespace larkspin {

class CMp3Dither {
  public:
    // `sample` is signed with 28 fractional bits; what lies outside -1.0 to 1.0 is clipped.
    int16_t Reduce(int32_t sample);

  private:
    // Errors of the last three samples, weighted for the next one.
    int32_t m_nError0 = 0;
    int32_t m_nError1 = 0;
    int32_t m_nError2 = 0;
    uint32_t m_nRandom = 0;
};

} // namespace larkspin
