// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CBitEnhancer: converts 8-bit unsigned samples to 16-bit signed ones, (v - 128) * 256.
#pragma once

#include "audio/reader.h"

#include <memory>

namespace larkspin {

class CBitEnhancer final : public CReader {
  public:
    // Throws CReaderException "Internal error #292." if `source` is null, and "Internal error
    // #293." if it does not have 8 bits. Claims twice the length of its source.
    explicit CBitEnhancer(std::unique_ptr<CReader> source);
    // Reads bytes / 2 bytes from the source; an odd last byte of a request is not filled.
    void Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) override;
    SoundLoss Loss() const override { return m_pSource->Loss(); }

  private:
    std::unique_ptr<CReader> m_pSource;
};

} // namespace larkspin
