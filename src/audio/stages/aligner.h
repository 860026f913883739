// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CAligner: the outermost stage. It makes the length exact: the claimed length of its source,
// rounded up to whole blocks. What the source lacks is silence, what it has too much is dropped.
#pragma once

#include "audio/reader.h"

#include <memory>

namespace larkspin {

class CAligner final : public CReader {
  public:
    // `blockBytes` is at least 1. Throws CReaderException "Internal error #392." without a source.
    // The rounded length must fit m_nLength.
    CAligner(std::unique_ptr<CReader> source, int32_t blockBytes);
    // A short count of the source is taken for its end. `buffer` may be changed behind the bytes
    // that are counted.
    void Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) override;
    // A source counts as broken off if it lacks half a second: the lengths of some formats are
    // estimates, and a rate conversion loses its last samples.
    SoundLoss Loss() const override;

  private:
    std::unique_ptr<CReader> m_pSource;
    int32_t m_nBlockBytes;
    int32_t m_nPosition = 0; // bytes delivered so far
    int32_t m_nSilence = 0;  // of them in the place of sound that was claimed
};

} // namespace larkspin
