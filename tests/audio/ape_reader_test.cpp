#include "audio/readers/ape_reader.h"

#include "audio/ape_writer.h"
#include "audio/codec_files.h"
#include "platform/byte_order.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace larkspin {

namespace {

using namespace codecs;

class ApeReader : public testing::Test {
  protected:
    std::string Write(const ApeSound& sound) {
        std::string path = m_folder.Path() + "/sound.ape";
        WriteAll(path, WriteApe(sound));
        return path;
    }

    TempFolder m_folder;
};

ApeSound MakeApeSound(size_t frames, int channels, int bits, int rate) {
    return {.samples = MakeSound(frames, channels, bits),
            .channels = channels,
            .bits = bits,
            .rate = rate};
}

TEST_F(ApeReader, GivesEveryFormBitForBit) {
    struct Case {
        int channels, bits, rate;
        const char* rawForm;
    };
    for (const Case& c :
         {Case{2, 16, 44100, "s16le"}, Case{1, 16, 22050, "s16le"}, Case{2, 8, 44100, "u8"},
          Case{1, 8, 11025, "u8"}, Case{2, 24, 48000, "s24le"}}) {
        SCOPED_TRACE(testing::Message() << c.channels << " channels, " << c.bits << " bits");
        // The last frame is a short one.
        const ApeSound sound = MakeApeSound(50001, c.channels, c.bits, c.rate);
        const Bytes pcm = PackSamples(sound.samples, c.bits);
        const std::string path = Write(sound);
        // The writer is right only if a stranger reads its files.
        ASSERT_EQ(pcm, Capture("ffmpeg -v error -i " + path + " -f " + c.rawForm + " -"));

        CAPEReader reader(ToWide(path), PosixFiles());
        EXPECT_EQ(reader.m_nChannels, c.channels);
        EXPECT_EQ(reader.m_nBits, c.bits);
        EXPECT_EQ(reader.m_nSampleRate, c.rate);
        EXPECT_EQ(reader.m_nLength, static_cast<int32_t>(pcm.size()));
        EXPECT_TRUE(Drain(reader) == pcm);

        const auto probe = ProbeApe(ToWide(path), PosixFiles());
        ASSERT_TRUE(probe);
        EXPECT_EQ(probe->bytes, pcm.size());
        EXPECT_EQ(probe->bits, c.bits);
        EXPECT_EQ(probe->rate, c.rate);
        EXPECT_EQ(probe->channels, c.channels);
    }
}

TEST_F(ApeReader, GivesFramesOfSilenceAsZeros) {
    for (const int channels : {1, 2}) {
        ApeSound sound = MakeApeSound(30000, channels, 16, 44100);
        const auto frame = static_cast<ptrdiff_t>(sound.blocksPerFrame) * channels;
        std::fill(sound.samples.begin() + frame, sound.samples.begin() + 2 * frame, 0);
        CAPEReader reader(ToWide(Write(sound)), PosixFiles());
        EXPECT_TRUE(Drain(reader) == PackSamples(sound.samples, 16)) << channels;
    }
}

TEST_F(ApeReader, GivesLoudSoundBitForBit) {
    // Full-scale steps drive the coder into its escape code and its split of large values.
    ApeSound sound = MakeApeSound(20000, 2, 16, 44100);
    for (size_t i = 4000; i < sound.samples.size(); ++i) {
        sound.samples[i] = i % 700 < 350 ? 32767 : -32768;
    }
    CAPEReader reader(ToWide(Write(sound)), PosixFiles());
    EXPECT_TRUE(Drain(reader) == PackSamples(sound.samples, 16));
}

// An APEv2 tag with one item, a picture (the tag's footer alone, which is all that is asked for).
Bytes MakeCoverTag() {
    const std::string picture = "\xFF\xD8\xFF\xE0 not much of a picture";
    const std::string value = std::string("cover.jpg") + '\0' + picture;
    const std::string key = std::string("Cover Art (Front)") + '\0';
    Bytes tag(8);
    StoreLe32(&tag[0], static_cast<uint32_t>(value.size()));
    StoreLe32(&tag[4], 2); // binary
    tag.insert(tag.end(), key.begin(), key.end());
    tag.insert(tag.end(), value.begin(), value.end());
    const std::string magic = "APETAGEX";
    Bytes footer(magic.begin(), magic.end());
    footer.resize(32);
    StoreLe32(&footer[8], 2000);
    StoreLe32(&footer[12], static_cast<uint32_t>(tag.size() + footer.size()));
    StoreLe32(&footer[16], 1);
    tag.insert(tag.end(), footer.begin(), footer.end());
    return tag;
}

TEST_F(ApeReader, PlaysAFileWithTagsAroundIt) {
    const ApeSound sound = MakeApeSound(30000, 2, 16, 44100);
    const std::string id3 = "ID3\x03";
    constexpr size_t kId3Bytes = 10 + 256;
    Bytes file(id3.begin(), id3.end());
    file.resize(kId3Bytes);
    file[8] = 2; // 256 bytes behind the tag's header, in groups of seven bits
    const Bytes ape = WriteApe(sound);
    const Bytes cover = MakeCoverTag();
    file.insert(file.end(), ape.begin(), ape.end());
    file.insert(file.end(), cover.begin(), cover.end());
    const std::string path = m_folder.Path() + "/tagged.ape";
    WriteAll(path, file);
    CAPEReader reader(ToWide(path), PosixFiles());
    EXPECT_EQ(reader.m_nLength, 30000 * 4);
    EXPECT_TRUE(Drain(reader) == PackSamples(sound.samples, 16));
}

TEST_F(ApeReader, MovesToASecond) {
    const int rate = 8000;
    const ApeSound sound = MakeApeSound(size_t{20} * rate, 1, 16, rate);
    const Bytes pcm = PackSamples(sound.samples, 16);
    CAPEReader reader(ToWide(Write(sound)), PosixFiles());
    EXPECT_EQ(reader.GetDuration(), 20U);
    reader.SetPosition(13);
    // What was decoded before the request comes first; behind it the sound goes on at second 13.
    const Bytes got = Drain(reader);
    const size_t tail = size_t{7} * rate * 2;
    ASSERT_GE(got.size(), tail);
    EXPECT_LT(got.size(), pcm.size());
    EXPECT_TRUE(std::equal(got.end() - tail, got.end(), pcm.end() - tail));
    EXPECT_EQ(reader.GetPosition(), 20U);
}

TEST_F(ApeReader, RefusesWhatIsNoMonkeysAudio) {
    const std::string path = m_folder.Path() + "/x.ape";
    const Bytes good = WriteApe(MakeApeSound(20000, 2, 16, 44100));
    const Bytes wav = MakeWav(PackSamples(MakeSound(1000, 2, 16), 16), 44100, 2, 16);
    for (const Bytes& bytes : {Bytes(), wav, Bytes(good.begin(), good.begin() + 60)}) {
        WriteAll(path, bytes);
        EXPECT_EQ(FailureOf([&] { CAPEReader(ToWide(path), PosixFiles()); }), "cannot open");
        EXPECT_FALSE(ProbeApe(ToWide(path), PosixFiles()));
    }
    EXPECT_EQ(FailureOf([&] { CAPEReader(u"/no/such.ape", PosixFiles()); }), "cannot open");
}

} // namespace

} // namespace larkspin
