// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/readers/wma_reader.h"

#include "audio/codec_files.h"
#include "audio/readers/asf_header.h"
#include "platform/byte_order.h"
#include "support/memory_files.h"

#include <algorithm>
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
const Bytes kAdvancedContentEncryption = {0x33, 0x85, 0x05, 0x43, 0x81, 0x69, 0xE6, 0x49,
                                          0x9B, 0x74, 0xAD, 0x12, 0xCB, 0x86, 0xD5, 0x8C};
const Bytes kFileProperties = {0xA1, 0xDC, 0xAB, 0x8C, 0x47, 0xA9, 0xCF, 0x11,
                               0x8E, 0xE4, 0x00, 0xC0, 0x0C, 0x20, 0x53, 0x65};
const Bytes kHeaderExtension = {0xB5, 0x03, 0xBF, 0x5F, 0x2E, 0xA9, 0xCF, 0x11,
                                0x8E, 0xE3, 0x00, 0xC0, 0x0C, 0x20, 0x53, 0x65};

Bytes MakeObject(const Bytes& id, const Bytes& body) {
    Bytes object = id + Bytes(8) + body;
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
    WmaReader() { WriteSound(m_path, MakeTones(44100)); }

    // Of the reader for `file`; a probe of it must tell nothing.
    static std::string Failure(const Bytes& file) {
        MemoryFiles files(file);
        EXPECT_FALSE(ProbeHeader<CWmaReader>(u"/a.wma", files));
        return FailureOf([&] { CWmaReader(u"/a.wma", files); });
    }
    // Makes a file of the sound by another command line of the encoder.
    Bytes Made(const std::string& options) const {
        Capture("ffmpeg -v error -y -i " + m_path + ".wav " + options + " -f asf " + m_path);
        return ReadFileBytes(m_path);
    }

    TempFolder m_folder;
    std::string m_path = m_folder.Path() + "/sound.wma";
};

TEST_F(WmaReader, ReadsTheLastAudioStreamAndTheFirstVersionOfTheCodec) {
    const auto expect = [&](const std::string& options, int channels, int rate,
                            const std::string& stream) {
        MemoryFiles files(Made(options));
        CWmaReader reader(u"/a.wma", files);
        EXPECT_EQ(reader.m_nChannels, channels);
        EXPECT_EQ(reader.m_nSampleRate, rate);
        const std::string decode = "ffmpeg -v error -i " + m_path + " -f s16le -map ";
        EXPECT_TRUE(Drain(reader) == Capture(decode + stream + " -"));
    };
    expect("-map 0 -map 0 -c:a wmav2 -ac:a:1 1 -ar:a:1 22050", 1, 22050, "0:1");
    expect("-c:a wmav1", 2, 44100, "0:0");
}

TEST_F(WmaReader, TellsAProtectedFile) {
    const Bytes good = ReadFileBytes(m_path);
    for (const Bytes& object :
         {MakeObject(kContentEncryption, Bytes(40)), MakeObject(kExtendedContentEncryption, {}),
          MakeObject(kAdvancedContentEncryption, Bytes(4)),
          // Inside the header's extension, whose own fields take 22 bytes.
          MakeObject(kHeaderExtension, Bytes(22) + MakeObject(kContentEncryption, Bytes(4)))}) {
        EXPECT_EQ(Failure(WithObject(good, object)),
                  "Cannot open a.wma, file is digitally protected (DRM).");
    }
    // An object that means nothing changes nothing.
    MemoryFiles files(WithObject(good, MakeObject(Bytes(16, 0x11), Bytes(40))));
    EXPECT_EQ(FailureOf([&] { CWmaReader(u"/a.wma", files); }), "(none)");
}

