// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CBitNarrower: samples of 24 or 32 bits, or floats of 32 bits, to 16 bits with dither.
//
// A float beyond full scale is held there and counted; one that is no number becomes silence.
#pragma once

#include "audio/reader.h"
#include "audio/stages/triangular_dither.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

namespace larkspin {

class CBitNarrower final : public CReader {
  public:
    // Whether `source` has a form that this stage takes.
    static bool Takes(const CReader& source);

    // `source` is not null and has such a form. Claims two bytes for each sample of it.
    explicit CBitNarrower(std::unique_ptr<CReader> source);
    // An odd last byte of a request stays unfilled; an incomplete last sample is dropped.
    void Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) override;
    SoundLoss Loss() const override;

  private:
    std::unique_ptr<CReader> m_pSource;
    std::vector<uint8_t> m_wide; // what was read of the source
    CTriangularDither m_Dither;
    std::atomic<uint64_t> m_nClipped = 0;
};

} // namespace larkspin
