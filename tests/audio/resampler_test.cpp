// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/stages/resampler.h"

#include "audio/codec_files.h"
#include "audio/memory_reader.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <numbers>
#include <random>

namespace larkspin {

namespace {

using namespace codecs;
using Samples = std::vector<int16_t>;

Samples Resampled(const Samples& in, int rate, int channels, uint32_t most = UINT32_MAX) {
    CResampler stage(
        std::make_unique<MemoryReader>(PackSamples({in.begin(), in.end()}, 16),
                                       SourceFormat{.rate = rate, .channels = channels}, most),
        44100);
    EXPECT_NEAR(stage.m_nLength, static_cast<double>(in.size()) * 2 * 44100 / rate, 1);
    const Samples out = ToSamples(Drain(stage));
    // All but about 16 input frames have come out.
    const double ratio = rate / 44100.0;
    const double covered = std::max(0.0, static_cast<double>(in.size()) / channels - 16) / ratio;
    EXPECT_NEAR(static_cast<double>(out.size()) / channels, covered, 2 + 18 / ratio);
    return out;
}

Samples Noise(size_t count, int amplitude) {
    std::mt19937 random(5);
    Samples samples(count);
    for (int16_t& sample : samples) {
        sample = static_cast<int16_t>(static_cast<int>(random() % (2 * amplitude + 1)) - amplitude);
    }
    return samples;
}

class Rates : public testing::TestWithParam<int> {
  protected:
    // Above 48 kHz there is dither, of one step to each side.
    const int m_dither = GetParam() > 48000 ? 1 : 0;
};

TEST_P(Rates, KeepConstantsAndSilence) {
    for (const int value : {0, 1, 1000, 1024, 12345, 32767, -1, -1024, -32768}) {
        const auto rate = static_cast<size_t>(GetParam());
        const Samples in(6000 + 6000 * (rate / 44100), static_cast<int16_t>(value));
        const Samples out = Resampled(in, GetParam(), 1);
        // The silence around the sound lies under the first filters, and for steep ones the last.
        const size_t end = out.size() - (m_dither == 0 ? 0 : 500);
        for (size_t k = m_dither == 0 ? 60000 / rate * 32 + 64 : 500; k < end; ++k) {
            ASSERT_NEAR(out[k], value, m_dither) << k;
        }
    }
}

TEST_P(Rates, KeepChannelsInStepAndApart) {
    const Samples left = Noise(9000, 30000);
    Samples right;
    Samples both;
    for (const int16_t sample : left) {
        right.push_back(static_cast<int16_t>(-(sample + 1) / 2));
        both.insert(both.end(), {sample, right.back()});
    }
    const Samples leftAlone = Resampled(left, GetParam(), 1);
    const Samples rightAlone = Resampled(right, GetParam(), 1);
    // A source that gives odd pieces must come out the same.
    const Samples stereo = Resampled(both, GetParam(), 2, 1001);
    ASSERT_EQ(stereo.size(), leftAlone.size() * 2);
    for (size_t k = 0; k < leftAlone.size(); ++k) {
        ASSERT_NEAR(stereo[2 * k], leftAlone[k], 2 * m_dither) << k;
        ASSERT_NEAR(stereo[2 * k + 1], rightAlone[k], 2 * m_dither) << k;
    }
}

// Whole and nearly whole ratios, capped and small tables, the ends of what is accepted.
INSTANTIATE_TEST_SUITE_P(All, Rates,
                         testing::Values(2205, 8000, 11025, 22050, 32000, 44000, 48000, 88200,
                                         96000, 768000));

TEST(Resampler, CopiesAlmostEqualRates) {
    const Samples in = Noise(5000, 32767);
    for (const int rate : {44096, 44103, 44104}) {
        EXPECT_EQ(Resampled(in, rate, 2), in) << rate;
    }
    for (const int rate : {44095, 44105}) {
        EXPECT_NE(Resampled(in, rate, 2), in) << rate;
    }
}

TEST(Resampler, ClipsWhatOvershoots) {
    Samples square(20000);
    for (size_t i = 0; i < square.size(); ++i) {
        square[i] = i / 40 % 2 == 0 ? int16_t{32767} : int16_t{-32768};
    }
    const Samples out = Resampled(square, 48000, 1);
    EXPECT_GT(std::count(out.begin(), out.end(), 32767), 1000);
    int changes = 0; // of the sign; a wrapped sample would make two more
    for (size_t k = 100; k < out.size(); ++k) {
        changes += (out[k - 1] < 0) != (out[k] < 0);
    }
    EXPECT_NEAR(changes, 500, 5); // one every 40 of 20,000 samples
}

TEST(Resampler, TakesNoOutputFromAnEmptyOrTinySource) {
    EXPECT_TRUE(Resampled({}, 48000, 2).empty());
    EXPECT_TRUE(Resampled({1}, 48000, 2).empty()); // half a frame
    EXPECT_TRUE(Resampled(Samples(10, 9), 48000, 1).empty());
    EXPECT_LE(Resampled(Samples(10, 9), 768000, 1).size(), 1U);
}

// The figures of docs/audio.md come from here. A signal's own formula is the ideal resampler: no
// filter, no blocks; above 22,050 Hz it leaves silence, and the SNR is the rejection. A click
// anywhere shows as a peak of the error.
TEST(Resampler, ComesNearAnIdealOne) {
    constexpr double kSeconds = 4;
    constexpr double kAmplitude = 20000;
    constexpr double kAnyError = 2 * kAmplitude;
    const struct {
        int rate;
        double from, to; // Hz, of a sweep or a tone
        double leastSnr; // dB
        double mostError;
    } cases[] = {
        {48000, 997, 997, 83, 4},
        {48000, 10007, 10007, 86, 4},
        {48000, 16001, 16001, 76, 6},
        {48000, 20, 15000, 82, 6},
        {32000, 997, 997, 78, 6},
        {32000, 10007, 10007, 59, 40},
        {32000, 20, 10000, 64, 40},
        {22050, 997, 997, 87, 4},
        {22050, 5003, 5003, 88, 4},
        {22050, 20, 7000, 85, 5},
        {88200, 20, 20000, 85, 4},
        {96000, 997, 997, 87, 4},
        {96000, 20, 20000, 74, 20},
        {192000, 20, 20000, 74, 20},
        {48000, 23000, 23000, 11, kAnyError},
        {48000, 23800, 23800, 17, kAnyError},
        {88200, 23000, 23000, 100, 4},
        {96000, 22100, 22100, 100, 4},
        {96000, 30000, 30000, 100, 4},
        {96000, 40000, 40000, 100, 4},
        {192000, 30000, 30000, 100, 4},
        {192000, 60000, 60000, 100, 4},
        // Whole and nearly whole ratios, capped and small tables, the ends of what is accepted.
        {2205, 100, 100, 85, 8},
        {8000, 1000, 1000, 67, 16},
        {11025, 1000, 1000, 85, 4},
        {44000, 10007, 10007, 61, 30},
        {768000, 997, 997, 85, 4},
    };
    for (const auto& c : cases) {
        const auto signal = [&](double t) {
            return kAmplitude * std::sin(2 * std::numbers::pi *
                                         (c.from * t + (c.to - c.from) * t * t / (2 * kSeconds)));
        };
        Samples in(static_cast<size_t>(c.rate * kSeconds));
        for (size_t i = 0; i < in.size(); ++i) {
            in[i] = static_cast<int16_t>(std::lround(signal(static_cast<double>(i) / c.rate)));
        }
        const Samples out = Resampled(in, c.rate, 1);
        double power = 0;
        double peak = 0;
        // A sound that begins at once rings in a steep filter.
        const bool steep = c.rate > 48000;
        const size_t end = out.size() - (steep ? 2000 : 0);
        const size_t begin = steep ? 2000 : 200;
        const auto count = static_cast<double>(end - begin);
        std::complex<double> alias = 0; // of the tone, by its frequency modulo the rate
        for (size_t k = begin; k < end; ++k) {
            const double time = static_cast<double>(k) / 44100;
            const double ideal = c.from > 22050 ? 0 : signal(time);
            power += std::pow(out[k] - ideal, 2) / count;
            peak = std::max(peak, std::fabs(out[k] - ideal));
            alias += std::polar(out[k] / count * 2, 2 * std::numbers::pi * c.from * time);
        }
        // Dither hides the rest of a tone that was filtered out.
        if (steep && c.from > 22050) {
            power = std::norm(alias) / 2;
        }
        const double snr = 10 * std::log10(kAmplitude * kAmplitude / 2 / power);
        std::printf("%6d Hz, %5.0f to %5.0f Hz: SNR %5.1f dB, largest error %.1f\n", c.rate, c.from,
                    c.to, snr, peak);
        EXPECT_GT(snr, c.leastSnr);
        EXPECT_LT(peak, c.mostError);
    }
}

} // namespace

} // namespace larkspin
