#include "audio/readers/wma_reader.h"

#include "audio/codec_files.h"
#include "audio/readers/asf_header.h"
#include "platform/byte_order.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <gtest/gtest.h>

namespace larkspin {

namespace {

using namespace codecs;

// Offsets at the start of an ASF file: the Header Object, then its first child.
constexpr size_t kHeaderSizeAt = 16;
constexpr size_t kHeaderCountAt = 24;
constexpr size_t kFirstObjectAt = 30;
constexpr size_t kObjectSizeAt = 16;

const Bytes kContentEncryption = {0xFB, 0xB3, 0x11, 0x22, 0x23, 0xBD, 0xD2, 0x11,
                                  0xB4, 0xB7, 0x00, 0xA0, 0xC9, 0x55, 0xFC, 0x6E};
const Bytes kExtendedContentEncryption = {0x14, 0xE6, 0x8A, 0x29, 0x22, 0x26, 0x17, 0x4C,
                                          0xB9, 0x35, 0xDA, 0xE0, 0x7E, 0xE9, 0x28, 0x9C};
const Bytes kFileProperties = {0xA1, 0xDC, 0xAB, 0x8C, 0x47, 0xA9, 0xCF, 0x11,
                               0x8E, 0xE4, 0x00, 0xC0, 0x0C, 0x20, 0x53, 0x65};
const Bytes kHeaderExtension = {0xB5, 0x03, 0xBF, 0x5F, 0x2E, 0xA9, 0xCF, 0x11,
                                0x8E, 0xE3, 0x00, 0xC0, 0x0C, 0x20, 0x53, 0x65};

// An object of `id` with `bodyBytes` zero bytes behind its prefix.
Bytes MakeObject(const Bytes& id, size_t bodyBytes) {
    Bytes object = id;
    object.resize(24 + bodyBytes);
    StoreLe32(&object[kObjectSizeAt], static_cast<uint32_t>(object.size()));
    return object;
}

// Puts `object` in front of the header's other objects.
Bytes WithObject(Bytes file, const Bytes& object) {
    StoreLe32(&file[kHeaderSizeAt],
              LoadLe32(&file[kHeaderSizeAt]) + static_cast<uint32_t>(object.size()));
    StoreLe32(&file[kHeaderCountAt], LoadLe32(&file[kHeaderCountAt]) + 1);
    file.insert(file.begin() + kFirstObjectAt, object.begin(), object.end());
    return file;
}

class WmaReader : public testing::Test {
  protected:
    std::string Path(const std::string& name) const { return m_folder.Path() + "/" + name; }

    std::string WriteSound(const std::string& name, int channels, int rate, uint32_t seed = 1) {
        const std::vector<int32_t> samples =
            MakeSound(static_cast<size_t>(rate) * 3, channels, 16, seed);
        WriteAll(Path(name), MakeWav(PackSamples(samples, 16), rate, channels, 16));
        return Path(name);
    }
    std::string Encode(const std::string& codec, int channels, int rate) {
        Shell("ffmpeg -v error -y -i " + WriteSound("sound.wav", channels, rate) + " -c:a " +
              codec + " -b:a 96k -f asf " + Path("sound.wma"));
        return Path("sound.wma");
    }
    std::string Failure(const std::string& path) const {
        EXPECT_FALSE(ProbeWma(ToWide(path), PosixFiles()));
        return FailureOf([&] { CWmaReader(ToWide(path), PosixFiles()); });
    }

