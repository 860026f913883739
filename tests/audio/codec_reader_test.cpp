// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What the readers of all compressed formats have in common: the sound, the form and the length
// that they tell, their refusals; and what each must bear: damaged files and files that fail,
// trickle or end while they are read.
#include "audio/codec_files.h"
#include "audio/readers/ape_reader.h"
#include "audio/readers/flac_reader.h"
#include "audio/readers/libav_reader.h"
#include "audio/readers/mp3_reader.h"
#include "audio/readers/ogg_reader.h"
#include "audio/readers/wma_reader.h"
#include "support/memory_files.h"

#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <random>
#include <thread>

namespace larkspin {

namespace {

using namespace codecs;

struct Access {
    std::unique_ptr<CReader> (*open)(const std::u16string& name, IFileSystem& files);
    std::optional<AudioProbe> (*probe)(const std::u16string& name, IFileSystem& files);
};

struct Codec {
    const char* suffix;
    Access access;
    // All that follows is for ExactReader.
    std::vector<Sound> forms = {};
    const char* decoder = "";  // of lossy sound: a command line, %s the file
    int32_t lengthAtLeast = 0; // m_nLength less the bytes of the sound
    int32_t lengthAtMost = 0;
    const char* refusal = "";  // of a file of another format, %s its name
    const char* encoding = ""; // options of the encoder
    ptrdiff_t cut = 60;        // bytes that are too few to be such a file
    size_t frames = 60001;     // no whole number of any format's own
};

template <class Reader>
std::unique_ptr<CReader> Open(const std::u16string& name, IFileSystem& files) {
    return std::make_unique<Reader>(name, files);
}

template <class Reader>
constexpr Access kBy = {&Open<Reader>, &ProbeHeader<Reader>};

const Codec kCodecs[] = {
    {.suffix = ".flac",
     .access = kBy<CFLACReader>,
     .forms = {{}, {{}, 1, 16, 22050}, {{}, 2, 8}, {{}, 1, 8, 8000}, {{}, 6, 16, 48000}},
     .refusal = "not a FLAC file",
     .encoding = "--channel-map=none"},
    {.suffix = ".ape",
     .access = kBy<CAPEReader>,
     .forms = {{}, {{}, 1, 16, 22050}, {{}, 2, 8}, {{}, 1, 8, 11025}, {{}, 2, 24, 48000}},
     .refusal = "cannot open",
     .frames = 12000},
    // The length comes from seconds, of which the last fraction of a byte may be cut off.
    {.suffix = ".ogg",
     .access = kBy<COggReader>,
     .forms = {{}, {{}, 1, 16, 22050}, {{}, 2, 16, 48000}},
     .decoder = "oggdec -Q -R -o - %s",
     .lengthAtLeast = -1,
     .refusal = "%s is not an OggVorbis file."},
    // The playing time, which counts some frames of the encoder's own, and 5000 bytes.
    {.suffix = ".wma",
     .access = kBy<CWmaReader>,
     .forms = {{}, {{}, 1, 16, 22050}, {{}, 2, 16, 48000}},
     .decoder = "ffmpeg -v error -i %s -f s16le -",
     .lengthAtLeast = 5000,
     .lengthAtMost = 20000,
     .refusal = "Cannot open %s."},
    // What floats and 32 bits become is the stages' part; here they are whole.
    {.suffix = ".m4a",
     .access = kBy<CLibavFile<kMpeg4>>,
     .forms = {{{}, 2, 32}, {{}, 1, 32, 22050}},
     .decoder = "ffmpeg -v error -i %s -f f32le -",
     .refusal = "Cannot open %s."},
    {.suffix = ".opus",
     .access = kBy<CLibavFile<kOggPages>>,
     .forms = {{{}, 2, 32, 48000}, {{}, 1, 32, 48000}},
     .decoder = "ffmpeg -v error -i %s -f f32le -",
     .refusal = "Cannot open %s."},
    {.suffix = ".aiff",
     .access = kBy<CLibavFile<kAiff>>,
     .forms = {{}, {{}, 1, 8, 22050}, {{}, 2, 32, 96000}},
     .refusal = "Cannot open %s.",
     .cut = 30},
    {.suffix = ".wv",
     .access = kBy<CLibavFile<kWavPack>>,
     .forms = {{}, {{}, 1, 16, 22050}, {{}, 2, 32, 96000}},
     .refusal = "Cannot open %s.",
     .cut = 30},
    // These stay the last ones; ExactReader leaves them out.
    {.suffix = ".aac", .access = kBy<CLibavFile<kAdts>>},
    {.suffix = ".mp3", .access = {&Open<CMP3Reader>, &ProbeMp3}},
};

class CodecReader : public testing::TestWithParam<Codec> {
  protected:
    CodecReader() { WriteSound(m_path, MakeTones(m_codec.frames), m_codec.encoding); }

