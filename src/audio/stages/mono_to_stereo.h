// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CMonoToStereo: every 16-bit sample of a single channel twice, left and right alike.
#pragma once

#include "audio/reader.h"

#include <memory>

namespace larkspin {

class CMonoToStereo final : public CReader {
  public:
    // Throws CReaderException "Internal error #192." without a source and "Internal error #193."
    // for a source that has not one channel. The source must have 16 bits. Claims twice its length.
    explicit CMonoToStereo(std::unique_ptr<CReader> source);
    // Delivers whole frames of 4 bytes, as many as fit in `bytes`; an odd last byte of the source
    // is dropped.
    void Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) override;
    SoundLoss Loss() const override { return m_pSource->Loss(); }

  private:
    std::unique_ptr<CReader> m_pSource;
};

} // namespace larkspin
