// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/stages/resampler.h"

#include "audio/stages/rate_converter.h"
#include "audio/stages/soxr_converter.h"

#include <bit>

namespace larkspin {

// Samples are copied unchanged between bytes of the stream and int16_t.
static_assert(std::endian::native == std::endian::little);

namespace {

// Above this, 32 taps are too few for the required steepness.
constexpr int32_t kMostFilterRate = 48000;

bool CountAsEqual(double ratio) {
    return ratio >= 0.9999 && ratio <= 1.0001;
}

} // namespace

CResampler::CResampler(std::unique_ptr<CReader> source, int32_t targetRate)
    : m_pSource(std::move(source)), m_nTargetRate(targetRate) {
    if (!m_pSource) {
        throw CReaderException("Internal error #183.");
    }
    if (m_pSource->m_nBits != 16) {
        throw CReaderException("Internal error #184.");
    }
    m_dRatio = static_cast<double>(m_pSource->m_nSampleRate) / m_nTargetRate;
    m_nLength = static_cast<int32_t>(m_pSource->m_nLength / m_dRatio);
    m_nSampleRate = m_nTargetRate;
    m_nChannels = m_pSource->m_nChannels;
    m_nBits = m_pSource->m_nBits;
    StartDecoder("Internal error #185.", "Internal error #186.");
}

CResampler::~CResampler() {
    StopDecoder();
}

void CResampler::Decode() {
    if (CountAsEqual(m_dRatio)) {
        std::vector<int16_t> block;
        while (ReadBlock(&block) && WritePcm(block.data(), block.size() * sizeof(int16_t))) {
        }
        return;
    }
    if (m_pSource->m_nSampleRate <= kMostFilterRate) {
        Convert<CRateConverter>();
    } else {
        Convert<CSoxrConverter>();
    }
}

template <class Converter>
void CResampler::Convert() {
    Converter converter(m_pSource->m_nSampleRate, m_nTargetRate, m_nChannels);
    std::vector<int16_t> block;
    std::vector<int16_t> output;
    for (bool more = true; more;) {
        more = ReadBlock(&block);
        if (more) {
            converter.Convert(block, &output);
        } else {
            converter.Flush(&output);
        }
        if (!WritePcm(output.data(), output.size() * sizeof(int16_t))) {
            return;
        }
    }
}

// Whole frames of the source: a full block, except at the end of the source. False at the end.
bool CResampler::ReadBlock(std::vector<int16_t>* block) {
    block->resize(CRateConverter::kBlockFrames * m_nChannels);
    auto* to = reinterpret_cast<uint8_t*>(block->data());
    const auto wanted = static_cast<uint32_t>(block->size() * sizeof(int16_t));
    uint32_t filled = 0;
    while (filled < wanted) {
        uint32_t got = 0;
        m_pSource->Read(to + filled, wanted - filled, &got);
        if (got == 0) {
            break;
        }
        filled += got;
    }
    const size_t samples = filled / sizeof(int16_t);
    block->resize(samples - samples % m_nChannels);
    return !block->empty();
}

} // namespace larkspin
