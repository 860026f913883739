#include "audio/stages/resampler.h"

#include "audio/codec_files.h"
#include "audio/memory_reader.h"

#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <numeric>
#include <random>

namespace larkspin {

namespace {

using namespace codecs;
using Samples = std::vector<int16_t>;

Samples Resampled(const Samples& in, int rate, int channels, uint32_t most = UINT32_MAX) {
    CResampler stage(
        std::make_unique<MemoryReader>(PackSamples({in.begin(), in.end()}, 16),
                                       SourceFormat{.rate = rate, .channels = channels}, -1, most),
        44100);
    EXPECT_EQ(stage.m_nLength, static_cast<int>(static_cast<double>(in.size() * 2) /
                                                (static_cast<double>(rate) / 44100)));
    EXPECT_EQ(stage.m_nSampleRate, 44100);
    EXPECT_EQ(stage.m_nChannels, channels);
    return ToSamples(Drain(stage));
}

Samples Noise(size_t count, int amplitude) {
    std::mt19937 random(5);
    Samples samples(count);
    for (int16_t& sample : samples) {
        sample = static_cast<int16_t>(static_cast<int>(random() % (2 * amplitude + 1)) - amplitude);
    }
    return samples;
}

double Window(double x, double cutOff, double length) {
    constexpr double kPi = std::numbers::pi;
    x = std::clamp(x / length, 0.0, 1.0);
    if (std::fabs(x - 0.5) < 1e-9) {
        return cutOff;
    }
    return (0.42 - 0.5 * std::cos(2 * kPi * x) + 0.08 * std::cos(4 * kPi * x)) *
           std::sin(length * kPi * cutOff * (x - 0.5)) / (kPi * length * (x - 0.5));
}

// One channel's output by the definition of a windowed sinc interpolator alone: no blocks, no
// table of filters, the nearest of 2 * phases + 1 positions between two samples.
double Interpolated(const Samples& in, int rate, double time) {
    const double ratio = rate / 44100.0;
    const int length = rate % 44100 == 0 ? 32 : 31;
    const int phases = std::min(44100 / std::gcd(rate, 44100), 320);
    const double whole = std::floor(time);
    const double centre = 0.5 * (length % 2);
    const double phase = std::floor((time - whole - centre) * 2 * phases + phases + 0.5);
    const double offset = (phase - phases) / (2.0 * phases);
    double sum = 0;
    double gain = 0;
    for (int i = 0; i <= length; ++i) {
        const double weight = Window(i - offset, std::min(1.0, 1 / ratio), length);
        const auto at = static_cast<std::ptrdiff_t>(whole) + i - length / 2;
        gain += weight;
        if (at >= 0 && at < static_cast<std::ptrdiff_t>(in.size())) {
            sum += weight * in[static_cast<size_t>(at)];
        }
    }
    return sum / gain;
}

class Rates : public testing::TestWithParam<int> {};

TEST_P(Rates, FollowTheDefinitionAcrossAllBlocks) {
    const Samples in = Noise(20000, 20000);
    const Samples out = Resampled(in, GetParam(), 1);
    const double ratio = GetParam() / 44100.0;
    // All but about 16 input samples have come out.
    EXPECT_NEAR(static_cast<double>(out.size()), (20000 - 16) / ratio, 2 + 18 / ratio);
    size_t wrong = 0;
    for (size_t k = 0; k < out.size(); ++k) {
        // A time on the border of two phases may round either way.
        const double time = static_cast<double>(k) * ratio;
        double distance = 1e9;
        for (const double nudge : {0.0, -1e-9, 1e-9}) {
            const double ideal =
                std::clamp(Interpolated(in, GetParam(), time + nudge), -32768.0, 32767.0);
            distance = std::min(distance, std::fabs(std::trunc(ideal) - out[k]));
        }
        wrong += distance > 1;
    }
    EXPECT_EQ(wrong, 0U);
}

TEST_P(Rates, KeepConstantsAndSilence) {
    for (const int value : {0, 1, 1000, 1024, 12345, 32767, -1, -1024, -32768}) {
        const Samples out = Resampled(Samples(6000, static_cast<int16_t>(value)), GetParam(), 1);
        // The silence before the first sample lies under the first filters.
        for (size_t k = 60000 / static_cast<size_t>(GetParam()) * 32 + 64; k < out.size(); ++k) {
            ASSERT_EQ(out[k], value) << k;
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
        ASSERT_TRUE(stereo[2 * k] == leftAlone[k] && stereo[2 * k + 1] == rightAlone[k]) << k;
    }
}

// Whole and nearly whole ratios, capped and small tables, the ends of what is accepted.
INSTANTIATE_TEST_SUITE_P(All, Rates,
                         testing::Values(2205, 8000, 11025, 22050, 32000, 44000, 48000, 88196,
                                         88200, 88201, 96000, 132301, 192000, 768000));

TEST(Resampler, CopiesAlmostEqualRates) {
    const Samples in = Noise(5000, 32767);
    for (const int rate : {44096, 44103, 44104}) {
        EXPECT_EQ(Resampled(in, rate, 2), in) << rate;
    }
    EXPECT_NE(Resampled(in, 44105, 2), in);
}

TEST(Resampler, ClipsWhatOvershoots) {
    Samples square;
    for (int i = 0; i < 20000; ++i) {
        square.push_back(i / 40 % 2 == 0 ? int16_t{32767} : int16_t{-32768});
    }
    const Samples out = Resampled(square, 48000, 1);
    size_t most = 0;
    for (size_t k = 100; k + 1 < out.size(); ++k) {
        most += out[k] == 32767;
        // Wrapped samples would leap from one end to the other and back.
        ASSERT_FALSE(out[k - 1] > 30000 && out[k] < -30000 && out[k + 1] > 30000) << k;
    }
    EXPECT_GT(most, 1000U);
}

TEST(Resampler, TakesNoOutputFromAnEmptyOrTinySource) {
    EXPECT_TRUE(Resampled({}, 48000, 2).empty());
    EXPECT_TRUE(Resampled({1}, 48000, 2).empty()); // half a frame
    EXPECT_TRUE(Resampled(Samples(10, 9), 768000, 1).empty());
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
        {96000, 997, 997, 88, 4},
        {96000, 10007, 10007, 71, 8},
        {96000, 20, 12000, 77, 8},
        {48000, 23000, 23000, 11, kAnyError},
        {48000, 23800, 23800, 17, kAnyError},
        {96000, 26000, 26000, 21, kAnyError},
        {96000, 30000, 30000, 63, 20},
        {96000, 40000, 40000, 86, 4},
        {96000, 30000, 47000, 79, 20},
        {192000, 60000, 60000, 84, 4},
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
        for (size_t k = 200; k < out.size(); ++k) {
            const double ideal = c.from > 22050 ? 0 : signal(static_cast<double>(k) / 44100);
            power += std::pow(out[k] - ideal, 2) / static_cast<double>(out.size() - 200);
            peak = std::max(peak, std::fabs(out[k] - ideal));
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
