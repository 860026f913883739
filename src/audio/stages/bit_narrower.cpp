// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/stages/bit_narrower.h"

#include "platform/byte_order.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace larkspin {

namespace {

constexpr int64_t kFullScale = CTriangularDither::kFullScale;

// Converts a float to a 32-bit sample, or to something beyond that range.
int64_t FromFloat(uint32_t bits) {
    const auto value = static_cast<double>(std::bit_cast<float>(bits));
    if (std::isnan(value)) {
        return 0;
    }
    constexpr double kMost = 2.0 * kFullScale;
    return std::llround(std::clamp(value * kFullScale, -kMost, kMost));
}

} // namespace

bool CBitNarrower::Takes(const CReader& source) {
    return source.m_bFloat ? source.m_nBits == 32 : source.m_nBits == 24 || source.m_nBits == 32;
}

CBitNarrower::CBitNarrower(std::unique_ptr<CReader> source) : m_pSource(std::move(source)) {
    m_nLength = m_pSource->m_nLength / (m_pSource->m_nBits / 8) * 2;
    m_nSampleRate = m_pSource->m_nSampleRate;
    m_nChannels = m_pSource->m_nChannels;
    m_nBits = 16;
}

void CBitNarrower::Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) {
    const auto width = static_cast<size_t>(m_pSource->m_nBits) / 8;
    m_wide.resize(bytes / 2 * width);
    size_t filled = 0;
    for (uint32_t got = 1; got > 0 && filled < m_wide.size(); filled += got) {
        m_pSource->Read(m_wide.data() + filled, static_cast<uint32_t>(m_wide.size() - filled),
                        &got);
    }
    const size_t samples = filled / width;
    auto* to = static_cast<uint8_t*>(buffer);
    uint64_t clipped = 0;
    for (size_t i = 0; i < samples; ++i) {
        const uint8_t* from = &m_wide[i * width];
        int64_t sample = 0;
        if (m_pSource->m_bFloat) {
            sample = FromFloat(LoadLe32(from));
        } else if (width == 3) {
            sample = static_cast<int32_t>(uint32_t{from[0]} << 8 | uint32_t{from[1]} << 16 |
                                          uint32_t{from[2]} << 24);
        } else {
            sample = static_cast<int32_t>(LoadLe32(from));
        }
        clipped += sample > kFullScale || sample < -kFullScale ? 1 : 0;
        const int16_t narrow = m_Dither.Narrow(sample);
        to[2 * i] = static_cast<uint8_t>(narrow);
        to[2 * i + 1] = static_cast<uint8_t>(narrow >> 8);
    }
    m_nClipped += clipped;
    if (bytesRead != nullptr) {
        *bytesRead = static_cast<uint32_t>(samples * 2);
    }
}

SoundLoss CBitNarrower::Loss() const {
    SoundLoss loss = m_pSource->Loss();
    loss.clippedSamples += m_nClipped;
    return loss;
}

} // namespace larkspin
