// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// make_ape FILE FRAMES [CHANNELS BITS RATE]: a Monkey's Audio file (format 3.99, compression level
// "fast") of the tests' tones and noise, since no free encoder for the format is to be had. It made
// the files of tests/audio/ape, and makes long ones for audio_bench.sh. Without a form the file is
// stereo of 16 bits at 44,100 Hz; it takes one or two channels of 8, 16 or 24 bits.

#include "audio/codec_files.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <span>

namespace larkspin::codecs {

namespace {

constexpr uint32_t kDescriptorBytes = 52;
constexpr uint32_t kHeaderBytes = 24;
constexpr uint32_t kFormatVersion = 3990;
constexpr uint32_t kFastLevel = 1000;
constexpr uint32_t kNoWavHeaderStored = 32;
constexpr uint32_t kBlocksPerFrame = 9216;

// The range coder of the format: 31 bits of state, of which a byte leaves whenever the range has
// shrunk to 23 bits or fewer.
class RangeCoder {
  public:
    // Narrows the range to `width` parts from `start` on, of `total` parts.
    void Encode(uint32_t start, uint32_t width, uint32_t total) {
        while (m_range <= 1U << 23) {
            PutByte();
            m_range <<= 8;
        }
        const uint32_t unit = m_range / total;
        m_low += unit * start;
        m_range = unit * width;
        if (m_low >> 31 != 0) {
            m_low &= 0x7FFFFFFF;
            for (auto byte = m_bytes.rbegin(); ++*byte == 0; ++byte) {
            }
        }
    }
    Bytes Finish() {
        for (int i = 0; i < 8; ++i) {
            PutByte();
        }
        return m_bytes;
    }

  private:
    void PutByte() {
        m_bytes.push_back(static_cast<uint8_t>(m_low >> 23));
        m_low = m_low << 8 & 0x7FFFFFFF;
    }

    uint32_t m_low = 0;
    uint32_t m_range = 1U << 31;
    Bytes m_bytes = {0}; // a decoder drops the first byte
};

// One channel's adaptive division of a value into a rare "overflow" and an even rest.
class ValueCoder {
  public:
    void Encode(int32_t value, RangeCoder* coder) {
        const uint32_t x =
            value > 0 ? 2 * static_cast<uint32_t>(value) - 1 : 2 * static_cast<uint32_t>(-value);
        const uint32_t pivot = std::max(m_sum >> 5, 1U);
        EncodeOverflow(x / pivot, coder);
        EncodeRest(x % pivot, pivot, coder);
        m_sum += (x + 1) / 2 - ((m_sum + 16) >> 5);
    }

  private:
    static void EncodeOverflow(uint32_t overflow, RangeCoder* coder) {
        // Where each symbol begins, of 65536 parts; those behind the table have one part each, the
        // last of them is the escape.
        constexpr std::array<uint32_t, 22> kStarts = {
            0,     19578, 36160, 48417, 56323, 60899, 63265, 64435, 64971, 65232, 65351,
            65416, 65447, 65466, 65476, 65482, 65485, 65488, 65490, 65491, 65492, 65493};
        constexpr uint32_t kEscape = 63;
        constexpr uint32_t kFirstOfTail = 65472;
        constexpr uint32_t kParts = 65536;
        if (overflow < kStarts.size() - 1) {
            coder->Encode(kStarts[overflow], kStarts[overflow + 1] - kStarts[overflow], kParts);
        } else {
            coder->Encode(kFirstOfTail + std::min(overflow, kEscape), 1, kParts);
        }
        if (overflow >= kEscape) {
            coder->Encode(overflow >> 16, 1, kParts);
            coder->Encode(overflow & 0xFFFF, 1, kParts);
        }
    }
    static void EncodeRest(uint32_t rest, uint32_t pivot, RangeCoder* coder) {
        int lowBits = 0;
        while (pivot >> lowBits > 0xFFFF) {
            ++lowBits;
        }
        if (lowBits == 0) {
            coder->Encode(rest, 1, pivot);
            return;
        }
        coder->Encode(rest >> lowBits, 1, (pivot >> lowBits) + 1);
        coder->Encode(rest & ((1U << lowBits) - 1), 1, 1U << lowBits);
    }

    uint32_t m_sum = 1U << 14;
};

int32_t Sign(int32_t value) {
    return (value > 0) - (value < 0);
}

// A short adaptive filter over a value, its first difference and the differences before that.
template <size_t taps>
class Adaptive {
  public:
    Adaptive() = default;
    explicit Adaptive(const std::array<int32_t, taps>& weights) : m_weights(weights) {}

    int32_t Predict(int32_t value) {
        std::copy_backward(m_history.begin() + 1, m_history.end() - 1, m_history.end());
        m_history[1] = value - m_history[0];
        m_history[0] = value;
        // 24-bit sound runs over; the format means the sum modulo 2^32.
        uint32_t sum = 0;
        for (size_t i = 0; i < taps; ++i) {
            sum += static_cast<uint32_t>(m_history[i]) * static_cast<uint32_t>(m_weights[i]);
        }
        return static_cast<int32_t>(sum);
    }
    void Adapt(int32_t residual) {
        for (size_t i = 0; i < taps; ++i) {
            m_weights[i] += Sign(m_history[i]) * Sign(residual);
        }
    }

