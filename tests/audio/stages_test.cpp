// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

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

std::unique_ptr<CReader> Source(Bytes bytes, SourceFormat format = {}) {
    return std::make_unique<MemoryReader>(std::move(bytes), format);
}

TEST(MonoToStereo, DoublesSamplesAndDropsAStrayByte) {
    const Bytes mono = Payload(1001, 1);
    CMonoToStereo stage(Source(mono, {.rate = 44100, .channels = 1, .bits = 16}));
    Bytes expected;
    for (size_t i = 0; i + 1 < mono.size(); i += 2) {
        expected.insert(expected.end(), {mono[i], mono[i + 1], mono[i], mono[i + 1]});
    }
    // Requests that are no whole number of frames must not cut samples in two.
    EXPECT_EQ(Drain(stage, SIZE_MAX, 7), expected);
}

TEST(Aligner, GivesWhatWasClaimedInWholeBlocks) {
    const struct {
        size_t has;
        int32_t claims, length;
    } cases[] = {
        {0, 0, 0},          {2352, 2352, 2352}, {2353, 2353, 4704},    {100, 5000, 7056},
        {9000, 2352, 2352}, {4704, 2353, 4704}, {50000, 50000, 51744}, {18816, 40000, 42336},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.has << " bytes of " << c.claims);
        const Bytes source = Payload(c.has, 1);
        std::unique_ptr<CReader> reader = Source(source);
        reader->m_nLength = c.claims;
        CAligner stage(std::move(reader), kCdBlockBytes);
        EXPECT_EQ(stage.m_nLength, c.length);
        Bytes expected(static_cast<size_t>(c.length), 0);
        std::copy_n(source.begin(), std::min(source.size(), expected.size()), expected.begin());
        EXPECT_EQ(Drain(stage), expected);
        EXPECT_TRUE(Drain(stage).empty()) << "an end is an end for good";
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
