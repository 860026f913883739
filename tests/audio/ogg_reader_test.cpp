#include "audio/readers/ogg_reader.h"

#include "audio/codec_files.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace larkspin {

namespace {

using namespace codecs;

class OggReader : public testing::Test {
  protected:
    std::string Encode(const std::string& name, size_t frames, int channels, int rate,
                       uint32_t seed = 1) {
        const std::string wav = m_folder.Path() + "/sound.wav";
        std::string path = m_folder.Path() + "/" + name;
        const std::vector<int32_t> samples = MakeSound(frames, channels, 16, seed);
        WriteAll(wav, MakeWav(PackSamples(samples, 16), rate, channels, 16));
        Shell("oggenc -Q --serial " + std::to_string(seed) + " -o " + path + " " + wav);
        return path;
    }
    std::string Join(const std::string& first, const std::string& second) {
        std::string path = m_folder.Path() + "/chained.ogg";
        Shell("cat " + first + " " + second + " > " + path);
        return path;
    }

    TempFolder m_folder;
};

Bytes ReferenceDecode(const std::string& path) {
    return Capture("oggdec -Q -R -o - " + path);
}

Bytes Decode(const std::string& path) {
    COggReader reader(ToWide(path), PosixFiles());
    return Drain(reader);
}

// Offsets of the pages of an Ogg stream (RFC 3533, section 6).
std::vector<size_t> PageOffsets(const Bytes& bytes) {
    constexpr std::string_view kCapture = "OggS";
    std::vector<size_t> offsets;
    for (auto at = bytes.begin();; ++at) {
        at = std::search(at, bytes.end(), kCapture.begin(), kCapture.end());
        if (at == bytes.end()) {
            return offsets;
        }
        offsets.push_back(static_cast<size_t>(at - bytes.begin()));
    }
}

TEST_F(OggReader, EqualsTheReferenceDecoder) {
    struct Case {
        int channels, rate;
    };
    for (const Case& c : {Case{2, 44100}, Case{1, 22050}, Case{2, 48000}}) {
        SCOPED_TRACE(testing::Message() << c.channels << " channels, " << c.rate << " Hz");
        const std::string path = Encode("sound.ogg", 100001, c.channels, c.rate);
        const Bytes expected = ReferenceDecode(path);
        ASSERT_EQ(expected.size(), size_t{100001} * 2 * static_cast<size_t>(c.channels));

        COggReader reader(ToWide(path), PosixFiles());
        EXPECT_EQ(reader.m_nBits, 16);
        EXPECT_EQ(reader.m_nChannels, c.channels);
        EXPECT_EQ(reader.m_nSampleRate, c.rate);
        // The length comes from seconds and may fall short by the fraction that is cut off.
        EXPECT_LE(reader.m_nLength, static_cast<int32_t>(expected.size()));
        EXPECT_GE(reader.m_nLength + 1, static_cast<int32_t>(expected.size()));
        EXPECT_TRUE(Drain(reader) == expected);

        const auto probe = ProbeOgg(ToWide(path), PosixFiles());
        ASSERT_TRUE(probe);
        EXPECT_EQ(probe->bytes, static_cast<uint64_t>(reader.m_nLength));
        EXPECT_EQ(probe->bits, 16);
        EXPECT_EQ(probe->rate, c.rate);
        EXPECT_EQ(probe->channels, c.channels);
    }
}

TEST_F(OggReader, PlaysLinksOfTheSameFormAndStopsBeforeAnother) {
    const std::string first = Encode("1.ogg", 50000, 2, 44100, 1);
    Bytes expected = ReferenceDecode(first);

    const std::string mono = Join(first, Encode("2.ogg", 50000, 1, 44100, 2));
    EXPECT_TRUE(Decode(mono) == expected);
    const std::string slower = Join(first, Encode("3.ogg", 48000, 2, 48000, 3));
    EXPECT_TRUE(Decode(slower) == expected);
    // The time of the other link still counts, so that silence stands in its place.
    EXPECT_NEAR(COggReader(ToWide(slower), PosixFiles()).m_nLength, 4 * (50000 + 44100), 1);

    const std::string second = Encode("4.ogg", 40000, 2, 44100, 4);
    const Bytes more = ReferenceDecode(second);
    expected.insert(expected.end(), more.begin(), more.end());
    EXPECT_TRUE(Decode(Join(first, second)) == expected);
}

TEST_F(OggReader, PlaysOnAcrossAHole) {
    const std::string path = Encode("sound.ogg", 400000, 2, 44100);
    const Bytes whole = ReferenceDecode(path);
    Bytes bytes = ReadAll(path);
    const std::vector<size_t> pages = PageOffsets(bytes);
    ASSERT_GE(pages.size(), 8U);
    const size_t middle = pages.size() / 2;
    bytes.erase(bytes.begin() + static_cast<ptrdiff_t>(pages[middle]),
                bytes.begin() + static_cast<ptrdiff_t>(pages[middle + 1]));
    WriteAll(path, bytes);

    const Bytes got = Decode(path);
    EXPECT_LT(got.size(), whole.size());
    const size_t part = whole.size() / 3;
    ASSERT_GE(got.size(), 2 * part);
    EXPECT_TRUE(std::equal(whole.begin(), whole.begin() + part, got.begin()));
    EXPECT_TRUE(std::equal(whole.end() - part, whole.end(), got.end() - part));
}

TEST_F(OggReader, ServesRequestsOfAnySizeInWholeFrames) {
    const std::string path = Encode("sound.ogg", 3000, 2, 44100);
    const Bytes expected = ReferenceDecode(path);
    COggReader reader(ToWide(path), PosixFiles());
    Bytes got;
    for (;;) {
        uint8_t buffer[1003];
        uint32_t count = 0;
        reader.Read(buffer, sizeof buffer, &count);
        if (count == 0) {
            break;
        }
        got.insert(got.end(), buffer, buffer + count);
    }
    EXPECT_TRUE(got == expected);
    uint8_t byte = 0;
    uint32_t count = 1;
    reader.Read(&byte, 1, &count);
    EXPECT_EQ(count, 0U);
}

TEST_F(OggReader, RefusesWhatIsNoOggVorbis) {
    const std::string good = Encode("good.ogg", 50000, 2, 44100);
    const Bytes bytes = ReadAll(good);
    const std::string path = m_folder.Path() + "/x.ogg";
    const Bytes cutInHeaders(bytes.begin(), bytes.begin() + 100);
    for (const Bytes& bad : {Bytes(), ReadAll(m_folder.Path() + "/sound.wav"), cutInHeaders}) {
        WriteAll(path, bad);
        EXPECT_EQ(FailureOf([&] { COggReader(ToWide(path), PosixFiles()); }),
                  path + " is not an OggVorbis file.");
        EXPECT_FALSE(ProbeOgg(ToWide(path), PosixFiles()));
    }
    EXPECT_EQ(FailureOf([&] { COggReader(u"/no/such.ogg", PosixFiles()); }),
              "Cannot open /no/such.ogg.");
}

} // namespace

} // namespace larkspin
