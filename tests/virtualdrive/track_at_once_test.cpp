// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Track at once on CD: where tracks and sessions come to lie, what can be read back, and what the
// disc says of itself on the way.
#include "host.h"

namespace larkspin {

namespace {

class TrackAtOnceTest : public DriveTest {
  protected:
    void WriteTrack(int32_t start, const Bytes& bytes) {
        ASSERT_EQ(host.NextWritable(), start);
        ExpectGood({host.WriteAll(start, bytes), host.SynchronizeCache()});
    }
};

constexpr int kIncompleteEmptySession = 1;
constexpr int kIncompleteOpenSession = 1 | 1 << 2;
constexpr int kComplete = 2 | 3 << 2;

TEST_F(TrackAtOnceTest, SessionsFollowEachOtherAtRedBookDistances) {
    Load("cd-r");
    ASSERT_EQ(host.SelectTrackAtOnce(), kGood);
    WriteTrack(0, Blocks(300, 1));
    EXPECT_EQ(host.DiscStatus(), kIncompleteOpenSession);
    EXPECT_EQ(host.Read(0, 1), kOutOfRange) << "an open session can't be read";
    ASSERT_EQ(host.Close(2), kGood);
    EXPECT_EQ(host.DiscStatus(), kIncompleteEmptySession);
    EXPECT_EQ(host.DataAt(16, 4), (Bytes{0, 1, 36, 2})) << "lead-in of the session to come";
    // 300 blocks, 2 of run-out, then lead-out, lead-in and pre-gap.
    WriteTrack(302 + 11'400, Blocks(1000, 2));
    ASSERT_EQ(host.Close(2), kGood);
    const int32_t third = 11'702 + 1002 + 6'900;
    ASSERT_EQ(host.SelectTrackAtOnce(0), kGood);
    WriteTrack(third, Blocks(517, 3));
    ASSERT_EQ(host.Close(2), kGood);
    EXPECT_EQ(host.DiscStatus(), kComplete);
    EXPECT_EQ(host.data[4], 3) << "sessions";

    Reload();
    ASSERT_EQ(host.Toc(1), kGood);
    EXPECT_EQ(host.data[3], 3) << "the last complete session";
    EXPECT_EQ(host.Data32(8), static_cast<uint32_t>(third));
    EXPECT_EQ(host.LastBlock(), static_cast<uint32_t>(third) + 517 + 2 - 1);
    ASSERT_EQ(host.Toc(0, 2, true), kGood);
    // Track 2 at 02:38:02 and track 3 at 04:23:29; the lead-out 519 blocks behind.
    EXPECT_EQ(host.DataAt(0, 28), (Bytes{0, 26, 1, 3, 0,  0x14, 2, 0,    0,    2, 38, 2, 0,  0x14,
                                         3, 0,  0, 4, 23, 29,   0, 0x14, 0xAA, 0, 0,  4, 30, 23}));
    EXPECT_EQ(host.Toc(0, 4), kInvalidFieldInCdb) << "begins behind the last track";

    ExpectRead(0, Blocks(300, 1));
    ExpectRead(11'702, Blocks(1000, 2));
    ExpectRead(third, Blocks(517, 3));
    EXPECT_EQ(host.Read(299, 2), kUnreadable) << "run-out can't be read";
    EXPECT_EQ(host.Read(5000, 1), kUnreadable) << "nor the gap between sessions";
    EXPECT_EQ(host.Read(third + 519, 1), kOutOfRange);
    EXPECT_EQ(ReadFileBytes(File("track-02.iso")), Blocks(1000, 2));

    EXPECT_EQ(host.TrackInformation(1, 0xFF), kInvalidFieldInCdb) << "nothing invisible any more";
    EXPECT_EQ(host.Write(third + 519 + 6'900, Bytes(2048)), kCannotWrite);
}

TEST_F(TrackAtOnceTest, TracksOfOneSessionAreApartByRunOutAndPregap) {
    Load("cd-r");
    ASSERT_EQ(host.SelectTrackAtOnce(), kGood);
    WriteTrack(0, Blocks(400, 1));
    WriteTrack(400 + 2 + 150, Blocks(300, 2));
    EXPECT_EQ(host.TrackInformation(1, 2), kGood);
    EXPECT_EQ(host.Data32(8), 552U);
    EXPECT_EQ(host.Data32(24), 300U);
    EXPECT_EQ(host.data[7], 2) << "no next address, but a last one";
    EXPECT_EQ(host.Data32(28), 851U);
    ASSERT_EQ(host.TrackInformation(0, 551), kOutOfRange) << "in no track";
    ASSERT_EQ(host.TrackInformation(0, 851), kGood);
    EXPECT_EQ(host.data[2], 2) << "the track of a block";
    ASSERT_EQ(host.Close(2), kGood);
    // Full TOC: A0, A1, A2, two tracks and the pointer to the next session.
    ASSERT_EQ(host.Toc(2, 1), kGood);
    ASSERT_EQ(LoadBe16(&host.data[0]), 2 + 6 * 11);
    Bytes points;
    for (size_t row = 4; row < 4 + 6 * 11; row += 11) {
        points.push_back(host.data[row + 3]);
    }
    EXPECT_EQ(points, (Bytes{0xA0, 0xA1, 0xA2, 1, 2, 0xB0}));
    // Lead-out at block 854, which is 00:13:29.
    EXPECT_EQ(host.DataAt(26 + 8, 3), (Bytes{0, 13, 29}));
    // The next session may begin 11,400 blocks behind it, with its pregap.
    EXPECT_EQ(host.DataAt(59 + 4, 3), (Bytes{2, 43, 29}));
}

TEST_F(TrackAtOnceTest, ATrackHasItsLeastLengthAndTheDiscItsMost) {
    Load("cd-r", 400);
    ExpectGood(
        {host.SelectTrackAtOnce(), host.WriteAll(0, Blocks(299, 1)), host.SynchronizeCache()});
    EXPECT_EQ(host.Close(1, 2), kInvalidFieldInCdb) << "no such track";
    for (const uint8_t track : {1, 0xFF}) {
        EXPECT_EQ(host.Close(1, track), kIncompleteTrack);
    }
    EXPECT_EQ(host.Close(2), kIncompleteTrack);
    // The track is still open, for all that is free and no more.
    EXPECT_EQ(host.Write(299, Blocks(102, 2)), kEndOfArea);
    ExpectGood({host.Write(299, Blocks(101, 2)), host.Close(2)});
    ExpectRead(0, Blocks(299, 1) + Blocks(101, 2));
}

TEST_F(TrackAtOnceTest, BlankingMakesARewritableDiscEmpty) {
    for (const uint8_t type : {0, 1}) {
        Load("cd-rw");
        ASSERT_EQ(host.SelectTrackAtOnce(0), kGood);
        WriteTrack(0, Blocks(320, 1));
        ASSERT_EQ(host.Close(2), kGood);
        EXPECT_EQ(host.DiscStatus(), kComplete | 16);
        EXPECT_EQ(host.Blank(2), kInvalidFieldInCdb);
        ASSERT_EQ(host.Blank(type), kGood);
        EXPECT_EQ(host.DiscStatus(), 16);
        EXPECT_FALSE(std::filesystem::exists(File("track-01.iso")));
        WriteTrack(0, Blocks(300, 5));
        ASSERT_EQ(host.Close(2), kGood);
        ExpectRead(0, Blocks(300, 5));
    }
}

TEST_F(TrackAtOnceTest, AudioTracksGetACueSheet) {
    Load("cd-r");
    ASSERT_EQ(host.SelectWriteType(1, 0, 0, 0), kGood);
    const Bytes song = Blocks(310, 1, 2352);
    ExpectGood({host.WriteAll(0, song, 2352), host.Close(2)});
    EXPECT_EQ(host.Read(0, 1), kIllegalMode);
    ExpectAudio(0, Bytes(song.begin(), song.begin() + 200L * 2352));
    EXPECT_EQ(ReadFileBytes(File("track-01.bin")), song);
    const Bytes cue = ReadFileBytes(File("disc.cue"));
    EXPECT_EQ(std::string(cue.begin(), cue.end()),
              "FILE \"track-01.bin\" BINARY\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n");
}

} // namespace

} // namespace larkspin
