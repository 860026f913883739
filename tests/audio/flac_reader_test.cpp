// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/readers/flac_reader.h"

#include "audio/codec_files.h"
#include "support/memory_files.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace larkspin {

namespace {

using namespace codecs;

// Where STREAMINFO stands behind "fLaC" and the block's header, and fields in it (RFC 9639, 8.2).
constexpr size_t kStreamInfoAt = 8;
constexpr size_t kChannelsAt = kStreamInfoAt + 12; // bits 3 to 1: channels - 1
constexpr size_t kTotalAt = kStreamInfoAt + 13;    // its low half, then 32 bits more
constexpr const char* kNotDecoded = "its sound cannot be decoded.";

TEST(FlacReader, TakesStreamInfoAsItStands) {
    const Bytes good = Encoded(".flac", MakeTones(20000));
    MemoryFiles tooLong(good);
    tooLong.m_bytes[kTotalAt] |= 0x0F;
    EXPECT_EQ(FailureOf([&] { CFLACReader(u"/a.flac", tooLong); }),
              "it is longer than 2 GiB of sound.");
    EXPECT_EQ(ProbeHeader<CFLACReader>(u"/a.flac", tooLong)->bytes, uint64_t{0xF00004E20} * 4);

    MemoryFiles unknown(good);
    unknown.m_bytes[kTotalAt] &= 0xF0;
    std::fill_n(&unknown.m_bytes[kTotalAt + 1], 4, uint8_t{0});
    CFLACReader reader(u"/a.flac", unknown);
    EXPECT_EQ(reader.m_nLength, 0);
    EXPECT_EQ(reader.GetDuration(), 0U);
    EXPECT_EQ(ProbeHeader<CFLACReader>(u"/a.flac", unknown)->bytes, 0U);

    MemoryFiles otherFrames(good); // of two channels where one is told
    otherFrames.m_bytes[kChannelsAt] &= 0xF1;
    EXPECT_EQ(FailureOf([&] { CFLACReader(u"/a.flac", otherFrames); }), kNotDecoded);

    constexpr uint8_t kSync[] = {0xFF, 0xF8};
    MemoryFiles bareFrames(
        Bytes(std::search(good.begin(), good.end(), kSync, kSync + 2), good.end()));
    EXPECT_EQ(FailureOf([&] { CFLACReader(u"/a.flac", bareFrames); }), "not a FLAC file");
}

// libFLAC gives silence for a frame of which the check is wrong.
TEST(FlacReader, RefusesAFileOfDamagedFrames) {
    MemoryFiles files(Encoded(".flac", MakeTones(100000)));
    for (size_t at = files.m_bytes.size() / 4; at < files.m_bytes.size(); at += 3000) {
        files.m_bytes[at] ^= 0x10;
    }
    CFLACReader whole(u"/a.flac", files); // enough of the first second is left
    for (size_t at = 1000; at < files.m_bytes.size(); at += 3000) {
        files.m_bytes[at] ^= 0x10;
    }
    EXPECT_EQ(FailureOf([&] { CFLACReader(u"/a.flac", files); }), kNotDecoded);
}

TEST(FlacReader, StepsOverADamagedFrame) {
    const Sound sound = MakeTones(60000);
    MemoryFiles files(Encoded(".flac", sound));
    std::fill_n(&files.m_bytes[files.m_bytes.size() / 2], 64, uint8_t{0x55});
    CFLACReader reader(u"/a.flac", files);
    EXPECT_TRUE(LostItsMiddle(Drain(reader), Pcm(sound)));
    EXPECT_TRUE(reader.Loss().brokeOff);
}

TEST(FlacReader, LeavesASearchThatFindsNoFrame) {
    const Sound sound = MakeTones(5 * kCdReadChunkBytes / 4);
    MemoryFiles failing(Encoded(".flac", sound) + Bytes(20000));
    failing.m_nFailsAt = failing.m_bytes.size() - 1;
    CFLACReader broken(u"/a.flac", failing);
    EXPECT_TRUE(Drain(broken) == Pcm(sound));

    MemoryFiles endless(Encoded(".flac", sound));
    endless.m_bEndless = true;
    CFLACReader reader(u"/a.flac", endless);
    EXPECT_TRUE(Drain(reader, Pcm(sound).size()) == Pcm(sound));
    // And it can be destroyed.
}

} // namespace

} // namespace larkspin
