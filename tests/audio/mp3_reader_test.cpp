#include "audio/readers/mp3_reader.h"

#include "audio/codec_files.h"
#include "support/memory_files.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <mad.h>
#include <memory>
#include <numbers>
#include <random>

namespace larkspin {

namespace {

using namespace codecs;

Bytes MakeMp3(const std::string& options, Sound form = {}, size_t frames = 100000) {
    return Encoded(".mp3", MakeTones(frames, std::move(form)), options);
}

// What libmad gives for the whole file in one buffer: the frames' count of bytes by their headers,
// and the first channel's samples in 28 fractional bits.
struct InOneBuffer {
    uint64_t headerBytes = 0; // with the channels of the last frame for all
    std::vector<mad_fixed_t> left;

    explicit InOneBuffer(const Bytes& file) {
        uint64_t samples = 0;
        ForEachFrame(file, [&](mad_stream* stream, mad_frame* frame) {
            if (mad_header_decode(&frame->header, stream) != 0) {
                return false;
            }
            samples += static_cast<uint64_t>(MAD_NSBSAMPLES(&frame->header)) * 32;
            headerBytes = samples * 2 * MAD_NCHANNELS(&frame->header);
            return true;
        });
        const auto synth = std::make_unique<mad_synth>();
        mad_synth_init(synth.get());
        ForEachFrame(file, [&](mad_stream* stream, mad_frame* frame) {
            if (mad_frame_decode(frame, stream) != 0) {
                return false;
            }
            mad_synth_frame(synth.get(), frame);
            const mad_pcm& pcm = synth->pcm;
            left.insert(left.end(), pcm.samples[0], pcm.samples[0] + pcm.length);
            return true;
        });
    }

