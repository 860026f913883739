// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CAligner: the outermost stage. It makes the length exact: its source's claimed length, rounded up
// to whole blocks. Missing sound is replaced by silence, excess sound is dropped.
#pragma once

#include "audio/reader.h"

#include <memory>

namespace larkspin {

class CAligner final : public CReader {
  public:
    // `blockBytes` is at least 1. Throws CReaderException "Internal error #392." if `source` is
    // null. The rounded length must fit into m_nLength.
    CAligner(std::unique_ptr<CReader> source, int32_t blockBytes);
    // A source that returns less than requested is taken to have ended. `buffer` may be changed
    // after the bytes that are counted.
    void Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) override;
    // A source that lacks half a second counts as broken off: the lengths of some formats are
    // estimates, and a rate conversion loses its last samples.
    SoundLoss Loss() const override;

  private:
    std::unique_ptr<CReader> m_pSource;
    int32_t m_nBlockBytes;
    int32_t m_nPosition = 0; // bytes delivered so far
    int32_t m_nSilence = 0;  // of those, silence in place of claimed sound
};

} // namespace larkspin
