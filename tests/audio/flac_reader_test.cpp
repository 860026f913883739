#include "audio/readers/flac_reader.h"

#include "audio/codec_files.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace larkspin {

namespace {

using namespace codecs;

// Where STREAMINFO stands behind "fLaC" and the block's header, and fields in it (RFC 9639, 8.2).
constexpr size_t kStreamInfoAt = 8;
constexpr size_t kChannelsAt = kStreamInfoAt + 12; // bits 3 to 1: channels - 1
constexpr size_t kTotalAt = kStreamInfoAt + 13;    // its low half, then 32 bits more
constexpr size_t kStreamInfoEnd = kStreamInfoAt + 34;

class FlacReader : public testing::Test {
  protected:
    // Encodes `samples`; the file has no padding or tags, so frames follow STREAMINFO at once.
    std::string Encode(const std::vector<int32_t>& samples, int channels, int bits, int rate) {
        const std::string wav = m_folder.Path() + "/sound.wav";
        std::string path = m_folder.Path() + "/sound.flac";
        WriteAll(wav, MakeWav(PackSamples(samples, bits), rate, channels, bits));
        Shell("flac -s -f --no-padding --no-seektable --channel-map=none -o " + path + " " + wav);
        Bytes bytes = ReadAll(path);
        bytes[4] |= 0x80; // STREAMINFO becomes the last metadata block
        const size_t commentBytes =
            size_t{bytes[kStreamInfoEnd + 2]} << 8 | bytes[kStreamInfoEnd + 3];
        const auto comment = bytes.begin() + kStreamInfoEnd;
        bytes.erase(comment, comment + static_cast<ptrdiff_t>(4 + commentBytes));
        WriteAll(path, bytes);
        return path;
    }

    // What the reader gives for the file after `change` was done to its bytes.
    Bytes DecodeChanged(const std::string& path, const std::function<void(Bytes*)>& change) {
        Bytes bytes = ReadAll(path);
        change(&bytes);
        WriteAll(path, bytes);
        CFLACReader reader(ToWide(path), PosixFiles());
        return Drain(reader);
    }