    TempFolder m_folder;
};

TEST_F(WmaReader, EqualsTheReferenceDecoder) {
    struct Case {
        const char* codec;
        int channels, rate;
    };
    for (const Case& c : {Case{"wmav1", 2, 44100}, Case{"wmav2", 2, 44100}, Case{"wmav2", 1, 22050},
                          Case{"wmav2", 2, 48000}}) {
        SCOPED_TRACE(testing::Message() << c.codec << " " << c.channels << " " << c.rate);
        const std::string path = Encode(c.codec, c.channels, c.rate);
        const Bytes expected = Capture("ffmpeg -v error -i " + path + " -f s16le -");
        ASSERT_GT(expected.size(), 100000U);

        CWmaReader reader(ToWide(path), PosixFiles());
        EXPECT_EQ(reader.m_nBits, 16);
        EXPECT_EQ(reader.m_nChannels, c.channels);
        EXPECT_EQ(reader.m_nSampleRate, c.rate);
        // Three seconds, some frames of the encoder's, and 5000 bytes; ASF counts milliseconds.
        const int exact = 3 * c.rate * c.channels * 2 + 5000;
        EXPECT_GE(reader.m_nLength, exact - c.rate * c.channels * 2 / 1000);
        EXPECT_LE(reader.m_nLength, exact + 3 * 4096 * c.channels);
        EXPECT_TRUE(Drain(reader) == expected);

        const auto probe = ProbeWma(ToWide(path), PosixFiles());
        ASSERT_TRUE(probe);
        EXPECT_EQ(probe->bytes, static_cast<uint64_t>(reader.m_nLength));
        EXPECT_EQ(probe->bits, 16);
        EXPECT_EQ(probe->rate, c.rate);
        EXPECT_EQ(probe->channels, c.channels);
    }
}

TEST_F(WmaReader, ReadsTheAudioStreamListedLast) {
    const std::string first = WriteSound("1.wav", 2, 44100, 1);
    const std::string second = WriteSound("2.wav", 1, 22050, 2);
    const std::string path = Path("two.wma");
    Shell("ffmpeg -v error -y -i " + first + " -i " + second + " -map 0 -map 1 -c:a wmav2 -f asf " +
          path);
    CWmaReader reader(ToWide(path), PosixFiles());
    EXPECT_EQ(reader.m_nChannels, 1);
    EXPECT_EQ(reader.m_nSampleRate, 22050);
    EXPECT_TRUE(Drain(reader) == Capture("ffmpeg -v error -i " + path + " -map 0:1 -f s16le -"));
}

TEST_F(WmaReader, TellsAProtectedFile) {
    const Bytes good = ReadAll(Encode("wmav2", 2, 44100));
    const std::string path = Path("drm.wma");
    const std::string expected = "Cannot open " + path + ", file is digitally protected (DRM).";
    for (const Bytes& id : {kContentEncryption, kExtendedContentEncryption}) {
        WriteAll(path, WithObject(good, MakeObject(id, 40)));
        EXPECT_EQ(Failure(path), expected);
    }
    // Inside the header's extension, whose own fields take 22 bytes.
    Bytes extension = MakeObject(kHeaderExtension, 22);
    const Bytes inner = MakeObject(kContentEncryption, 4);
    extension.insert(extension.end(), inner.begin(), inner.end());
    StoreLe32(&extension[kObjectSizeAt], static_cast<uint32_t>(extension.size()));
    WriteAll(path, WithObject(good, extension));
    EXPECT_EQ(Failure(path), expected);
    // An object that means nothing changes nothing.
    WriteAll(path, WithObject(good, MakeObject(Bytes(16, 0x11), 40)));
    EXPECT_EQ(FailureOf([&] { CWmaReader(ToWide(path), PosixFiles()); }), "(none)");
}

TEST_F(WmaReader, RefusesWhatItCannotPlay) {
    const std::string good = Encode("wmav2", 2, 44100);
    const std::string path = Path("x.wma");
    const Bytes bytes = ReadAll(good);
    for (const Bytes& bad :
         {Bytes(), ReadAll(Path("sound.wav")), Bytes(bytes.begin(), bytes.begin() + 200)}) {
        WriteAll(path, bad);
        EXPECT_EQ(Failure(path), "Cannot open " + path + ".");
    }
    EXPECT_EQ(Failure("/no/such.wma"), "Cannot open /no/such.wma.");

    Shell("ffmpeg -v error -y -f lavfi -i testsrc=d=1:s=64x64 -c:v msmpeg4 -f asf " + path);
    EXPECT_EQ(Failure(path), "Cannot open " + path + ": no audio streams found in file.");
    Shell("ffmpeg -v error -y -i " + Path("sound.wav") + " -c:a libmp3lame -f asf " + path);
    EXPECT_EQ(Failure(path), "Internal error #206");

    // A file that was streamed says so in a flag and has no playing time.
    Bytes streamed = bytes;
    const auto properties = std::search(streamed.begin(), streamed.end(), kFileProperties.begin(),
                                        kFileProperties.end());
    ASSERT_NE(properties, streamed.end());
    properties[88] |= 1;
    WriteAll(path, streamed);
    EXPECT_EQ(Failure(path), "Internal error #205.");
}

TEST_F(WmaReader, HeaderWalkTakesNoSizeOnTrust) {
    const Bytes good = ReadAll(Encode("wmav2", 2, 44100));
    const std::string path = Path("x.wma");
    for (const uint32_t size : {0U, 23U, 0xFFFFFFFFU}) {
        Bytes object = MakeObject(kContentEncryption, 40);
        StoreLe32(&object[kObjectSizeAt], size);
        WriteAll(path, WithObject(good, object));
        const auto file = PosixFiles().OpenSequential(ToWide(path));
        const auto header = ReadAsfHeader(*file);
        ASSERT_TRUE(header);
        EXPECT_FALSE(header->isProtected);
        EXPECT_FALSE(header->duration);
    }
}

// A runtime that fails at one step.
class FailingRuntime final : public ISyncReader {
  public:
    enum class Step { None, Count, Stream, NoNumber, NoAudio, Duration, Output, Props };
    static Step s_step;

