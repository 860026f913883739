// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CMonoToStereo: doubles every 16-bit sample of a single channel, for left and right.
#pragma once

#include "audio/reader.h"

#include <memory>

namespace larkspin {

class CMonoToStereo final : public CReader {
  public:
    // Throws CReaderException "Internal error #192." if `source` is null, and "Internal error
    // #193." if it does not have one channel. The source must have 16 bits. Claims twice its
    // length.
    explicit CMonoToStereo(std::unique_ptr<CReader> source);
    // Returns whole frames of 4 bytes, as many as fit into `bytes`; an odd last byte of the source
    // is dropped.
    void Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) override;
    SoundLoss Loss() const override { return m_pSource->Loss(); }

  private:
    std::unique_ptr<CReader> m_pSource;
};

} // namespace larkspin
