// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CBitEnhancer: 8-bit unsigned samples to 16-bit signed ones, value (v - 128) * 256.
#pragma once

#include "audio/reader.h"

#include <memory>

namespace larkspin {

class CBitEnhancer final : public CReader {
  public:
    // Throws CReaderException "Internal error #292." without a source and "Internal error #293."
    // for a source that has not 8 bits. Claims twice the length of its source.
    explicit CBitEnhancer(std::unique_ptr<CReader> source);
    // Reads bytes / 2 bytes of the source, so an odd last byte of a request stays unfilled.
    void Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) override;
    SoundLoss Loss() const override { return m_pSource->Loss(); }

  private:
    std::unique_ptr<CReader> m_pSource;
};

} // namespace larkspin
