// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/stages/rate_converter.h"

#include <algorithm>
#include <array>
#include <limits>

namespace larkspin {

namespace {

// Samples kept before a block: a filter reaches back 32 from its block's start, and further where
// a block was too short for any output.
constexpr size_t kHistory = 64;

// The sums of one filter over the samples of each channel. The lanes keep the additions
// independent, so that a compiler can do several at once.
template <size_t kChannels>
std::array<double, kChannels>
Dot(const float* filter, const std::array<const double*, kChannels>& samples, size_t count) {
    constexpr size_t kLanes = CSincFilters::kLanes;
    double sums[kChannels][kLanes] = {};
    for (size_t i = 0; i < count; i += kLanes) {
        for (size_t channel = 0; channel < kChannels; ++channel) {
            for (size_t lane = 0; lane < kLanes; ++lane) {
                sums[channel][lane] += samples[channel][i + lane] * filter[i + lane];
            }
        }
    }
    std::array<double, kChannels> result;
    for (size_t channel = 0; channel < kChannels; ++channel) {
        const double* sum = sums[channel];
        result[channel] = (sum[0] + sum[1]) + (sum[2] + sum[3]);
    }
    return result;
}

// floor, without the library call that it is on the most basic processors.
int FloorToInt(double value) {
    const int whole = static_cast<int>(value);
    return whole - (value < whole ? 1 : 0);
}

int16_t ToSample(float value) {
    constexpr float kMost = std::numeric_limits<int16_t>::max();
    constexpr float kLeast = std::numeric_limits<int16_t>::min();
    return static_cast<int16_t>(std::clamp(value, kLeast, kMost));
}

} // namespace

CRateConverter::CRateConverter(int32_t sourceRate, int32_t targetRate, int channels)
    : m_dRatio(static_cast<double>(sourceRate) / targetRate), m_Filters(sourceRate, targetRate) {
    // The zeros after a filter's taps may be applied to samples after the block.
    const size_t size = kHistory + kBlockFrames + CSincFilters::kLanes;
    m_Window.assign(static_cast<size_t>(channels), std::vector<double>(size, 0.0));
}

void CRateConverter::Convert(std::span<const int16_t> block, std::vector<int16_t>* output) {
    const size_t channels = m_Window.size();
    const size_t frames = block.size() / channels;
    for (size_t channel = 0; channel < channels; ++channel) {
        double* to = m_Window[channel].data() + kHistory;
        for (size_t i = 0; i < frames; ++i) {
            to[i] = block[i * channels + channel];
        }
    }
    // There may be one frame more than the ratio gives, if the previous block left one due.
    output->resize((static_cast<size_t>(static_cast<double>(frames) / m_dRatio) + 2) * channels);
    size_t made = 0;
    for (size_t at = 0; at < frames;) {
        int16_t* to = output->data() + made * channels;
        at += channels == 2 ? ResampleBlock<2>(at, frames - at, to, &made)
                            : ResampleBlock<1>(at, frames - at, to, &made);
    }
    output->resize(made * channels);
    for (auto& window : m_Window) {
        std::copy_n(window.begin() + static_cast<std::ptrdiff_t>(frames), kHistory, window.begin());
    }
}

// Makes output of the `frames` input frames from `at` on, as much as they should give or as they
// have the filters covered for, adds its frames to *total and returns the number of input frames
// that are done with.
template <size_t kChannels>
size_t CRateConverter::ResampleBlock(size_t at, size_t frames, int16_t* to, size_t* total) {
    const int filterLen = m_Filters.FilterLen();
    const int half = filterLen / 2;
    const double centre = 0.5 * (filterLen % 2);
    const double phases = m_Filters.Phases();
    const auto desired = static_cast<size_t>(static_cast<double>(frames) / m_dRatio);

    size_t made = 0;
    int j = 0; // the input sample at or before the time of the output sample
    for (; made < desired; ++made) {
        const double time = static_cast<double>(made) * m_dRatio - m_dInputTime;
        j = FloorToInt(time);
        if (filterLen + j - half >= static_cast<int>(frames)) {
            break;
        }
        const double offset = time - (j + centre);
        const float* filter = m_Filters.Filter(FloorToInt(offset * 2 * phases + phases + 0.5));
        const auto first = static_cast<std::ptrdiff_t>(kHistory + at) + j - half;
        std::array<const double*, kChannels> samples;
        for (size_t channel = 0; channel < kChannels; ++channel) {
            samples[channel] = m_Window[channel].data() + first;
        }
        for (const double sum : Dot<kChannels>(filter, samples, m_Filters.Stride())) {
            *to++ = ToSample(static_cast<float>(sum));
        }
    }
    *total += made;
    const auto used = std::min(frames, static_cast<size_t>(filterLen + j - half));
    m_dInputTime += static_cast<double>(used) - static_cast<double>(made) * m_dRatio;
    return used;
}

} // namespace larkspin
