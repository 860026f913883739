// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/stages/bit_enhancer.h"

namespace larkspin {

CBitEnhancer::CBitEnhancer(std::unique_ptr<CReader> source) : m_pSource(std::move(source)) {
    if (!m_pSource) {
        throw CReaderException("Internal error #292.");
    }
    if (m_pSource->m_nBits != 8) {
        throw CReaderException("Internal error #293.");
    }
    m_nLength = m_pSource->m_nLength * 2;
    m_nSampleRate = m_pSource->m_nSampleRate;
    m_nChannels = m_pSource->m_nChannels;
    m_nBits = 16;
}

void CBitEnhancer::Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) {
    // The source fills the back half of the buffer; widening from the front never overtakes it.
    auto* out = static_cast<uint8_t*>(buffer);
    const uint32_t half = bytes / 2;
    const uint8_t* in = out + half;
    uint32_t got = 0;
    m_pSource->Read(out + half, half, &got);
    for (size_t i = 0; i < got; ++i) {
        // (v - 128) * 256: the low byte is 0, the high byte v with its top bit inverted.
        const uint8_t v = in[i];
        out[2 * i] = 0;
        out[2 * i + 1] = v ^ 0x80;
    }
    if (bytesRead != nullptr) {
        *bytesRead = got * 2;
    }
}

} // namespace larkspin
