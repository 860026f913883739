// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/stages/soxr_converter.h"

#include <cmath>
#include <new>
#include <soxr.h>

namespace larkspin {

namespace {

constexpr size_t kOutputFrames = 1152; // at once

} // namespace

void CSoxrConverter::Deleter::operator()(soxr* converter) const {
    soxr_delete(converter);
}

CSoxrConverter::CSoxrConverter(int32_t sourceRate, int32_t targetRate, int channels)
    : m_nChannels(static_cast<size_t>(channels)), m_floats(kOutputFrames * m_nChannels) {
    const soxr_io_spec_t form = soxr_io_spec(SOXR_INT16_I, SOXR_FLOAT32_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
    const soxr_runtime_spec_t runtime = soxr_runtime_spec(1);
    soxr_error_t failure = nullptr;
    m_pConverter.reset(soxr_create(sourceRate, targetRate, static_cast<unsigned>(channels),
                                   &failure, &form, &quality, &runtime));
    if (failure != nullptr || m_pConverter == nullptr) {
        throw std::bad_alloc();
    }
}

void CSoxrConverter::Convert(std::span<const int16_t> block, std::vector<int16_t>* output) {
    output->clear();
    Process(block.data(), block.size() / m_nChannels, output);
}

void CSoxrConverter::Flush(std::vector<int16_t>* output) {
    output->clear();
    Process(nullptr, 0, output);
}

// A null `block` is the stream's end.
void CSoxrConverter::Process(const int16_t* block, size_t frames, std::vector<int16_t>* output) {
    size_t at = 0;
    for (;;) {
        size_t used = 0;
        size_t made = 0;
        const int16_t* from = block == nullptr ? nullptr : block + at * m_nChannels;
        if (soxr_process(m_pConverter.get(), from, frames - at, &used, m_floats.data(),
                         kOutputFrames, &made) != nullptr ||
            (made == 0 && used == 0)) {
            return;
        }
        at += used;
        for (size_t i = 0; i < made * m_nChannels; ++i) {
            output->push_back(m_Dither.Narrow(
                std::llrint(static_cast<double>(m_floats[i]) * CTriangularDither::kFullScale)));
        }
    }
}

} // namespace larkspin
