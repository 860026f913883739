// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CResampler: converts 16-bit audio with one or two channels to another sample rate, on its own
// thread. It uses CRateConverter for sources of up to 48,000 Hz, and CSoxrConverter above.
//
// Rates within 1 part in 10,000 of each other count as equal: the stream is copied. CRateConverter
// flushes nothing at the end, so the last 16 or so input samples have no output of their own.
#pragma once

#include "audio/piped_reader.h"

#include <memory>
#include <vector>

namespace larkspin {

class CResampler final : public CPipedReader {
  public:
    // The source has one or two channels and a rate within the limits of source_limits.h, as
    // checked by whoever builds the chain. Throws CReaderException "Internal error #183." if it is
    // null, "Internal error #184." if it does not have 16 bits, "Internal error #185." and "#186."
    // if no pipe or no thread is available. Claims the source's length divided by the ratio of the
    // rates, with the fraction dropped.
    CResampler(std::unique_ptr<CReader> source, int32_t targetRate);
    // Waits for a running Read of the source to return.
    ~CResampler() override;
    SoundLoss Loss() const override { return m_pSource->Loss(); }

  private:
    void Decode() override;
    template <class Converter>
    void Convert();
    bool ReadBlock(std::vector<int16_t>* block);

    std::unique_ptr<CReader> m_pSource; // used only by the thread while that runs
    int32_t m_nTargetRate;
    double m_dRatio = 1; // input samples per output sample
};

} // namespace larkspin
