#include "audio/factory.h"

#include "audio/codec_files.h"
#include "audio/memory_reader.h"
#include "audio/probe.h"
#include "audio/source_limits.h"
#include "platform/byte_order.h"
#include "support/memory_files.h"

#include <gtest/gtest.h>

namespace larkspin {

namespace {

using codecs::Bytes;
using codecs::Drain;
using codecs::FailureOf;
using codecs::Shell;

TEST(AudioFactory, KnowsFilesByTheirSuffixAlone) {
    for (const char16_t* name : {u"/a.wav", u"/a.MP3", u"/a.wMa", u"/a.ogg", u"/a.Ape", u"/a.FLAC",
                                 u".flac", u"/a.b.wav"}) {
        EXPECT_TRUE(IsSupportedAudioFile(name)) << ToNative(name);
    }
    for (const char16_t* name :
         {u"", u"wav", u"flac", u"/a.flac2", u"/a.wav/", u"/a.wav ", u"/a.aif", u"/awav"}) {
        EXPECT_FALSE(IsSupportedAudioFile(name)) << ToNative(name);
        EXPECT_EQ(CreateAudioReader(name), nullptr);
        EXPECT_EQ(GetAudioFileLength(name), 0U);
    }
}

TEST(AudioFactory, MissingFilesHaveTheirTextsAndNoLength) {
    const struct {
        const char16_t* name;
        const char* text;
    } cases[] = {
        {u"/none/a.wav", "Cannot open /none/a.wav."},
        {u"/none/a.mp3", "Cannot open /none/a.mp3."},
        {u"/none/a.wma", "Cannot open /none/a.wma."},
        {u"/none/a.ogg", "Cannot open /none/a.ogg."},
        {u"/none/a.ape", "cannot open"},
        {u"/none/a.flac", "cannot open"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(FailureOf([&] { CreateAudioReader(c.name); }), c.text);
        EXPECT_EQ(GetAudioFileLength(c.name), 0U) << c.text;
    }
}

struct WavKind {
    int rate;
    int channels;
    int bits;
};

MemoryFiles Wav(const WavKind& kind, size_t frames) {
    return MemoryFiles(codecs::MakeWav(
        codecs::PackSamples(codecs::MakeSound(frames, kind.channels, kind.bits), kind.bits),
        kind.rate, kind.channels, kind.bits));
}

// Whatever the source, the chain delivers the bytes that it claims, and the probe knows them.
TEST(AudioFactory, ChainsBringEverySourceToCdAudio) {
    const WavKind kinds[] = {{44100, 2, 16}, {44100, 1, 16}, {44100, 2, 8},  {22050, 1, 8},
                             {48000, 2, 16}, {32000, 1, 16}, {96000, 2, 16}, {8000, 1, 8}};
    for (const WavKind& kind : kinds) {
        SCOPED_TRACE(testing::Message() << kind.rate << ' ' << kind.channels << ' ' << kind.bits);
        constexpr size_t kFrames = 20011;
        MemoryFiles files = Wav(kind, kFrames);
        const std::unique_ptr<CReader> chain = CreateAudioReader(u"/a.wav", files);
        ASSERT_TRUE(chain);
        EXPECT_EQ(chain->m_nSampleRate, 44100);
        EXPECT_EQ(chain->m_nChannels, 2);
        EXPECT_EQ(chain->m_nBits, 16);
        EXPECT_EQ(chain->m_nLength % 2352, 0);
        EXPECT_NEAR(chain->m_nLength, kFrames * 44100.0 / kind.rate * 4, 2352);
        EXPECT_EQ(GetAudioFileLength(u"/a.wav", files), static_cast<uint32_t>(chain->m_nLength));
        const Bytes pcm = Drain(*chain);
        EXPECT_EQ(pcm.size(), static_cast<size_t>(chain->m_nLength));
        for (size_t i = 0; kind.channels == 1 && i < pcm.size(); i += 4) {
            ASSERT_TRUE(pcm[i] == pcm[i + 2] && pcm[i + 1] == pcm[i + 3]) << i;
        }
    }
    MemoryFiles files = Wav(kinds[0], 20011);
    const Bytes sound = codecs::PackSamples(codecs::MakeSound(20011, 2, 16), 16);
    Bytes track = Drain(*CreateAudioReader(u"/a.wav", files));
    EXPECT_EQ(Bytes(track.begin() + static_cast<std::ptrdiff_t>(sound.size()), track.end()),
              Bytes(track.size() - sound.size(), 0));
    track.resize(sound.size());
    EXPECT_EQ(track, sound);
}

TEST(AudioFactory, RefusesByNameWhatNoChainCanHold) {
    const struct {
        WavKind kind;
        const char* text;
    } cases[] = {
        {{44100, 6, 16}, "Cannot write a.wav: it has 6 channels, an audio CD takes at most 2."},
        {{48000, 3, 24}, "Cannot write a.wav: it has 3 channels, an audio CD takes at most 2."},
        {{2204, 2, 16},
         "Cannot write a.wav: its rate of 2204 Hz is not between 2205 and 768000 Hz."},
        {{0, 2, 16}, "Cannot write a.wav: its rate of 0 Hz is not between 2205 and 768000 Hz."},
        {{-1, 2, 16},
         "Cannot write a.wav: its rate of 2147483647 Hz is not between 2205 and 768000 Hz."},
        {{44100, 2, 24}, "Internal error #293."},
        {{44100, 2, 32}, "Internal error #293."},
    };
    for (const auto& c : cases) {
        MemoryFiles files = Wav(c.kind, 100);
        EXPECT_EQ(FailureOf([&] { CreateAudioReader(u"/music/a.wav", files); }), c.text);
    }
    const struct {
        SourceFormat format;
        int32_t length;
        const char* text;
    } limits[] = {
        {{}, INT32_MAX / 2352 * 2352, "(none)"},
        {{}, INT32_MAX, "Cannot write a: it is longer than 2 GiB of sound."},
        {{.rate = 22050}, 1 << 30, "Cannot write a: it is longer than 2 GiB of sound."},
        {{.rate = 192000}, INT32_MAX, "(none)"},
        {{.rate = 192000, .bits = 8},
         INT32_MAX,
         "Cannot write a: it is longer than 2 GiB of sound."},
        {{.channels = 0}, 100, "Cannot write a: it has no channels."},
        {{}, -1, "Cannot write a: it holds no sound, or does not say how much."},
    };
    for (const auto& c : limits) {
        MemoryReader source({}, c.format);
        source.m_nLength = c.length;
        EXPECT_EQ(FailureOf([&] { CheckSource(u"a", source); }), c.text);
    }
    // A long name gives way to the reason, at a character's border.
    std::u16string longName = u"/music/";
    for (int i = 0; i < 60; ++i) {
        longName += u'ü';
    }
    MemoryReader source({}, {.channels = 8});
    const std::string text = FailureOf([&] { CheckSource(longName, source); });
    EXPECT_LE(text.size(), 127U);
    EXPECT_TRUE(text.ends_with("ü...: it has 8 channels, an audio CD takes at most 2.")) << text;
}

// What is no PCM would be noise; the extensible form of "fmt " is common and may be PCM. The queue
// shows a length for the plain form alone.
TEST(AudioFactory, WritesWavFilesOfPcmAlone) {
    const Bytes pcmGuid = {1, 0, 0, 0, 0, 0, 16, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
    Bytes aLawGuid = pcmGuid;
    aLawGuid[0] = 6;
    Bytes foreignGuid = pcmGuid;
    foreignGuid[15] = 0;
    const std::string notPcm = "Cannot write a.wav: its samples are not PCM.";
    const struct {
        uint16_t tag;
        int bits;
        Bytes subFormat; // makes the "fmt " chunk the extensible one
        std::string text;
    } cases[] = {
        {1, 16, {}, "(none)"},
        {6, 8, {}, notPcm},     // A-law
        {7, 8, {}, notPcm},     // mu-law
        {0x55, 16, {}, notPcm}, // MPEG layer III
        {3, 32, {}, "Internal error #293."},
        {0xFFFE, 16, pcmGuid, "(none)"},
        {0xFFFE, 8, pcmGuid, "(none)"},
        {0xFFFE, 8, aLawGuid, notPcm},
        {0xFFFE, 16, foreignGuid, notPcm},
        {0xFFFE, 16, {}, notPcm},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.tag << ' ' << c.bits << ' ' << c.subFormat.size());
        MemoryFiles files = Wav({44100, 2, c.bits}, 588);
        Bytes& wav = files.m_bytes;
        wav[20] = static_cast<uint8_t>(c.tag);
        wav[21] = static_cast<uint8_t>(c.tag >> 8);
        if (!c.subFormat.empty()) {
            Bytes extension(8); // its own size, the valid bits and the speakers
            extension.insert(extension.end(), c.subFormat.begin(), c.subFormat.end());
            extension[0] = 22;
            wav.insert(wav.begin() + 36, extension.begin(), extension.end());
            StoreLe32(&wav[16], 40);
            StoreLe32(&wav[4], static_cast<uint32_t>(wav.size() - 8));
        }
        std::unique_ptr<CReader> chain;
        EXPECT_EQ(FailureOf([&] { chain = CreateAudioReader(u"/a.wav", files); }), c.text);
        EXPECT_EQ(chain != nullptr && Drain(*chain).size() == 2352, c.text == "(none)");
        EXPECT_EQ(GetAudioFileLength(u"/a.wav", files), c.tag == 1 ? 2352U : 0U);
    }
}

TEST(AudioFactory, ProbesNormaliseAsTheTrackWillBe) {
    const struct {
        AudioProbe probe;
        uint32_t bytes;
    } cases[] = {
        {{2352, 16, 44100, 2}, 2352},
        {{2353, 16, 44100, 2}, 4704},
        {{0, 16, 44100, 2}, 0},
        {{1000, 8, 44100, 2}, 2352},
        {{100000, 24, 44100, 6}, (400000 + 2351) / 2352 * 2352},
        {{4608000, 16, 48000, 2}, (4233600 + 2351) / 2352 * 2352},
        {{100001, 16, 32000, 1}, (137813 * 2 + 2351) / 2352 * 2352},
        {{1000, 16, 0, 2}, 0},
        {{UINT64_MAX, 8, 1, 1}, UINT32_MAX / 2352 * 2352},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(NormalisedLength(c.probe), c.bytes) << c.probe.bytes << ' ' << c.probe.rate;
    }
}

// All six formats in one folder: whole tracks, and 99 of them alive at once.
class Tracks : public testing::Test {
  protected:
    Tracks() {
        const std::string path = m_folder.Path() + "/a";
        codecs::WriteAll(path + ".wav", Wav({48000, 1, 16}, 300000).m_bytes);
        Shell("lame --quiet -b 64 --resample 22.05 " + path + ".wav " + path + ".mp3");
        Shell("flac -s " + path + ".wav");
        Shell("oggenc -Q " + path + ".wav -o " + path + ".ogg");
        Shell("ffmpeg -v error -i " + path + ".wav -c:a wmav2 -f asf " + path + ".wma");
    }

    std::unique_ptr<CReader> Open(size_t number) {
        constexpr const char* kSuffixes[] = {".wav", ".mp3", ".flac", ".ogg", ".wma"};
        return CreateAudioReader(
            ToWide(m_folder.Path() + "/a" + kSuffixes[number % std::size(kSuffixes)]));
    }

    TempFolder m_folder;
};

TEST_F(Tracks, AreAsLongAsTheyClaim) {
    for (size_t i = 0; i < 5; ++i) {
        const std::unique_ptr<CReader> chain = Open(i);
        const Bytes pcm = Drain(*chain);
        EXPECT_EQ(pcm.size(), static_cast<size_t>(chain->m_nLength)) << i;
        EXPECT_NEAR(static_cast<double>(pcm.size()), 6.25 * 176400, 0.1 * 176400) << i;
    }
}

TEST_F(Tracks, NinetyNineLiveAtOnceAndGoAtAnyMoment) {
    std::vector<std::unique_ptr<CReader>> chains;
    for (size_t i = 0; i < 99; ++i) {
        chains.push_back(Open(i));
    }
    Bytes buffer(kCdReadChunkBytes);
    for (size_t i = 0; i < chains.size(); ++i) {
        for (size_t reads = 0; reads < i; ++reads) {
            chains[i]->Read(buffer.data(), kCdReadChunkBytes, nullptr);
        }
    }
    while (!chains.empty()) {
        chains.erase(chains.begin() + static_cast<std::ptrdiff_t>(chains.size() / 2));
    }
}

} // namespace

} // namespace larkspin
