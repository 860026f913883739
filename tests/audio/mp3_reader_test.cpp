// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/readers/mp3_reader.h"

#include "audio/codec_files.h"
#include "support/memory_files.h"

#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <mad.h>
#include <memory>

namespace larkspin {

namespace {

using namespace codecs;

Bytes MakeMp3(const std::string& options, Sound form = {}, size_t frames = 100000) {
    return Encoded(".mp3", MakeTones(frames, std::move(form)), "-t " + options);
}

// What libmad gives for the whole file in one buffer. A sample of one channel stands for both.
struct InOneBuffer {
    int rate = 0;                                    // of the last frame
    uint64_t headerBytes = 0;                        // with the channels of the last frame for all
    std::vector<std::array<mad_fixed_t, 2>> samples; // in 28 fractional bits

    explicit InOneBuffer(const Bytes& file) {
        mad_stream stream;
        mad_frame frame;
        const auto synth = std::make_unique<mad_synth>();
        mad_stream_init(&stream);
        mad_frame_init(&frame);
        mad_synth_init(synth.get());
        mad_stream_buffer(&stream, file.data(), file.size());
        uint64_t frames = 0;
        do {
            if (mad_header_decode(&frame.header, &stream) != 0) {
                continue;
            }
            frames += static_cast<uint64_t>(MAD_NSBSAMPLES(&frame.header)) * 32;
            rate = static_cast<int>(frame.header.samplerate);
            headerBytes = frames * 2 * MAD_NCHANNELS(&frame.header);
            if (mad_frame_decode(&frame, &stream) == 0) {
                mad_synth_frame(synth.get(), &frame);
                const mad_pcm& pcm = synth->pcm;
                for (unsigned i = 0; i < pcm.length; ++i) {
                    samples.push_back({pcm.samples[0][i], pcm.samples[pcm.channels - 1][i]});
                }
            }
        } while (stream.error == MAD_ERROR_NONE || MAD_RECOVERABLE(stream.error));
        mad_frame_finish(&frame);
        mad_stream_finish(&stream);
    }
};

// The window that moves over the file must not be seen in the result, whatever lies at its edges.
// All frames have the channels of the last one.
TEST(Mp3Reader, GivesTheFramesOfTheWholeFile) {
    const Bytes cbr = MakeMp3("-b 128");
    const Bytes mono = MakeMp3("-b 64", {.channels = 1});
    Bytes quiet = Payload(200000, 2); // nothing in it looks like a frame
    for (uint8_t& byte : quiet) {
        byte &= 0x7F;
    }
    // `plain` is the file without its tags, with bytes behind it for libmad to look at.
    const auto expect = [](const char* what, const Bytes& file, const Bytes& plain = {}) {
        SCOPED_TRACE(what);
        const InOneBuffer expected(plain.empty() ? file : plain);
        MemoryFiles files(file);
        files.m_nMost = 10007;
        CMP3Reader reader(u"/a.mp3", files);
        EXPECT_EQ(static_cast<uint64_t>(reader.m_nLength), expected.headerBytes);
        const std::optional<AudioProbe> probe = ProbeMp3(u"/a.mp3", files);
        ASSERT_TRUE(probe.has_value());
        EXPECT_EQ(probe->bytes, expected.headerBytes);
        EXPECT_EQ(reader.m_nSampleRate, expected.rate);
        EXPECT_EQ(probe->rate, expected.rate);
        EXPECT_EQ(probe->channels, reader.m_nChannels);
        const std::vector<int16_t> samples = ToSamples(Drain(reader));
        const auto channels = static_cast<size_t>(reader.m_nChannels);
        ASSERT_EQ(samples.size(), expected.samples.size() * channels);
        double worst = 0;
        double noise = 0;
        for (size_t i = 0; i < samples.size(); ++i) {
            const auto [left, right] = expected.samples[i / channels];
            const double sample = channels == 1 ? (left + right) / 2 : i % 2 == 0 ? left : right;
            const double error = std::fabs(samples[i] - sample / 8192);
            worst = std::max(worst, error);
            noise += error * error / static_cast<double>(samples.size());
        }
        EXPECT_LT(worst, 6) << "beyond what the dither can do";
        EXPECT_LT(std::sqrt(noise), 1) << "more than that of the dither";
    };
    expect("constant rate", cbr);
    expect("variable rate", MakeMp3("-V 2"));
    expect("mono", mono);
    expect("22.05 kHz", MakeMp3("-b 64", {.rate = 22050}));
    expect("8 kHz mono", MakeMp3("-b 16", {.channels = 1, .rate = 8000}));
    expect("free format", MakeMp3("--freeformat -b 400"));
    expect("layer II", Capture("ffmpeg -v error -f lavfi -i sine=500:d=2:r=48000 -ac 2 -f mp2 -"));
    // A picture in a tag holds what looks like frames in free format (FF FE 00) and others; another
    // tag holds frames.
    Bytes picture = Payload(90000, 3);
    for (size_t i = 0; i + 4 < picture.size(); i += 977) {
        std::copy_n(i % 2 == 0 ? "\xFF\xFE\x00\x18" : "\xFF\xFB\x90\x64", 4, &picture[i]);
    }
    const size_t size = picture.size();
    const Bytes id3 = Id3v2Edge("ID3", 0x80, size) + picture;
    const Bytes id3WithFooter =
        Id3v2Edge("ID3", 0x10, size) + picture + Id3v2Edge("3DI", 0x10, size);
    const Bytes apeWithHeader = ApeTagEdge(5U << 29, 5000) +
                                Bytes(cbr.begin(), cbr.begin() + 5000) + ApeTagEdge(1U << 31, 5000);
    const Bytes id3v1 = Text("TAG\xFF\xFB\x90\x64") + Bytes(121, 0x20);
    const Bytes guarded = cbr + Bytes(8);
    expect("ID3v2", id3 + cbr, cbr);
    expect("ID3v1", cbr + id3v1, guarded);
    expect("tags in front", id3WithFooter + id3 + apeWithHeader + cbr, cbr);
    expect("tags behind",
           cbr + id3WithFooter + picture + ApeTagEdge(0, size) + apeWithHeader + id3v1, guarded);
    expect("tags between", id3 + cbr + id3 + cbr + id3v1 + id3 + cbr + id3v1,
           cbr + cbr + id3v1 + cbr + Bytes(8));
    expect("a tag longer than the file", Text("ID3\x04") + Bytes{0, 0, 127, 0, 0, 0} + cbr);
    expect("junk in front", Payload(100000, 1) + cbr);
    expect("junk between", cbr + quiet + cbr + Bytes(70000, 0xFF) + cbr + Bytes(70000, 0));
    expect("cut in a frame", Bytes(cbr.begin(), cbr.end() - 777));
    expect("a frame of another rate last", cbr + MakeMp3("-b 64", {.rate = 22050}));
    expect("mono in the middle", cbr + mono + cbr);
    expect("mono last", cbr + mono);
}

// A sine that is cut in two and encoded as two files has no click where they meet again. Equal
// channels stay equal, since each has a record of the dither of its own and all begin alike.
TEST(Mp3Reader, JoinsPiecesOfOneSound) {
    constexpr size_t kBorder = 60000;
    std::array<Sound, 2> pieces;
    const auto sine = [](size_t i) { return 10000 * std::sin(0.0631 * static_cast<double>(i)); };
    for (size_t i = 0; i < 2 * kBorder; ++i) {
        pieces[i / kBorder].samples.insert(pieces[i / kBorder].samples.end(), 2,
                                           static_cast<int32_t>(std::lround(sine(i))));
    }
    Bytes joined;
    for (const Sound& piece : pieces) {
        MemoryFiles files(Encoded(".mp3", piece, "-b 320 -m f"));
        CMP3Reader reader(u"/a.mp3", files);
        EXPECT_EQ(static_cast<size_t>(reader.m_nLength), 4 * kBorder);
        EXPECT_EQ(ProbeMp3(u"/a.mp3", files)->bytes, 4 * kBorder);
        joined = joined + Drain(reader);
    }
    const std::vector<int16_t> samples = ToSamples(joined);
    ASSERT_EQ(samples.size(), 4 * kBorder);
    double worst = 0;
    for (size_t i = kBorder - 3000; i < kBorder + 3000; ++i) {
        ASSERT_EQ(samples[2 * i], samples[2 * i + 1]) << i;
        worst = std::max(worst, std::fabs(samples[2 * i] - sine(i)));
    }
    EXPECT_LT(worst, 300) << "one sample too early or too late would be 631";
}

// Noise looks like headers of frames in free format, whose length is told by the next header. It
// may swallow some of the frames behind it, but not all.
TEST(Mp3Reader, FindsTheFramesBehindNoise) {
    const Bytes cbr = MakeMp3("-b 128");
    MemoryFiles files(cbr);
    const uint64_t alone = ProbeMp3(u"/a.mp3", files)->bytes;
    for (uint32_t seed = 0; seed < 20; ++seed) {
        files.m_bytes = cbr + Payload(150000, seed) + cbr;
        EXPECT_GT(ProbeMp3(u"/a.mp3", files)->bytes, alone * 6 / 5) << seed;
        CMP3Reader reader(u"/a.mp3", files);
        Drain(reader);
    }
}

TEST(Mp3Reader, RefusesWhatHasNoFrames) {
    const std::string parsing = "Error parsing MP3 file a.mp3.";
    const std::pair<Bytes, std::string> cases[] = {
        {{}, "Cannot open a.mp3."},
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
    EXPECT_EQ(FailureOf([] { CMP3Reader reader(u"/dev"); }), "Cannot open dev.");
}

TEST(Mp3Dither, FollowsItsArithmetic) {
    // From zeroed records, by hand: the random numbers are 0, 0x3C6EF35F and 0x47502932, of which
    // the low 13 bits count. 0 + 4096 + 0x135F = 0x235F: one step, error -0x2000; then -0x2000 +
    // 4096 + 0x0932 - 0x135F = -0x1A2D: -1 step, error 0. From the sixth on the third error counts.
    CMp3Dither dither;
    for (const int expected : {1, -1, 1, -1, 0, 0, 0, 1, -1, 0}) {
        EXPECT_EQ(dither.Reduce(0), expected);
    }
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
