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

using codecs::Bytes;
using Samples = std::vector<int16_t>;

Bytes ToBytes(const Samples& samples) {
    Bytes bytes(samples.size() * 2);
    for (size_t i = 0; i < samples.size(); ++i) {
        bytes[2 * i] = static_cast<uint8_t>(samples[i]);
        bytes[2 * i + 1] = static_cast<uint8_t>(samples[i] >> 8);
    }
    return bytes;
}

Samples Resampled(const Samples& in, int rate, int channels, uint32_t most = UINT32_MAX) {
    CResampler stage(std::make_unique<MemoryReader>(
                         ToBytes(in), SourceFormat{.rate = rate, .channels = channels}, -1, most),
                     44100);
    EXPECT_EQ(stage.m_nLength, static_cast<int>(static_cast<double>(in.size() * 2) /
                                                (static_cast<double>(rate) / 44100)));
    EXPECT_EQ(stage.m_nSampleRate, 44100);
    EXPECT_EQ(stage.m_nChannels, channels);
    const Bytes bytes = codecs::Drain(stage);
    Samples out(bytes.size() / 2);
    for (size_t i = 0; i < out.size(); ++i) {
        out[i] = static_cast<int16_t>(bytes[2 * i] | bytes[2 * i + 1] << 8);
    }
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
    Samples both;
    for (const int16_t sample : left) {
        both.push_back(sample);
        both.push_back(static_cast<int16_t>(-(sample + 1) / 2));
    }
    const Samples mono = Resampled(left, GetParam(), 1);
    // A source that gives odd pieces must come out the same.
    const Samples stereo = Resampled(both, GetParam(), 2, 1001);
    ASSERT_EQ(stereo.size(), mono.size() * 2);
    for (size_t k = 0; k < mono.size(); ++k) {
        ASSERT_EQ(stereo[2 * k], mono[k]) << k;
    }
    Samples right(9000);
    for (size_t i = 0; i < right.size(); ++i) {
        right[i] = both[2 * i + 1];
    }
    const Samples alone = Resampled(right, GetParam(), 1);
    for (size_t k = 0; k < alone.size(); ++k) {
        ASSERT_EQ(stereo[2 * k + 1], alone[k]) << k;
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

TEST(Resampler, GoesAtAnyMoment) {
    for (uint32_t reads = 0; reads < 30; ++reads) {
        auto stage = std::make_unique<CResampler>(
            std::make_unique<MemoryReader>(Bytes(1 << 20, 1), SourceFormat{.rate = 22050}), 44100);
        // Two stages on two threads.
        CResampler outer(std::move(stage), 48000);
        uint8_t buffer[4000];
        for (uint32_t i = 0; i < reads; ++i) {
            outer.Read(buffer, sizeof buffer, nullptr);
        }
    }
}

// Power of `signal` around a tone of `frequency`, and of the tone, in dB.
struct Fit {
    double tone = 0;
    double rest = 0;
};

double Db(double power) {
    return 10 * std::log10(power + 1e-12);
}

Fit FitTone(const Samples& signal, double frequency) {
    double cosines = 0;
    double sines = 0;
    const size_t from = 200;
    const double count = static_cast<double>(signal.size() - from);
    const double step = 2 * std::numbers::pi * frequency / 44100;
    for (size_t k = from; k < signal.size(); ++k) {
        cosines += signal[k] * std::cos(step * static_cast<double>(k)) * 2 / count;
        sines += signal[k] * std::sin(step * static_cast<double>(k)) * 2 / count;
    }
    double rest = 0;
    for (size_t k = from; k < signal.size(); ++k) {
        const double angle = step * static_cast<double>(k);
        const double error = signal[k] - cosines * std::cos(angle) - sines * std::sin(angle);
        rest += error * error / count;
    }
    return {.tone = Db((cosines * cosines + sines * sines) / 2), .rest = Db(rest)};
}

Samples Tone(int rate, double frequency, double amplitude) {
    Samples samples(static_cast<size_t>(rate) * 2);
    for (size_t i = 0; i < samples.size(); ++i) {
        samples[i] =
            static_cast<int16_t>(std::lround(amplitude * std::sin(2 * std::numbers::pi * frequency *
                                                                  static_cast<double>(i) / rate)));
    }
    return samples;
}

constexpr double kAmplitude = 20000;

// The figures of docs/audio.md come from here.
TEST(ResamplerQuality, KeepsTonesClean) {
    const struct {
        int rate;
        double frequency;
        double leastSnr; // dB
    } cases[] = {
        {48000, 997, 80},  {48000, 10007, 87}, {48000, 16001, 85},
        {32000, 997, 78},  {32000, 10007, 59}, {22050, 997, 79},
        {22050, 5003, 87}, {96000, 997, 80},   {96000, 10007, 88},
    };
    for (const auto& c : cases) {
        const Fit fit =
            FitTone(Resampled(Tone(c.rate, c.frequency, kAmplitude), c.rate, 1), c.frequency);
        const double gain = fit.tone - Db(kAmplitude * kAmplitude / 2);
        std::printf("%6d Hz, tone of %5.0f Hz: gain %6.2f dB, SNR %5.1f dB\n", c.rate, c.frequency,
                    gain, fit.tone - fit.rest);
        EXPECT_GT(fit.tone - fit.rest, c.leastSnr);
    }
}

TEST(ResamplerQuality, RejectsWhatTheLowerRateCannotCarry) {
    const struct {
        int rate;
        double frequency;
        double leastRejection; // dB
    } cases[] = {{48000, 23000, 11}, {48000, 23800, 17}, {96000, 26000, 21},
                 {96000, 30000, 63}, {96000, 40000, 86}, {192000, 60000, 84}};
    for (const auto& c : cases) {
        const Samples out = Resampled(Tone(c.rate, c.frequency, kAmplitude), c.rate, 1);
        double power = 0;
        for (size_t k = 200; k < out.size(); ++k) {
            power += static_cast<double>(out[k]) * out[k] / static_cast<double>(out.size() - 200);
        }
        const double rejection = Db(kAmplitude * kAmplitude / 2) - Db(power);
        std::printf("%6d Hz, tone of %5.0f Hz: rejected by %5.1f dB\n", c.rate, c.frequency,
                    rejection);
        EXPECT_GT(rejection, c.leastRejection);
    }
}

// The sweep's own formula is the ideal resampler: no filter, no blocks. A click anywhere shows as
// a peak of the error.
TEST(ResamplerQuality, FollowsASweep) {
    const struct {
        int rate;
        double to;
        double leastSnr; // dB
        double mostError;
    } cases[] = {
        {48000, 15000, 82, 6}, {32000, 10000, 64, 40}, {22050, 7000, 85, 6}, {96000, 12000, 77, 8}};
    for (const auto& c : cases) {
        constexpr double kSeconds = 4;
        const auto sweep = [&](double t) {
            return kAmplitude *
                   std::sin(2 * std::numbers::pi * (20 * t + (c.to - 20) * t * t / (2 * kSeconds)));
        };
        Samples in(static_cast<size_t>(c.rate * kSeconds));
        for (size_t i = 0; i < in.size(); ++i) {
            in[i] = static_cast<int16_t>(std::lround(sweep(static_cast<double>(i) / c.rate)));
        }
        const Samples out = Resampled(in, c.rate, 1);
        double power = 0;
        double peak = 0;
        for (size_t k = 200; k < out.size(); ++k) {
            const double error = out[k] - sweep(static_cast<double>(k) / 44100);
            power += error * error / static_cast<double>(out.size() - 200);
            peak = std::max(peak, std::fabs(error));
        }
        const double snr = Db(kAmplitude * kAmplitude / 2) - Db(power);
        std::printf("%6d Hz, sweep of 20 to %5.0f Hz: SNR %5.1f dB, largest error %.1f\n", c.rate,
                    c.to, snr, peak);
        EXPECT_GT(snr, c.leastSnr);
        EXPECT_LT(peak, c.mostError);
    }
}

} // namespace

} // namespace larkspin