    TempFolder m_folder;
};

TEST_F(FlacReader, GivesEightAndSixteenBitsBitForBit) {
    struct Case {
        int channels, bits, rate;
    };
    for (const Case& c : {Case{2, 16, 44100}, Case{1, 16, 22050}, Case{2, 8, 44100},
                          Case{1, 8, 8000}, Case{6, 16, 48000}}) {
        SCOPED_TRACE(testing::Message() << c.channels << " channels, " << c.bits << " bits");
        const std::vector<int32_t> samples = MakeSound(60001, c.channels, c.bits);
        const Bytes pcm = PackSamples(samples, c.bits);
        const std::string path = Encode(samples, c.channels, c.bits, c.rate);

        CFLACReader reader(ToWide(path), PosixFiles());
        EXPECT_EQ(reader.m_nChannels, c.channels);
        EXPECT_EQ(reader.m_nBits, c.bits);
        EXPECT_EQ(reader.m_nSampleRate, c.rate);
        EXPECT_EQ(reader.m_nLength, static_cast<int32_t>(pcm.size()));
        EXPECT_TRUE(Drain(reader) == pcm);

        const auto probe = ProbeFlac(ToWide(path), PosixFiles());
        ASSERT_TRUE(probe);
        EXPECT_EQ(probe->bytes, pcm.size());
        EXPECT_EQ(probe->bits, c.bits);
        EXPECT_EQ(probe->rate, c.rate);
        EXPECT_EQ(probe->channels, c.channels);
    }
}

TEST_F(FlacReader, NamesAWiderWidthAndGivesNoNoiseForIt) {
    const std::vector<int32_t> samples = MakeSound(20000, 2, 24);
    CFLACReader reader(ToWide(Encode(samples, 2, 24, 44100)), PosixFiles());
    EXPECT_EQ(reader.m_nBits, 24);
    EXPECT_EQ(reader.m_nLength, 20000 * 2 * 3);
    EXPECT_TRUE(Drain(reader).empty());
}

TEST_F(FlacReader, ReportsAnUnknownLengthAsZero) {
    const std::string path = Encode(MakeSound(20000, 2, 16), 2, 16, 44100);
    Bytes bytes = ReadAll(path);
    bytes[kTotalAt] &= 0xF0;
    std::fill_n(bytes.begin() + kTotalAt + 1, 4, uint8_t{0});
    WriteAll(path, bytes);
    CFLACReader reader(ToWide(path), PosixFiles());
    EXPECT_EQ(reader.m_nLength, 0);
    EXPECT_EQ(reader.GetDuration(), 0U);
    const auto probe = ProbeFlac(ToWide(path), PosixFiles());
    ASSERT_TRUE(probe);
    EXPECT_EQ(probe->bytes, 0U);
}

TEST_F(FlacReader, RefusesALengthThatFitsNoReader) {
    const std::string path = Encode(MakeSound(20000, 2, 16), 2, 16, 44100);
    Bytes bytes = ReadAll(path);
    bytes[kTotalAt] |= 0x0F;
    WriteAll(path, bytes);
    EXPECT_EQ(FailureOf([&] { CFLACReader(ToWide(path), PosixFiles()); }),
              "Cannot write sound.flac: it is longer than 2 GiB of sound.");
}

TEST_F(FlacReader, EndsAtFramesOfAnotherForm) {
    const std::string path = Encode(MakeSound(20000, 2, 16), 2, 16, 44100);
    EXPECT_TRUE(DecodeChanged(path, [](Bytes* bytes) { (*bytes)[kChannelsAt] &= 0xF1; }).empty());
}

TEST_F(FlacReader, StepsOverADamagedFrame) {
    const std::vector<int32_t> samples = MakeSound(60000, 2, 16);
    const Bytes pcm = PackSamples(samples, 16);
    const std::string path = Encode(samples, 2, 16, 44100);
    const Bytes got = DecodeChanged(path, [](Bytes* bytes) {
        std::fill_n(bytes->begin() + static_cast<ptrdiff_t>(bytes->size() / 2), 64, uint8_t{0x55});
    });
    // The sound before the damage and the sound behind it are whole.
    const size_t part = pcm.size() / 3;
    ASSERT_GE(got.size(), 2 * part);
    EXPECT_TRUE(std::equal(pcm.begin(), pcm.begin() + part, got.begin()));
    EXPECT_TRUE(std::equal(pcm.end() - part, pcm.end(), got.end() - part));
    EXPECT_FALSE(got == pcm);
}

TEST_F(FlacReader, MovesToASecond) {
    const int rate = 8000;
    const std::vector<int32_t> samples = MakeSound(size_t{20} * rate, 1, 16, rate);
    const Bytes pcm = PackSamples(samples, 16);
    CFLACReader reader(ToWide(Encode(samples, 1, 16, rate)), PosixFiles());
    EXPECT_EQ(reader.GetDuration(), 20U);
    reader.SetPosition(13);
    const Bytes got = Drain(reader);
    const size_t tail = size_t{7} * rate * 2;
    ASSERT_GE(got.size(), tail);
    EXPECT_LT(got.size(), pcm.size());
    EXPECT_TRUE(std::equal(got.end() - tail, got.end(), pcm.end() - tail));
    EXPECT_GE(reader.GetPosition(), 18U);
}

TEST_F(FlacReader, RefusesWhatIsNoFlac) {
    const std::string good = Encode(MakeSound(20000, 2, 16), 2, 16, 44100);
    const Bytes bytes = ReadAll(good);
    const std::string path = m_folder.Path() + "/x.flac";
    const Bytes framesAlone(bytes.begin() + kStreamInfoEnd, bytes.end());
    const Bytes cutInHeader(bytes.begin(), bytes.begin() + 20);
    for (const Bytes& bad :
         {Bytes(), ReadAll(m_folder.Path() + "/sound.wav"), framesAlone, cutInHeader}) {
        WriteAll(path, bad);
        EXPECT_EQ(FailureOf([&] { CFLACReader(ToWide(path), PosixFiles()); }), "not a FLAC file")
            << bad.size();
        EXPECT_FALSE(ProbeFlac(ToWide(path), PosixFiles()));
    }
    EXPECT_EQ(FailureOf([&] { CFLACReader(u"/no/such.flac", PosixFiles()); }), "cannot open");
}

} // namespace

} // namespace larkspin