    std::unique_ptr<CReader> Open() const {
        return m_codec.access.open(ToWide(m_path), PosixFiles());
    }
    // What a reader gives for `files`, and nothing if it refuses them. A probe comes first.
    Bytes Decode(MemoryFiles& files) const {
        m_codec.access.probe(u"x", files);
        try {
            const std::unique_ptr<CReader> reader = m_codec.access.open(u"x", files);
            Bytes sound = Drain(*reader);
            EXPECT_TRUE(Drain(*reader).empty()) << "an end is an end for good";
            return sound;
        } catch (const CReaderException& failure) {
            EXPECT_STRNE(failure.what(), "");
            return {};
        }
    }

    const Codec& m_codec = GetParam();
    TempFolder m_folder;
    std::string m_path = m_folder.Path() + "/sound" + m_codec.suffix;
};

// Of all formats but bare MPEG audio, which two decoders never decode alike and which may be found
// in any file.
class ExactReader : public CodecReader {};

TEST_P(ExactReader, GivesTheSoundThatWasEncodedOrThatOfAnotherDecoder) {
    for (const Sound& form : m_codec.forms) {
        SCOPED_TRACE(testing::Message() << form.channels << " channels, " << form.bits << " bits");
        const Sound sound = MakeTones(m_codec.frames, form);
        WriteSound(m_path, sound, m_codec.encoding);
        const Bytes expected = *m_codec.decoder == '\0'
                                   ? Pcm(sound)
                                   : Capture(Format(m_codec.decoder, m_path.c_str()));
        ASSERT_GT(expected.size(), m_codec.frames * 9 / 10 * form.channels * form.bits / 8);

        const std::unique_ptr<CReader> reader = Open();
        EXPECT_EQ(reader->m_nChannels, form.channels);
        EXPECT_EQ(reader->m_nBits, form.bits);
        EXPECT_EQ(reader->m_nSampleRate, form.rate);
        const int32_t extra = reader->m_nLength - static_cast<int32_t>(expected.size());
        EXPECT_GE(extra, m_codec.lengthAtLeast);
        EXPECT_LE(extra, m_codec.lengthAtMost);
        EXPECT_TRUE(Drain(*reader) == expected);

        const std::optional<AudioProbe> probe = m_codec.access.probe(ToWide(m_path), PosixFiles());
        ASSERT_TRUE(probe);
        EXPECT_EQ(probe->bytes, static_cast<uint64_t>(reader->m_nLength));
        EXPECT_EQ(probe->bits, form.bits);
        EXPECT_EQ(probe->rate, form.rate);
        EXPECT_EQ(probe->channels, form.channels);
    }
}

TEST_P(ExactReader, RefusesOtherFilesAndCutHeaders) {
    const Bytes good = ReadFileBytes(m_path);
    for (const Bytes& bad :
         {Bytes(), Encoded(".wav", MakeTones(1000)), Bytes(good.begin(), good.begin() + 20),
          Bytes(good.begin(), good.begin() + m_codec.cut)}) {
        WriteFileBytes(m_path, bad);
        EXPECT_EQ(FailureOf([&] { Open(); }),
                  Format(m_codec.refusal, ("sound" + std::string(m_codec.suffix)).c_str()))
            << bad.size();
        EXPECT_FALSE(m_codec.access.probe(ToWide(m_path), PosixFiles()));
    }
}

TEST_P(CodecReader, BearsFlippedBits) {
    const Bytes good = ReadFileBytes(m_path);
    for (uint32_t seed = 0; seed < 80; ++seed) {
        std::mt19937 random(seed);
        MemoryFiles files(good);
        // Half of the files are hurt in the headers alone.
        const size_t reach = seed % 2 == 0 ? std::min<size_t>(600, good.size()) : good.size();
        for (uint32_t i = 0; i < 1 + seed % 20; ++i) {
            files.m_bytes[random() % reach] ^= static_cast<uint8_t>(1U << random() % 8);
        }
        Decode(files);
    }
}

TEST_P(CodecReader, BearsMissingTailsAndFilesThatTrickle) {
    MemoryFiles files(ReadFileBytes(m_path));
    const Bytes expected = Decode(files);
    ASSERT_GT(expected.size(), m_codec.frames * 3);
    files.m_nMost = 7;
    EXPECT_TRUE(Decode(files) == expected);

    const Bytes good = files.m_bytes;
    for (size_t i = 0; i < 40; ++i) {
        files = MemoryFiles(
            Bytes(good.begin(), good.begin() + static_cast<ptrdiff_t>(good.size() * i / 40)));
        EXPECT_LE(Decode(files).size(), expected.size()) << i;
        // The same, but the last bytes are there and cannot be read.
        files.m_nFailsAt = files.m_bytes.size();
        files.m_bytes = good;
        EXPECT_LE(Decode(files).size(), expected.size()) << i;
    }
}

const auto kName = [](const auto& codec) { return std::string(codec.param.suffix + 1); };
INSTANTIATE_TEST_SUITE_P(Formats, ExactReader, testing::ValuesIn(kCodecs, std::end(kCodecs) - 2),
                         kName);
INSTANTIATE_TEST_SUITE_P(Formats, CodecReader, testing::ValuesIn(kCodecs), kName);

template <class Reader>
void ExpectMoveToASecond(const char* suffix) {
    constexpr int kRate = 8000;
    const Sound sound = MakeTones(size_t{15} * kRate, {.channels = 1, .bits = 8, .rate = kRate});
    const Bytes pcm = Pcm(sound);
    MemoryFiles files(Encoded(suffix, sound));
    Reader reader(u"x", files);
    EXPECT_EQ(reader.GetDuration(), 15U);
    reader.SetPosition(11);
    // What was decoded before the request comes first; behind it the sound goes on at second 11.
    const Bytes got = Drain(reader);
    const size_t tail = size_t{4} * kRate;
    ASSERT_GE(got.size(), tail);
    EXPECT_LT(got.size(), pcm.size());
    EXPECT_TRUE(std::equal(got.begin(), got.end() - tail, pcm.begin()));
    EXPECT_TRUE(std::equal(got.end() - tail, got.end(), pcm.end() - tail));
    // FLAC knows its place in the file only.
    EXPECT_GE(reader.GetPosition(), 14U);
    EXPECT_LE(reader.GetPosition(), 15U);
}

TEST(PositionedReader, MovesToASecond) {
    ExpectMoveToASecond<CAPEReader>(".ape");
    ExpectMoveToASecond<CFLACReader>(".flac");
}

// A reader that goes while its decoder reads from a slow disk does not see the frame to its end.
TEST(ApeReader, LeavesAFileThatIsBeingRead) {
    MemoryFiles files(Encoded(".ape", MakeTones(120000, {.channels = 1, .bits = 8, .rate = 8000})));
    files.m_nMost = 1; // some 3000 reads a frame
    std::atomic<int> reads = -1;
    files.m_onRead = [&reads] {
        if (reads >= 0) {
            ++reads;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    };
    auto reader = std::make_unique<CAPEReader>(u"/a.ape", files);
    reads = 0;
    for (Bytes buffer(4096); reads < 10;) {
        reader->Read(buffer.data(), 4096, nullptr);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    const int before = reads;
    reader.reset();
    EXPECT_LT(reads - before, 1000);
}

// An APEv2 tag with a picture: the item and the tag's footer, which is all that is asked for.
TEST(ApeReader, PlaysAFileWithTagsAroundIt) {
    const Sound sound = MakeTones(12000);
    const Bytes picture = Text("cover.jpg") + Bytes{0} + Text("\xFF\xD8\xFF\xE0 not much of one");
    constexpr uint32_t kBinary = 2;
    const Bytes item = Le32(static_cast<uint32_t>(picture.size())) + Le32(kBinary) +
                       Text("Cover Art (Front)") + Bytes{0} + picture;
    MemoryFiles files(Id3v2Edge("ID3", 0, 256) + Bytes(256) + Encoded(".ape", sound) + item +
                      ApeTagEdge(0, item.size()));
    CAPEReader reader(u"/a.ape", files);
    EXPECT_EQ(reader.m_nLength, 12000 * 4);
    EXPECT_TRUE(Drain(reader) == Pcm(sound));
}

} // namespace

} // namespace larkspin