  private:
    template <class Step>
    static void ForEachFrame(const Bytes& file, Step step) {
        mad_stream stream;
        mad_frame frame;
        mad_stream_init(&stream);
        mad_frame_init(&frame);
        mad_stream_buffer(&stream, file.data(), file.size());
        while (step(&stream, &frame) || MAD_RECOVERABLE(stream.error)) {
        }
        mad_frame_finish(&frame);
        mad_stream_finish(&stream);
    }
};

Bytes Noise(size_t count, uint32_t seed) {
    std::mt19937 random(seed);
    Bytes bytes(count);
    for (uint8_t& byte : bytes) {
        byte = static_cast<uint8_t>(random());
    }
    return bytes;
}

// The window that moves over the file must not be seen in the result, whatever lies at its edges.
TEST(Mp3Reader, GivesTheFramesOfTheWholeFile) {
    const Bytes cbr = MakeMp3("-b 128");
    Bytes quiet = Noise(200000, 2); // nothing in it looks like a frame
    for (uint8_t& byte : quiet) {
        byte &= 0x7F;
    }
    const struct {
        const char* what;
        Bytes file;
    } cases[] = {
        {"constant rate", cbr},
        {"variable rate", MakeMp3("-V 2")},
        {"mono", MakeMp3("-b 64", {.channels = 1})},
        {"22.05 kHz", MakeMp3("-b 64", {.rate = 22050})},
        {"8 kHz mono", MakeMp3("-b 16", {.channels = 1, .rate = 8000})},
        {"free format", MakeMp3("--freeformat -b 400")},
        {"layer II", Capture("ffmpeg -v error -f lavfi -i sine=500:d=2:r=48000 -ac 2 -f mp2 -")},
        {"with tags", MakeMp3("-b 192 --add-id3v2 --tt Name --id3v1-only")},
        {"junk in front", Noise(100000, 1) + cbr},
        {"junk between", cbr + quiet + cbr + Bytes(70000, 0xFF) + cbr + Bytes(70000, 0)},
        {"cut in a frame", Bytes(cbr.begin(), cbr.end() - 777)},
        {"a frame of another rate last", cbr + MakeMp3("-b 64", {.rate = 22050})},
        {"mono in the middle", cbr + MakeMp3("-b 64", {.channels = 1}) + cbr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const InOneBuffer expected(c.file);
        MemoryFiles files(c.file);
        files.m_nMost = 10007;
        CMP3Reader reader(u"/a.mp3", files);
        EXPECT_EQ(static_cast<uint64_t>(reader.m_nLength), expected.headerBytes);
        const Bytes pcm = Drain(reader);
        ASSERT_EQ(pcm.size(), expected.left.size() * 2 * static_cast<size_t>(reader.m_nChannels));
        const std::optional<AudioProbe> probe = ProbeMp3(u"/a.mp3", files);
        ASSERT_TRUE(probe.has_value());
        EXPECT_EQ(probe->bytes, expected.headerBytes);
        EXPECT_EQ(probe->rate, reader.m_nSampleRate);
        EXPECT_EQ(probe->channels, reader.m_nChannels);
        const std::vector<int16_t> samples = ToSamples(pcm);
        double worst = 0;
        for (size_t i = 0; i < expected.left.size(); ++i) {
            const int16_t sample = samples[i * static_cast<size_t>(reader.m_nChannels)];
            worst = std::max(worst, std::fabs(sample - expected.left[i] / 8192.0));
        }
        EXPECT_LT(worst, 6) << "beyond what the dither can do";
    }
}

// One channel count from the first frame to the last, whatever the frames have.
TEST(Mp3Reader, BringsFramesToTheChannelsOfTheLast) {
    constexpr int kRate = 44100;
    // Two seconds of a tone at two levels, so that a lost or swapped channel shows.
    Sound sound;
    for (int i = 0; i < 2 * kRate; ++i) {
        const double tone = 32768 * std::sin(2 * std::numbers::pi * i / 100);
        sound.samples.push_back(static_cast<int32_t>(0.4 * tone));
        sound.samples.push_back(static_cast<int32_t>(0.2 * tone));
    }
    const Bytes stereo = Encoded(".mp3", sound, "-t -b 128 -m s");
    const Bytes mono = Encoded(".mp3", sound, "-t -b 128 -m m"); // of the mean level, 0.3
    const struct {
        const char* what;
        Bytes file;
        size_t channels;
        double levels[2][2]; // in both halves of the file, left and right
    } cases[] = {
        {"mono, then stereo", mono + stereo, 2, {{0.3, 0.3}, {0.4, 0.2}}},
        {"stereo, then mono", stereo + mono, 1, {{0.3}, {0.3}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        MemoryFiles files(c.file);
        CMP3Reader reader(u"/a.mp3", files);
        ASSERT_EQ(reader.m_nChannels, static_cast<int>(c.channels));
        const std::vector<int16_t> samples = ToSamples(Drain(reader));
        EXPECT_EQ(samples.size() * 2, static_cast<size_t>(reader.m_nLength));
        for (size_t level = 0; level < 2 * c.channels; ++level) {
            const size_t half = level / c.channels;
            const size_t channel = level % c.channels;
            int peak = 0;
            for (size_t i = 0; i < kRate; ++i) { // the second in the middle of the half
                const size_t frame = 2 * half * kRate + kRate / 2 + i;
                peak = std::max(peak, std::abs(int{samples[frame * c.channels + channel]}));
            }
            EXPECT_NEAR(peak / 32768.0, c.levels[half][channel], 0.02) << half << channel;
        }
    }
}

// Noise looks like headers of frames in free format, whose length is told by the next header.
TEST(Mp3Reader, FindsTheFramesBehindNoise) {
    const Bytes cbr = MakeMp3("-b 128");
    for (uint32_t seed = 0; seed < 20; ++seed) {
        MemoryFiles one(cbr);
        MemoryFiles two(cbr + Noise(150000, seed) + cbr);
        const std::optional<AudioProbe> alone = ProbeMp3(u"/a.mp3", one);
        const std::optional<AudioProbe> both = ProbeMp3(u"/a.mp3", two);
        ASSERT_TRUE(alone && both);
        // Noise that poses as a long frame may swallow some frames behind it, but not all.
        EXPECT_GT(static_cast<double>(both->bytes), 1.2 * static_cast<double>(alone->bytes))
            << seed;
        CMP3Reader reader(u"/a.mp3", two);
        Drain(reader);
    }
}

TEST(Mp3Reader, RefusesWhatHasNoFrames) {
    const std::string parsing = "Error parsing MP3 file /music/a.mp3.";
    const std::pair<Bytes, std::string> cases[] = {
        {{}, "Cannot open /music/a.mp3."},
        {{1, 2, 3}, parsing},
        {Bytes(300000, 0), parsing},
        {Bytes(300000, 0xFF), parsing},
        {Bytes{'I', 'D', '3', 3, 0, 0, 0, 0, 7, 118} + Bytes(1014, 0), parsing}, // a tag alone
    };
    for (const auto& [file, text] : cases) {
        MemoryFiles files(file);
        EXPECT_EQ(FailureOf([&] { CMP3Reader reader(u"/music/a.mp3", files); }), text);
        EXPECT_FALSE(ProbeMp3(u"/music/a.mp3", files));
    }
    // A file of which a part can't be read is not taken for a shorter one.
    MemoryFiles failing(MakeMp3("-b 128"));
    failing.m_nMost = 4096;
    failing.m_nFailsAt = 20000;
    EXPECT_EQ(FailureOf([&] { CMP3Reader reader(u"/music/a.mp3", failing); }), parsing);
    const TempFolder folder;
    EXPECT_EQ(FailureOf([&] { CMP3Reader reader(ToWide(folder.Path())); }),
              "Cannot open " + folder.Path() + ".");
}

TEST(Mp3Reader, StaysNearAFloatDecoder) {
    const TempFolder folder;
    const std::string path = folder.Path() + "/a.mp3";
    WriteSound(path, MakeTones(400000), "-b 192");
    const Bytes floats = Capture("ffmpeg -v error -flags2 +skip_manual -i " + path + " -f f32le -");
    CMP3Reader reader(ToWide(path));
    const std::vector<int16_t> samples = ToSamples(Drain(reader));
    // libmad decodes the encoder's tag as a frame of silence, ffmpeg skips it.
    constexpr size_t kFrame = 2304;
    double signal = 0;
    double noise = 0;
    const size_t count = std::min(floats.size() / 4, samples.size() - kFrame);
    ASSERT_GT(count, 790000U);
    for (size_t i = 0; i < count; ++i) {
        float ideal = 0;
        std::memcpy(&ideal, &floats[i * 4], 4);
        signal += std::pow(ideal * 32768.0, 2);
        noise += std::pow(samples[i + kFrame] - ideal * 32768.0, 2);
    }
    const double snr = 10 * std::log10(signal / noise);
    std::printf("SNR %.1f dB, noise of %.2f steps\n", snr,
                std::sqrt(noise / static_cast<double>(count)));
    EXPECT_GT(snr, 70);
}

TEST(Mp3Dither, KeepsTheMeanAndShapesTheNoise) {
    for (const double level : {0.0, 0.25, 0.5, 1000.3, -7.75}) {
        CMp3Dither dither;
        double sum = 0;
        for (int i = 0; i < 100000; ++i) {
            const int16_t out = dither.Reduce(static_cast<int32_t>(std::lround(level * 8192)));
            ASSERT_NEAR(out, level, 5);
            sum += out;
        }
        EXPECT_NEAR(sum / 100000, level, 0.02) << level;
    }
}

TEST(Mp3Dither, FollowsItsArithmetic) {
    // The first steps from zeroed records, by hand: the random numbers are 0, 0x3C6EF35F and
    // 0x47502932, of which the low 13 bits count.
    CMp3Dither dither;
    // 0 + 4096 + 0x135F = 0x235F: one step, error -0x2000.
    EXPECT_EQ(dither.Reduce(0), 1);
    // -0x2000 + 4096 + 0x0932 - 0x135F = -0x1A2D: -1 step, error 0.
    EXPECT_EQ(dither.Reduce(0), -1);
}

TEST(Mp3Dither, ClipsTheEndsOfTheRange) {
    for (const int32_t sample : {INT32_MAX, INT32_MIN, 0x10000000, -0x10002000}) {
        CMp3Dither dither;
        for (int i = 0; i < 1000; ++i) {
            ASSERT_EQ(dither.Reduce(sample), sample > 0 ? 32767 : -32768);
        }
        // The overload leaves no error to make good.
        EXPECT_NEAR(dither.Reduce(0), 0, 5);
    }
}

} // namespace

} // namespace larkspin
