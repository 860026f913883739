#include "audio/stages/rate_converter.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace larkspin {

namespace {

// Samples kept before a block: a filter reaches back 32 from its block's start, and further where
// a block was too short for any output.
constexpr size_t kHistory = 64;

double Dot(const float* filter, const double* samples, size_t count) {
    constexpr size_t kLanes = CSincFilters::kLanes;
    std::array<double, kLanes> sums = {};
    for (size_t i = 0; i < count; i += kLanes) {
        for (size_t lane = 0; lane < kLanes; ++lane) {
            sums[lane] += samples[i + lane] * filter[i + lane];
        }
    }
    return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

int16_t ToSample(float value) {
    constexpr float kMost = std::numeric_limits<int16_t>::max();
    constexpr float kLeast = std::numeric_limits<int16_t>::min();
    return static_cast<int16_t>(std::clamp(value, kLeast, kMost));
}

} // namespace

CRateConverter::CRateConverter(int32_t sourceRate, int32_t targetRate, int channels)
    : m_dRatio(static_cast<double>(sourceRate) / targetRate), m_Filters(sourceRate, targetRate) {
    // The zeros behind a filter's taps may lie over samples behind the block.
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
    output->clear();
    for (size_t at = 0; at < frames;) {
        at += ResampleBlock(at, frames - at, output);
    }
    for (auto& window : m_Window) {
        std::copy_n(window.begin() + static_cast<std::ptrdiff_t>(frames), kHistory, window.begin());
    }
}

// Makes output of the `frames` input frames from `at` on, as much as they should give or as they
// have the filters covered for, and returns the number of frames that are done with.
size_t CRateConverter::ResampleBlock(size_t at, size_t frames, std::vector<int16_t>* output) {
    const int filterLen = m_Filters.FilterLen();
    const int half = filterLen / 2;
    const double centre = 0.5 * (filterLen % 2);
    const double phases = m_Filters.Phases();
    const auto desired = static_cast<size_t>(static_cast<double>(frames) / m_dRatio);

    size_t made = 0;
    int j = 0; // the input sample at or before the output sample's time
    for (; made < desired; ++made) {
        const double time = static_cast<double>(made) * m_dRatio - m_dInputTime;
        j = static_cast<int>(std::floor(time));
        const int end = filterLen + j - half;
        if (end >= static_cast<int>(frames)) {
            break;
        }
        const double offset = time - (j + centre);
        const float* filter =
            m_Filters.Filter(static_cast<int>(std::floor(offset * 2 * phases + phases + 0.5)));
        const size_t first = kHistory + at + static_cast<size_t>(end) - filterLen;
        for (const auto& window : m_Window) {
            const double sum = Dot(filter, window.data() + first, m_Filters.Stride());
            output->push_back(ToSample(static_cast<float>(sum)));
        }
    }
    const auto used = std::min(frames, static_cast<size_t>(filterLen + j - half));
    m_dInputTime += static_cast<double>(used) - static_cast<double>(made) * m_dRatio;
    return used;
}

} // namespace larkspin
