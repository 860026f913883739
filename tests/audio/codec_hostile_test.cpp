// What every reader of a compressed format must bear: damaged files, files that fail or trickle
// while they are read, an end in the middle, and as many readers at once as a CD has tracks.

#include "audio/ape_writer.h"
#include "audio/codec_files.h"
#include "audio/readers/ape_reader.h"
#include "audio/readers/flac_reader.h"
#include "audio/readers/ogg_reader.h"
#include "audio/readers/wma_reader.h"
#include "support/memory_files.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>

namespace larkspin {

namespace {

using namespace codecs;

constexpr size_t kFrames = 60000;

struct Sample {
    TempFolder folder;
    std::string wav = folder.Path() + "/sound.wav";
    std::string path = folder.Path() + "/sound";

    Sample() { WriteAll(wav, MakeWav(PackSamples(MakeSound(kFrames, 2, 16), 16), 44100, 2, 16)); }
};

struct Flac {
    using Reader = CFLACReader;
    static constexpr auto kProbe = &ProbeFlac;
    static void Make(const Sample& to) { Shell("flac -s -f -o " + to.path + " " + to.wav); }
};
struct Ogg {
    using Reader = COggReader;
    static constexpr auto kProbe = &ProbeOgg;
    static void Make(const Sample& to) {
        Shell("oggenc -Q --serial 1 -o " + to.path + " " + to.wav);
    }
};
struct Wma {
    using Reader = CWmaReader;
    static constexpr auto kProbe = &ProbeWma;
    static void Make(const Sample& to) {
        Shell("ffmpeg -v error -i " + to.wav + " -c:a wmav2 -f asf " + to.path);
    }
};
struct Ape {
    using Reader = CAPEReader;
    static constexpr auto kProbe = &ProbeApe;
    static void Make(const Sample& to) {
        WriteAll(to.path, WriteApe({.samples = MakeSound(kFrames, 2, 16)}));
    }
};

template <class Format>
class CodecReader : public testing::Test {
  protected:
    CodecReader() {
        Format::Make(m_sample);
        m_bytes = ReadAll(m_sample.path);
    }

    // What a reader gives for `files`, and nothing if it refuses them. A probe comes first.
    static Bytes Decode(MemoryFiles& files) {
        Format::kProbe(u"x", files);
        try {
            typename Format::Reader reader(u"x", files);
            return Drain(reader, 4 * kFrames * 4);
        } catch (const CReaderException& failure) {
            EXPECT_STRNE(failure.what(), "");
            return {};
        }
    }

    Sample m_sample;
    Bytes m_bytes;
};

using Formats = testing::Types<Flac, Ogg, Wma, Ape>;
TYPED_TEST_SUITE(CodecReader, Formats);

TYPED_TEST(CodecReader, BearsFlippedBits) {
    for (uint32_t seed = 0; seed < 80; ++seed) {
        std::mt19937 random(seed);
        MemoryFiles files(this->m_bytes);
        // Half of the files are hurt in the headers alone.
        const size_t reach =
            seed % 2 == 0 ? std::min<size_t>(600, files.m_bytes.size()) : files.m_bytes.size();
        for (uint32_t i = 0; i < 1 + seed % 20; ++i) {
            files.m_bytes[random() % reach] ^= static_cast<uint8_t>(1U << random() % 8);
        }
        this->Decode(files);
    }
}

TYPED_TEST(CodecReader, BearsMissingTails) {
    MemoryFiles whole(this->m_bytes);
    const Bytes expected = this->Decode(whole);
    ASSERT_GT(expected.size(), kFrames * 3);
    for (size_t i = 0; i < 40; ++i) {
        MemoryFiles files(this->m_bytes);
        files.m_bytes.resize(files.m_bytes.size() * i / 40);
        EXPECT_LE(this->Decode(files).size(), expected.size()) << i;
        // The same file, but its last bytes are there and cannot be read.
        MemoryFiles failing(this->m_bytes);
        failing.m_nFailsAt = failing.m_bytes.size() * i / 40;
        EXPECT_LE(this->Decode(failing).size(), expected.size()) << i;
    }
}

TYPED_TEST(CodecReader, GivesTheSameFromAFileThatTrickles) {
    MemoryFiles whole(this->m_bytes);
    MemoryFiles trickling(this->m_bytes);
    trickling.m_nMost = 7;
    EXPECT_TRUE(this->Decode(trickling) == this->Decode(whole));
}

TYPED_TEST(CodecReader, StaysAtItsEnd) {
    typename TypeParam::Reader reader(ToWide(this->m_sample.path), PosixFiles());
    Drain(reader);
    uint8_t buffer[64];
    for (int i = 0; i < 3; ++i) {
        uint32_t got = 1;
        reader.Read(buffer, sizeof buffer, &got);
        EXPECT_EQ(got, 0U);
    }
}

TYPED_TEST(CodecReader, NinetyNineLiveAtOnceAndGoAtAnyMoment) {
    std::vector<std::unique_ptr<CReader>> readers;
    for (size_t i = 0; i < 99; ++i) {
        readers.push_back(std::make_unique<typename TypeParam::Reader>(ToWide(this->m_sample.path),
                                                                       PosixFiles()));
        uint8_t buffer[512];
        for (size_t reads = 0; reads < i; ++reads) {
            uint32_t got = 0;
            readers.back()->Read(buffer, sizeof buffer, &got);
            ASSERT_EQ(got, sizeof buffer);
        }
    }
    // Each one still works beside the others, and all but the first go in the middle.
    EXPECT_GT(Drain(*readers.front()).size(), kFrames * 3);
}

} // namespace

} // namespace larkspin