  private:
    std::array<int32_t, taps> m_weights = {};
    std::array<int32_t, taps> m_history = {};
};

constexpr std::array<int32_t, 4> kFirstWeights = {360, 317, -109, 98};

int32_t Decayed(int32_t value) {
    return static_cast<int32_t>(int64_t{value} * 31 >> 5);
}

// What is left of one channel once its own past, and the other channel's for stereo, is taken out.
class Predictor {
  public:
    // `other` is the newest value of the other channel.
    int32_t Residual(int32_t value, int32_t other) {
        const int32_t own = m_own.Predict(m_last);
        const int32_t across = m_across.Predict(other - Decayed(m_otherBefore));
        m_otherBefore = other;
        m_last = value - Decayed(m_before);
        m_before = value;
        const int32_t residual = m_last - ((own + (across >> 1)) >> 10);
        m_own.Adapt(residual);
        m_across.Adapt(residual);
        return residual;
    }

  private:
    Adaptive<4> m_own{kFirstWeights};
    Adaptive<5> m_across;
    int32_t m_last = 0;
    int32_t m_before = 0;
    int32_t m_otherBefore = 0;
};

// Of stereo sound, the difference of the channels comes first, then their middle.
Bytes EncodeSamples(std::span<const int32_t> samples, int channels) {
    RangeCoder coder;
    ValueCoder values;
    ValueCoder sideValues;
    Predictor predictor;
    Predictor sidePredictor;
    int32_t middle = 0;
    for (size_t i = 0; i < samples.size(); i += static_cast<size_t>(channels)) {
        int32_t side = 0;
        if (channels == 2) {
            side = samples[i + 1] - samples[i];
            sideValues.Encode(sidePredictor.Residual(side, middle), &coder);
        }
        middle = samples[i] + side / 2;
        values.Encode(predictor.Residual(middle, side), &coder);
    }
    return coder.Finish();
}

// The frame's check is left out (0): libavcodec does not look at it.
Bytes EncodeFrame(std::span<const int32_t> samples, int channels) {
    Bytes frame = Bytes(4) + EncodeSamples(samples, channels);
    frame.resize((frame.size() + 3) / 4 * 4);
    // The coded bytes stand in the file as little-endian words.
    for (size_t i = 0; i < frame.size(); i += 4) {
        std::reverse(frame.begin() + static_cast<ptrdiff_t>(i),
                     frame.begin() + static_cast<ptrdiff_t>(i) + 4);
    }
    return frame;
}

Bytes WriteApe(const Sound& sound) {
    const size_t perFrame = size_t{kBlocksPerFrame} * static_cast<size_t>(sound.channels);
    std::vector<Bytes> frames;
    uint32_t audioBytes = 0;
    uint32_t lastFrameSamples = 0;
    for (size_t at = 0; at < sound.samples.size(); at += perFrame) {
        lastFrameSamples = static_cast<uint32_t>(std::min(perFrame, sound.samples.size() - at));
        frames.push_back(
            EncodeFrame(std::span(sound.samples).subspan(at, lastFrameSamples), sound.channels));
        audioBytes += static_cast<uint32_t>(frames.back().size());
    }

    const auto channels = static_cast<uint32_t>(sound.channels);
    const auto frameCount = static_cast<uint32_t>(frames.size());
    const Bytes descriptor = Text("MAC ") + Le32(kFormatVersion) + Le32(kDescriptorBytes) +
                             Le32(kHeaderBytes) + Le32(frameCount * 4) + Le32(0) +
                             Le32(audioBytes) + Bytes(24);
    const Bytes header = Le32(kFastLevel | kNoWavHeaderStored << 16) + Le32(kBlocksPerFrame) +
                         Le32(lastFrameSamples / channels) + Le32(frameCount) +
                         Le32(static_cast<uint32_t>(sound.bits) | channels << 16) +
                         Le32(static_cast<uint32_t>(sound.rate));
    Bytes file = descriptor + header;
    uint32_t at = kDescriptorBytes + kHeaderBytes + frameCount * 4;
    for (const Bytes& frame : frames) {
        file = file + Le32(at);
        at += static_cast<uint32_t>(frame.size());
    }
    for (const Bytes& frame : frames) {
        file.insert(file.end(), frame.begin(), frame.end());
    }
    return file;
}

} // namespace

} // namespace larkspin::codecs

int main(int argc, char** argv) {
    using namespace larkspin::codecs;
    if (argc != 3 && argc != 6) {
        std::fprintf(stderr, "usage: make_ape FILE FRAMES [CHANNELS BITS RATE]\n");
        return 2;
    }
    Sound form;
    if (argc == 6) {
        form.channels = std::atoi(argv[3]);
        form.bits = std::atoi(argv[4]);
        form.rate = std::atoi(argv[5]);
    }
    const size_t frames = std::strtoul(argv[2], nullptr, 10);
    larkspin::WriteFileBytes(argv[1], WriteApe(MakeTones(frames, form)));
    return 0;
}
