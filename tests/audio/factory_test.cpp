// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/factory.h"

#include "audio/codec_files.h"
#include "audio/memory_reader.h"
#include "audio/probe.h"
#include "audio/source_limits.h"
#include "support/memory_files.h"

#include <gtest/gtest.h>

namespace larkspin {

namespace {

using namespace codecs;

TEST(AudioFactory, KnowsFilesByTheirSuffixAlone) {
    for (const char16_t* name : {u"/a.wav", u"/a.MP3", u"/a.wMa", u"/a.ogg", u"/a.Ape", u"/a.FLAC",
                                 u".flac", u"/a.b.wav", u"a.aif"}) {
        EXPECT_TRUE(IsSupportedAudioFile(name)) << ToNative(name);
    }
    for (const char16_t* name :
         {u"", u"wav", u"flac", u"/a.flac2", u"/a.wav/", u"/a.wav ", u"/a.aifc", u"/awav"}) {
        EXPECT_FALSE(IsSupportedAudioFile(name)) << ToNative(name);
        EXPECT_EQ(CreateAudioReader(name), nullptr);
        EXPECT_EQ(GetAudioFileLength(name), 0U);
    }
    // Each suffix leads to a reader of its own.
    for (const auto& [suffix, title, text] : {std::tuple{"wav", "WAV", "Cannot open a.wav."},
                                              {"mp3", "MP3", "Cannot open a.mp3."},
                                              {"wma", "WMA", "Cannot open a.wma."},
                                              {"ogg", "Ogg Vorbis", "Cannot open a.ogg."},
                                              {"ape", "Monkey's Audio", "cannot open"},
                                              {"flac", "FLAC", "cannot open"},
                                              {"m4a", "MPEG-4", "Cannot open a.m4a."},
                                              {"aac", "AAC", "Cannot open a.aac."},
                                              {"opus", "Opus", "Cannot open a.opus."},
                                              {"aiff", "AIFF", "Cannot open a.aiff."},
                                              {"wv", "WavPack", "Cannot open a.wv."}}) {
        const std::string name = Format("a.%s", suffix);
        EXPECT_EQ(FailureOf([&] { CreateAudioReader(ToWide("/none/" + name)); }),
                  Format("%s (%s): %s The file is not there.", name.c_str(), title, text));
        EXPECT_EQ(GetAudioFileLength(ToWide("/none/" + name)), 0U);
    }
}

// Whatever the source, the chain delivers the bytes that it claims, and the probe knows them. What
// needs no other rate comes sample for sample.
TEST(AudioFactory, ChainsBringEverySourceToCdAudio) {
    const Sound forms[] = {{},
                           {.channels = 1, .bits = 8},
                           {.channels = 1, .bits = 8, .rate = 22050},
                           {.channels = 1, .rate = 32000},
                           {.channels = 1, .bits = 8, .rate = 8000}};
    for (const Sound& form : forms) {
        SCOPED_TRACE(testing::Message() << form.rate << ' ' << form.channels << ' ' << form.bits);
        constexpr size_t kFrames = 20011;
        const Sound sound = MakeTones(kFrames, form);
        MemoryFiles files(Encoded(".wav", sound));
        const std::unique_ptr<CReader> chain = CreateAudioReader(u"/a.wav", files);
        EXPECT_EQ(chain->m_nSampleRate, 44100);
        EXPECT_EQ(chain->m_nChannels, 2);
        EXPECT_EQ(chain->m_nBits, 16);
        EXPECT_EQ(chain->m_nLength % 2352, 0);
        EXPECT_NEAR(chain->m_nLength, kFrames * 44100.0 / form.rate * 4, 2352);
        EXPECT_EQ(GetAudioFileLength(u"/a.wav", files), static_cast<uint32_t>(chain->m_nLength));
        const std::vector<int16_t> finished = ToSamples(Drain(*chain));
        ASSERT_EQ(finished.size() * 2, static_cast<size_t>(chain->m_nLength));
        for (size_t i = 0; i < finished.size(); ++i) {
            const size_t at = form.channels == 1 ? i / 2 : i;
            const int sample = at < sound.samples.size() ? sound.samples[at] : 0;
            ASSERT_TRUE(form.rate != 44100 || finished[i] == sample << (16 - form.bits)) << i;
            ASSERT_TRUE(form.channels == 2 || finished[i] == finished[i & ~size_t{1}]) << i;
        }
    }
}

TEST(AudioFactory, RefusesByNameWhatNoChainCanHold) {
    const std::string tooLong = "it is longer than 2 GiB of sound.";
    const std::string rateLimits = " Hz is not between 2205 and 768000 Hz.";
    const auto expect = [](SourceFormat format, int32_t length, const std::string& text) {
        MemoryReader source({}, format);
        source.m_nLength = length;
        EXPECT_EQ(FailureOf([&] { CheckSource(source); }), text);
    };
    expect({.channels = 6}, 100, "it has 6 channels, an audio CD takes at most 2.");
    expect({.channels = 0}, 100, "it has no channels.");
    expect({.rate = 2204}, 100, "its rate of 2204" + rateLimits);
    expect({.rate = 2205}, 100, "(none)");
    expect({.rate = 768000}, 100, "(none)");
    expect({.rate = 768001}, 100, "its rate of 768001" + rateLimits);
    expect({}, INT32_MAX / 2352 * 2352, "(none)");
    expect({}, INT32_MAX, tooLong);
    expect({.rate = 22050}, 1 << 30, tooLong);
    expect({.rate = 192000}, INT32_MAX, "(none)");
    expect({.rate = 192000, .bits = 8}, INT32_MAX, tooLong);
    expect({}, 0, "it holds no sound, or does not say how much.");
    expect({}, -1, "it holds no sound, or does not say how much.");
    // However long a name is, it and the reason stand in full.
    for (const std::u16string first : {u"", u"x"}) {
        const std::u16string leaf = first + std::u16string(120, u'\u00fc') + u".mp3";
        MemoryFiles files(Bytes(3));
        const std::string text =
            FailureOf([&] { CreateAudioReader(u"/a long/way/down/" + leaf, files); });
        const std::string start = ToNative(leaf) + " (MP3): Error parsing MP3 file ";
        EXPECT_TRUE(text.starts_with(start)) << text;
        EXPECT_TRUE(text.ends_with("\u00fc....")) << text;
        EXPECT_LE(text.size(), start.size() + 127 - 23);
    }
}

TEST(AudioFactory, ProbesNormaliseAsTheTrackWillBe) {
    EXPECT_EQ(NormalisedLength({0, 16, 44100, 2}), 0U);
    EXPECT_EQ(NormalisedLength({2352, 16, 44100, 2}), 2352U);
    EXPECT_EQ(NormalisedLength({2353, 16, 44100, 2}), 4704U);
    EXPECT_EQ(NormalisedLength({100000, 8, 44100, 6}), (400000U + 2351) / 2352 * 2352);
    EXPECT_EQ(NormalisedLength({300000, 24, 44100, 2}), (200000U + 2351) / 2352 * 2352);
    EXPECT_EQ(NormalisedLength({100001, 16, 32000, 1}), (137813U * 2 + 2351) / 2352 * 2352);
    EXPECT_EQ(NormalisedLength({1000, 16, 0, 2}), 0U);
    EXPECT_EQ(NormalisedLength({UINT64_MAX, 8, 1, 1}), UINT32_MAX / 2352 * 2352);
}

// Files of all formats: whole tracks, and 99 of them alive at once.
TEST(AudioFactory, NinetyNineTracksLiveAtOnceAndGoAtAnyMoment) {
    const TempFolder folder;
    std::vector<std::u16string> names;
    for (const std::string suffix : {".wav", ".mp3", ".flac", ".ogg", ".wma", ".ape", ".m4a",
                                     ".aac", ".opus", ".aiff", ".wv"}) {
        const std::string path = folder.Path() + "/a" + suffix;
        WriteSound(path, MakeTones(60000, {.channels = 1, .rate = 48000}));
        names.push_back(ToWide(path));
        const std::unique_ptr<CReader> chain = CreateAudioReader(names.back());
        const auto bytes = static_cast<double>(Drain(*chain).size());
        EXPECT_EQ(bytes, chain->m_nLength) << suffix;
        EXPECT_NEAR(bytes, 1.25 * 176400, 0.1 * 176400) << suffix;
        // The queue shows these two as they are, not as they will be on the disc.
        const bool raw = suffix == ".flac" || suffix == ".ape";
        EXPECT_EQ(GetAudioFileLength(names.back()), raw ? 120000 : bytes) << suffix;
    }
    std::vector<std::unique_ptr<CReader>> chains;
    Bytes buffer(kCdReadChunkBytes);
    for (size_t i = 0; i < 99; ++i) {
        chains.push_back(CreateAudioReader(names[i % names.size()]));
        for (size_t reads = 0; reads < i; ++reads) {
            chains.back()->Read(buffer.data(), kCdReadChunkBytes, nullptr);
        }
    }
    while (!chains.empty()) {
        chains.erase(chains.begin() + static_cast<std::ptrdiff_t>(chains.size() / 2));
    }
}

} // namespace

} // namespace larkspin
