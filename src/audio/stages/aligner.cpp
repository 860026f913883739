// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/stages/aligner.h"

#include <algorithm>
#include <cstring>

namespace larkspin {

CAligner::CAligner(std::unique_ptr<CReader> source, int32_t blockBytes)
    : m_pSource(std::move(source)), m_nBlockBytes(blockBytes) {
    if (!m_pSource) {
        throw CReaderException("Internal error #392.");
    }
    const int64_t claimed = m_pSource->m_nLength;
    m_nLength = static_cast<int32_t>((claimed + m_nBlockBytes - 1) / m_nBlockBytes * m_nBlockBytes);
    m_nSampleRate = m_pSource->m_nSampleRate;
    m_nChannels = m_pSource->m_nChannels;
    m_nBits = m_pSource->m_nBits;
}

void CAligner::Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) {
    const auto left = static_cast<uint32_t>(m_nLength - m_nPosition);
    uint32_t got = 0;
    m_pSource->Read(buffer, bytes, &got);
    std::memset(static_cast<uint8_t*>(buffer) + got, 0, bytes - got);
    // Up to the claimed end, the zeros after the source's bytes replace missing audio.
    const uint32_t delivered = std::min(bytes, left);
    m_nPosition += static_cast<int32_t>(delivered);
    m_nSilence += static_cast<int32_t>(delivered - std::min(got, delivered));
    if (bytesRead != nullptr) {
        *bytesRead = delivered;
    }
}

SoundLoss CAligner::Loss() const {
    SoundLoss loss = m_pSource->Loss();
    const int64_t half = int64_t{m_nSampleRate} * m_nChannels * (m_nBits / 8) / 2;
    loss.brokeOff = loss.brokeOff || m_nSilence > half + m_nBlockBytes;
    return loss;
}

} // namespace larkspin