    OpenResult Open(ISequentialFile& /*file*/) override { return OpenResult::Opened; }
    bool GetStreamCount(uint32_t* count) override {
        *count = 1;
        return s_step != Step::Count;
    }
    bool GetStream(uint32_t /*index*/, SyncStream* stream) override {
        stream->number = s_step == Step::NoNumber ? 0 : 1;
        stream->isAudio = s_step != Step::NoAudio;
        return s_step != Step::Stream;
    }
    bool GetDuration(uint64_t* duration) override {
        *duration = 10'000'000;
        return s_step != Step::Duration;
    }
    bool GetOutputNumberForStream(uint16_t /*stream*/, uint32_t* output) override {
        *output = 0;
        return s_step != Step::Output;
    }
    bool GetOutputProps(uint32_t /*output*/, WaveFormat* format) override {
        *format = {.channels = 2, .samplesPerSecond = 44100, .bitsPerSample = 16};
        return s_step != Step::Props;
    }
    bool GetNextSample(std::span<const uint8_t>* /*samples*/) override { return false; }
    void RequestStop() override {}
};

FailingRuntime::Step FailingRuntime::s_step = FailingRuntime::Step::None;

SyncReaderResult CreateFailingRuntime(std::unique_ptr<ISyncReader>* reader) {
    *reader = std::make_unique<FailingRuntime>();
    return SyncReaderResult::Created;
}

TEST_F(WmaReader, HasATextForEachFailureOfTheRuntime) {
    const std::string path = WriteSound("any.wma", 1, 8000);
    const auto failure = [&](CreateSyncReaderFunction create) {
        return FailureOf([&] { CWmaReader(ToWide(path), PosixFiles(), create); });
    };
    EXPECT_EQ(failure([](std::unique_ptr<ISyncReader>*) { return SyncReaderResult::NotInstalled; }),
              "WMA decoding libraries aren't installed.");
    EXPECT_EQ(failure([](std::unique_ptr<ISyncReader>*) { return SyncReaderResult::Failed; }),
              "Cannot access WMA decoding library.");
    using Step = FailingRuntime::Step;
    const std::vector<std::pair<Step, std::string>> table = {
        {Step::None, "(none)"},
        {Step::Count, "Internal error #201."},
        {Step::Stream, "Internal error #202."},
        {Step::NoNumber, "Internal error #203."},
        {Step::NoAudio, "Cannot open " + path + ": no audio streams found in file."},
        {Step::Duration, "Internal error #205."},
        {Step::Output, "Internal error #206"},
        {Step::Props, "Internal error #207"}};
    for (const auto& [step, text] : table) {
        FailingRuntime::s_step = step;
        EXPECT_EQ(failure(&CreateFailingRuntime), text);
    }
}

TEST_F(WmaReader, LengthIsThePlayingTimeAndFiveThousandBytes) {
    FailingRuntime::s_step = FailingRuntime::Step::None;
    const std::string path = WriteSound("any.wma", 1, 8000);
    EXPECT_EQ(CWmaReader(ToWide(path), PosixFiles(), &CreateFailingRuntime).m_nLength,
              176400 + 5000);
}

} // namespace

} // namespace larkspin
