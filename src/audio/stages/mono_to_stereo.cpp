// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/stages/mono_to_stereo.h"

namespace larkspin {

CMonoToStereo::CMonoToStereo(std::unique_ptr<CReader> source) : m_pSource(std::move(source)) {
    if (!m_pSource) {
        throw CReaderException("Internal error #192.");
    }
    if (m_pSource->m_nChannels != 1) {
        throw CReaderException("Internal error #193.");
    }
    m_nLength = m_pSource->m_nLength * 2;
    m_nSampleRate = m_pSource->m_nSampleRate;
    m_nChannels = 2;
    m_nBits = m_pSource->m_nBits;
}

void CMonoToStereo::Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) {
    // The source fills the back half of the buffer; copying from the front never overtakes it. Only
    // whole samples are requested, so that none is split between calls.
    auto* out = static_cast<uint8_t*>(buffer);
    const uint32_t half = bytes / 4 * 2;
    const uint8_t* in = out + half;
    uint32_t got = 0;
    m_pSource->Read(out + half, half, &got);
    const uint32_t samples = got / 2;
    for (size_t i = 0; i < samples; ++i) {
        const uint8_t low = in[2 * i];
        const uint8_t high = in[2 * i + 1];
        uint8_t* frame = out + 4 * i;
        frame[0] = low;
        frame[1] = high;
        frame[2] = low;
        frame[3] = high;
    }
    if (bytesRead != nullptr) {
        *bytesRead = samples * 4;
    }
}

} // namespace larkspin
