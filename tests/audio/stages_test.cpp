#include "audio/stages/aligner.h"
#include "audio/stages/bit_enhancer.h"
#include "audio/stages/mono_to_stereo.h"
#include "audio/stages/resampler.h"

#include "audio/codec_files.h"
#include "audio/memory_reader.h"

#include <gtest/gtest.h>

namespace larkspin {

namespace {

using namespace codecs;

std::unique_ptr<CReader> Source(Bytes bytes, SourceFormat format = {}, int32_t claimed = -1) {
    return std::make_unique<MemoryReader>(std::move(bytes), format, claimed);
}

Bytes Counting(size_t count) {
    Bytes bytes(count);
    for (size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<uint8_t>(i * 7 + i / 256 + 1);
    }
    return bytes;
}

TEST(BitEnhancer, WidensEveryValueInPlace) {
    Bytes every(256);
    for (size_t v = 0; v < every.size(); ++v) {
        every[v] = static_cast<uint8_t>(v);
    }
    CBitEnhancer stage(Source(every, {.rate = 8000, .channels = 1, .bits = 8}));
    EXPECT_EQ(stage.m_nLength, 512);
    EXPECT_EQ(stage.m_nSampleRate, 8000);
    EXPECT_EQ(stage.m_nChannels, 1);
    EXPECT_EQ(stage.m_nBits, 16);
    // A request for more than there is: the source's bytes stand in the middle of the buffer.
    Bytes out(700, 0xEE);
    uint32_t got = 0;
    stage.Read(out.data(), 700, &got);
    ASSERT_EQ(got, 512U);
    const std::vector<int16_t> samples = ToSamples(out);
    for (int v = 0; v < 256; ++v) {
        EXPECT_EQ(samples[v], (v - 128) * 256);
    }
    stage.Read(out.data(), 700, &got);
    EXPECT_EQ(got, 0U);
}

TEST(MonoToStereo, DoublesSamplesAndDropsAStrayByte) {
    const Bytes mono = Counting(1001);
    CMonoToStereo stage(Source(mono, {.rate = 44100, .channels = 1, .bits = 16}));
    EXPECT_EQ(stage.m_nLength, 2002);
    EXPECT_EQ(stage.m_nChannels, 2);
    Bytes expected;
    for (size_t i = 0; i + 1 < mono.size(); i += 2) {
        expected.insert(expected.end(), {mono[i], mono[i + 1], mono[i], mono[i + 1]});
    }
    // Requests that are no whole number of frames must not cut samples in two.
    Bytes got;
    for (uint32_t request = 6, count = 1; count > 0; ++request) {
        Bytes part(request);
        stage.Read(part.data(), request, &count);
        got.insert(got.end(), part.begin(), part.begin() + count);
    }
    EXPECT_EQ(got, expected);
}

TEST(Aligner, GivesWhatWasClaimedInWholeBlocks) {
    const struct {
        size_t has;
        int32_t claims, length;
    } cases[] = {
        {0, 0, 0},
        {2352, 2352, 2352},
        {2353, 2353, 4704},
        {2351, 2351, 2352},
        {100, 5000, 7056},
        {9000, 2352, 2352},
        {0, 2352, 2352},
        {4704, 2353, 4704},
        {50000, 50000, 51744},
        {18816, 40000, 42336},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.has << " bytes of " << c.claims);
        const Bytes source = Counting(c.has);
        CAligner stage(Source(source, {}, c.claims), kCdBlockBytes);
        EXPECT_EQ(stage.m_nLength, c.length);
        Bytes expected(static_cast<size_t>(c.length), 0);
        std::copy_n(source.begin(), std::min(source.size(), expected.size()), expected.begin());
        EXPECT_EQ(Drain(stage), expected);
        uint32_t got = 1;
        uint8_t more[16];
        stage.Read(more, sizeof more, &got);
        EXPECT_EQ(got, 0U);
    }
}

TEST(Stages, RefuseTheWrongSource) {
    const auto wide = [] { return Source({}, {.bits = 24}); };
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[] { CBitEnhancer stage(nullptr); }, "Internal error #292."},
        {[&] { CBitEnhancer stage(wide()); }, "Internal error #293."},
        {[] { CResampler stage(nullptr, 44100); }, "Internal error #183."},
        {[&] { CResampler stage(wide(), 44100); }, "Internal error #184."},
        {[] { CMonoToStereo stage(nullptr); }, "Internal error #192."},
        {[] { CMonoToStereo stage(Source({})); }, "Internal error #193."},
        {[] { CAligner stage(nullptr, 2352); }, "Internal error #392."},
    };
    for (const auto& [make, text] : cases) {
        EXPECT_EQ(FailureOf(make), text);
    }
}

} // namespace

} // namespace larkspin
