// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CResampler: brings 16-bit audio of one or two channels to another sample rate, on a thread of
// its own. The arithmetic is CRateConverter's for sources of up to 48,000 Hz and CSoxrConverter's
// for all above.
//
// Rates within 1 part in 10,000 of each other count as equal: the stream is copied. CRateConverter
// flushes nothing at the end, so that the last 16 or so input samples have no output of their own.
#pragma once

#include "audio/piped_reader.h"

#include <memory>
#include <vector>

namespace larkspin {

class CResampler final : public CPipedReader {
  public:
    // The source has one or two channels and a rate within the limits of source_limits.h; whoever
    // builds a chain has checked that. Throws CReaderException "Internal error #183." without a
    // source, "Internal error #184." for a source that has not 16 bits, "Internal error #185." and
    // "#186." when no pipe or no thread can be had. Claims the source's length over the ratio of
    // the rates, with the fraction dropped.
    CResampler(std::unique_ptr<CReader> source, int32_t targetRate);
    // Waits until a Read of the source that is under way returns.
    ~CResampler() override;
    SoundLoss Loss() const override { return m_pSource->Loss(); }

  private:
    void Decode() override;
    template <class Converter>
    void Convert();
    bool ReadBlock(std::vector<int16_t>* block);

    std::unique_ptr<CReader> m_pSource; // the thread's alone while it runs
    int32_t m_nTargetRate;
    double m_dRatio = 1; // input samples per output sample
};

} // namespace larkspin
