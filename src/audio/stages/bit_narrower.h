// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CBitNarrower: reduces samples of 24 or 32 bits, or 32-bit floats, to 16 bits with dither.
//
// A float beyond full scale is limited and counted; one that is not a number becomes silence.
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
    // Whether this stage accepts the form of `source`.
    static bool Takes(const CReader& source);

    // `source` is not null and has such a form. Claims two bytes for each of its samples.
    explicit CBitNarrower(std::unique_ptr<CReader> source);
    // An odd last byte of a request is not filled; an incomplete last sample is dropped.
    void Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) override;
    SoundLoss Loss() const override;

  private:
    std::unique_ptr<CReader> m_pSource;
    std::vector<uint8_t> m_wide; // read from the source
    CTriangularDither m_Dither;
    std::atomic<uint64_t> m_nClipped = 0;
};

} // namespace larkspin
