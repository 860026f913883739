// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/readers/wav_reader.h"

#include "audio/codec_files.h"
#include "support/memory_files.h"

#include <gtest/gtest.h>

namespace larkspin {

namespace {

using namespace codecs;

Bytes Riff(const Bytes& chunks) {
    return Chunk("RIFF", Text("WAVE") + chunks);
}

// PCM, 2 channels, 44,100 Hz, 16 bits.
const Bytes kFormat = Bytes{1, 0, 2, 0} + Le32(44100) + Le32(176400) + Bytes{4, 0, 16, 0};
const Bytes kSound = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};

TEST(WavReader, FindsFormatAndDataAmongOtherChunks) {
    const Bytes data = Chunk("data", kSound);
    const Bytes format = Chunk("fmt ", kFormat);
    const auto expect = [](const char* what, const Bytes& file) {
        SCOPED_TRACE(what);
        MemoryFiles files(file);
        files.m_nMost = 5; // a disk may give less than it is asked for
        CWavReader reader(u"/a.wav", files);
        EXPECT_EQ(reader.m_nLength, 12);
        EXPECT_EQ(reader.m_nChannels, 2);
        EXPECT_EQ(reader.m_nSampleRate, 44100);
        EXPECT_EQ(reader.m_nBits, 16);
        EXPECT_EQ(Drain(reader), kSound);
        const std::optional<AudioProbe> probe = ProbeWav(u"/a.wav", files);
        ASSERT_TRUE(probe.has_value());
        EXPECT_EQ(probe->bytes, 12U);
    };
    expect("plain", Riff(format + data));
    expect("format of 18 bytes", Riff(Chunk("fmt ", kFormat + Bytes{0, 0}) + data));
    expect("data first", Riff(data + format));
    expect("chunks of odd length between",
           Riff(Chunk("odd ", {9}) + format + Chunk("LIST", {8, 8, 8}) + data));
    expect("chunk behind", Riff(format + data + Chunk("LIST", Bytes(100, 5))));
    expect("second data and format",
           Riff(format + data + Chunk("data", {99, 99}) + Chunk("fmt ", Bytes(16, 99))));
    expect("bytes behind the form", Riff(format + data) + Bytes(300, 5));
    expect("too few bytes for a chunk at the form's end",
           Riff(format + data + Bytes{1, 2, 3, 4, 5, 6}));
    expect("other chunks in front of the form",
           Chunk("junk", {1, 2, 3}) + Chunk("RIFF", Text("AVI ")) + Riff(format + data));
    expect("no pad byte at the file's end",
           Riff(format + Chunk("data", kSound) + Text("LIST") + Le32(1) + Bytes{3}));
}

TEST(WavReader, RefusesBrokenFiles) {
    const Bytes data = Chunk("data", kSound);
    const Bytes format = Chunk("fmt ", kFormat);
    const Bytes whole = Riff(format + data);
    const auto expect = [](const char* what, const Bytes& file) {
        SCOPED_TRACE(what);
        MemoryFiles files(file);
        EXPECT_EQ(FailureOf([&] { CWavReader reader(u"/music/a.wav", files); }),
                  "Cannot open a.wav.");
        EXPECT_FALSE(ProbeWav(u"/music/a.wav", files).has_value());
    };
    expect("another form", Chunk("RIFF", Text("AVI ") + format + data));
    expect("no format", Riff(data));
    expect("format past the file",
           Chunk("RIFF", Text("WAVE") + data + Chunk("fmt ", kFormat + Bytes(24), 1000), 2000));
    expect("no data", Riff(format));
    expect("empty data", Riff(format + Chunk("data", {})));
    expect("data past the form", Riff(format + Chunk("data", kSound, 13)));
    expect("a skipped chunk past the form", Riff(format + data + Chunk("LIST", {1, 2}, 5000)));
    expect("sizes of a stream",
           Chunk("RIFF", Text("WAVE") + format + Chunk("data", kSound, 0xFFFFFFFF), 0xFFFFFFFF));
    expect("format of 4 GB",
           Chunk("RIFF", Text("WAVE") + Chunk("fmt ", kFormat, 0xFFFFFFF0), 0xFFFFFFFF));
    expect("format cut off", Bytes(whole.begin(), whole.begin() + 30));
    expect("nothing but empty chunks",
           Riff(Bytes(size_t{8} * (kMaxWavChunks + 10), 0) + format + data));
    MemoryFiles large(
        Chunk("RIFF", Text("WAVE") + format + Chunk("data", kSound, 0x80000000), 0x80000024));
    EXPECT_EQ(FailureOf([&] { CWavReader reader(u"/music/a.wav", large); }),
              "it is longer than 2 GiB of sound.");
}

TEST(WavReader, EndsWhereTheFileFails) {
    const Bytes whole = Riff(Chunk("fmt ", kFormat) + Chunk("data", kSound));
    MemoryFiles failing(whole);
    failing.m_nMost = 2;
    CWavReader broken(u"/a.wav", failing);
    failing.m_nFailsAt = whole.size() - 4;
    EXPECT_EQ(Drain(broken), Bytes(kSound.begin(), kSound.end() - 4));
    failing.m_nFailsAt = SIZE_MAX;
    EXPECT_TRUE(Drain(broken).empty()) << "an end is an end for good";
}

} // namespace

} // namespace larkspin