TEST_F(WmaReader, RefusesWhatItCannotPlay) {
    // A file that was streamed says so in a flag and has no playing time.
    Bytes streamed = ReadFileBytes(m_path);
    const auto properties = std::search(streamed.begin(), streamed.end(), kFileProperties.begin(),
                                        kFileProperties.end());
    ASSERT_NE(properties, streamed.end());
    properties[88] |= 1;
    EXPECT_EQ(Failure(streamed), "Internal error #205.");
    EXPECT_EQ(Failure(Made("-c:a libmp3lame")), "Internal error #206");
    EXPECT_EQ(Failure(Made("-f lavfi -i testsrc=d=1:s=64x64 -map 1 -c:v msmpeg4")),
              "Cannot open a.wma: no audio streams found in file.");
}

TEST_F(WmaReader, HeaderWalkTakesNoSizeOnTrust) {
    for (const uint32_t size : {0U, 23U, 0xFFFFFFFFU}) {
        Bytes object = MakeObject(kContentEncryption, Bytes(40));
        StoreLe32(&object[kObjectSizeAt], size);
        MemoryFiles files(WithObject(ReadFileBytes(m_path), object));
        const auto header = ReadAsfHeader(*files.OpenSequential(u"/a.wma"));
        ASSERT_TRUE(header);
        EXPECT_FALSE(header->isProtected);
        EXPECT_FALSE(header->duration);
    }
}

// A runtime that does all that is asked of it for one second of sound, but for one step.
class Runtime final : public ISyncReader {
  public:
    static inline int s_failsAt = 0; // the step's place in the order of calls
    static inline SyncStream s_stream;

    OpenResult Open(ISequentialFile& /*file*/) override { return OpenResult::Opened; }
    bool GetStreamCount(uint32_t* count) override { return Step(count, 1); }
    bool GetStream(uint32_t, SyncStream* stream) override { return Step(stream, s_stream); }
    bool GetDuration(uint64_t* duration) override { return Step(duration, 10'000'000); }
    bool GetOutputNumberForStream(uint16_t, uint32_t* output) override { return Step(output, 0); }
    bool GetOutputProps(uint32_t, WaveFormat* format) override {
        return Step(format, {.channels = 2, .samplesPerSecond = 44100, .bitsPerSample = 16});
    }
    bool GetNextSample(std::span<const uint8_t>* samples) override {
        *samples = m_second;
        return true;
    }
    void RequestStop() override {}

  private:
    template <class Answer>
    bool Step(Answer* to, const std::type_identity_t<Answer>& answer) {
        *to = answer;
        return ++m_nSteps != s_failsAt;
    }

    int m_nSteps = 0;
    Bytes m_second = Bytes(176400);
};

TEST_F(WmaReader, HasATextForEachFailureOfTheRuntime) {
    MemoryFiles files({});
    const auto failure = [&](CreateSyncReaderFunction create) {
        return FailureOf([&] { CWmaReader(u"/a.wma", files, create); });
    };
    EXPECT_EQ(failure([](auto*) { return SyncReaderResult::NotInstalled; }),
              "WMA decoding libraries aren't installed.");
    EXPECT_EQ(failure([](auto*) { return SyncReaderResult::Failed; }),
              "Cannot access WMA decoding library.");
    const CreateSyncReaderFunction create = [](std::unique_ptr<ISyncReader>* reader) {
        *reader = std::make_unique<Runtime>();
        return SyncReaderResult::Created;
    };
    const auto expect = [&](int failsAt, SyncStream stream, const char* text) {
        Runtime::s_failsAt = failsAt;
        Runtime::s_stream = stream;
        EXPECT_EQ(failure(create), text);
    };
    expect(1, {1, true}, "Internal error #201.");
    expect(2, {1, true}, "Internal error #202.");
    expect(3, {1, true}, "Internal error #205.");
    expect(4, {1, true}, "Internal error #206");
    expect(5, {1, true}, "Internal error #207");
    expect(0, {0, true}, "Internal error #203.");
    expect(0, {1, false}, "Cannot open a.wma: no audio streams found in file.");
    expect(0, {1, true}, "(none)");
    // The playing time and 5000 bytes.
    EXPECT_EQ(CWmaReader(u"/a.wma", files, create).m_nLength, 176400 + 5000);
}

} // namespace

} // namespace larkspin
