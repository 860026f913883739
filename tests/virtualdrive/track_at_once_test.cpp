// Track at once on CD: where tracks and sessions come to lie, what can be read back, and what the
// disc says of itself on the way.
#include "host.h"

#include <filesystem>

namespace larkspin {

namespace {

class TrackAtOnceTest : public DriveTest {
  protected:
    void WriteTrack(int32_t start, const Bytes& bytes) {
        ASSERT_EQ(host.NextWritable(), start);
        ASSERT_EQ(host.WriteAll(start, bytes), kGood);
        ASSERT_EQ(host.SynchronizeCache(), kGood);
    }
};

constexpr int kEmpty = 0;
constexpr int kIncompleteEmptySession = 1;
constexpr int kIncompleteOpenSession = 1 | 1 << 2;
constexpr int kComplete = 2 | 3 << 2;

TEST_F(TrackAtOnceTest, BlankDiscTellsItsCapacity) {
    Load("cd-r");
    EXPECT_EQ(host.DiscStatus(), kEmpty);
    // Lead-in of the only session, and 79:59:74 as the last start of the lead-out.
    EXPECT_EQ(Bytes(host.data.begin() + 16, host.data.begin() + 24),
              (Bytes{0, 97, 0, 0, 0, 79, 59, 74}));
    EXPECT_EQ(host.TrackInformation(1, 0xFF), kGood);
    EXPECT_EQ(host.data[6] & 0xF0, 0x40); // blank, not reserved, no packets
    EXPECT_EQ(LoadBe32(&host.data[12]), 0U);
    EXPECT_EQ(LoadBe32(&host.data[16]), 359'849U);
    // In one go a session begins with its pre-gap.
    EXPECT_EQ(host.SelectSessionAtOnce(), kGood);
    EXPECT_EQ(host.NextWritable(), -150);
}

TEST_F(TrackAtOnceTest, SessionsFollowEachOtherAtRedBookDistances) {
    Load("cd-r");
    const Bytes first = Pattern(300UL * 2048, 1);
    const Bytes second = Pattern(1000UL * 2048, 2);
    const Bytes third = Pattern(517UL * 2048, 3);
    ASSERT_EQ(host.SelectTrackAtOnce(), kGood);

    WriteTrack(0, first);
    EXPECT_EQ(host.DiscStatus(), kIncompleteOpenSession);
    EXPECT_EQ(host.Read(0, 1), 0x52100) << "an open session can't be read";
    ASSERT_EQ(host.Close(2), kGood);
    EXPECT_EQ(host.DiscStatus(), kIncompleteEmptySession);
    // 300 blocks, 2 of run-out, then lead-out, lead-in and pre-gap.
    WriteTrack(302 + 11'400, second);
    ASSERT_EQ(host.Close(2), kGood);
    const int32_t thirdStart = 11'702 + 1002 + 6'900;
    ASSERT_EQ(host.SelectTrackAtOnce(0), kGood);
    WriteTrack(thirdStart, third);
    ASSERT_EQ(host.Close(2), kGood);
    EXPECT_EQ(host.DiscStatus(), kComplete);

    Reload();
    ASSERT_EQ(host.In({0x43, 0, 1, 0, 0, 0, 0, 0, 12, 0}, 12), kGood);
    EXPECT_EQ(host.data[3], 3); // last complete session
    EXPECT_EQ(static_cast<int32_t>(LoadBe32(&host.data[8])), thirdStart);
    ASSERT_EQ(host.In({0x25, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 8), kGood);
    EXPECT_EQ(static_cast<int32_t>(LoadBe32(&host.data[0])), thirdStart + 517 + 2 - 1);

    ASSERT_EQ(host.Read(0, 300), kGood);
    EXPECT_EQ(host.data, first);
    ASSERT_EQ(host.Read(11'702, 1000), kGood);
    EXPECT_EQ(host.data, second);
    ASSERT_EQ(host.Read(thirdStart, 517), kGood);
    EXPECT_EQ(host.data, third);
    EXPECT_EQ(host.Read(299, 2), 0x31105) << "run-out can't be read";
    EXPECT_EQ(host.Read(5000, 1), 0x31105) << "nor the gap between sessions";
    EXPECT_EQ(host.Read(thirdStart + 519, 1), 0x52100);
    EXPECT_EQ(FileBytes(File("track-02.iso")), second);

    EXPECT_EQ(host.TrackInformation(1, 0xFF), 0x52400) << "nothing invisible on a closed disc";
    EXPECT_EQ(host.Write(thirdStart + 519 + 6'900, Pattern(2048, 4)), 0x53005);
}

TEST_F(TrackAtOnceTest, TracksOfOneSessionAreApartByRunOutAndPregap) {
    Load("cd-r");
    ASSERT_EQ(host.SelectTrackAtOnce(), kGood);
    WriteTrack(0, Pattern(400UL * 2048, 1));
    WriteTrack(400 + 2 + 150, Pattern(300UL * 2048, 2));
    EXPECT_EQ(host.TrackInformation(1, 2), kGood);
    EXPECT_EQ(LoadBe32(&host.data[8]), 552U);
    EXPECT_EQ(LoadBe32(&host.data[24]), 300U);
    ASSERT_EQ(host.Close(2), kGood);
    // Full TOC: A0, A1, A2, two tracks and the pointer to the next session.
    ASSERT_EQ(host.In({0x43, 2, 2, 0, 0, 0, 1, 0, 200, 0}, 200), kGood);
    ASSERT_EQ(LoadBe16(&host.data[0]), 2 + 6 * 11);
    Bytes points;
    for (size_t row = 4; row < 4 + 6 * 11; row += 11)
        points.push_back(host.data[row + 3]);
    EXPECT_EQ(points, (Bytes{0xA0, 0xA1, 0xA2, 1, 2, 0xB0}));
    // Lead-out at block 854, which is 00:13:29.
    EXPECT_EQ(Bytes(host.data.begin() + 26 + 8, host.data.begin() + 26 + 11), (Bytes{0, 13, 29}));
}

TEST_F(TrackAtOnceTest, ShortTrackCannotBeClosed) {
    Load("cd-r");
    ASSERT_EQ(host.SelectTrackAtOnce(), kGood);
    ASSERT_EQ(host.WriteAll(0, Pattern(299UL * 2048, 1)), kGood);
    ASSERT_EQ(host.SynchronizeCache(), kGood);
    EXPECT_EQ(host.Close(1, 1), 0x57203);
    EXPECT_EQ(host.Close(2), 0x57203);
    // The track is still open for the one block that it lacks.
    ASSERT_EQ(host.Write(299, Pattern(2048, 2)), kGood);
    EXPECT_EQ(host.Close(2), kGood);
}

TEST_F(TrackAtOnceTest, DiscTakesAllThatIsFreeAndNoMore) {
    Load("cd-r", 400);
    ASSERT_EQ(host.SelectTrackAtOnce(), kGood);
    ASSERT_EQ(host.WriteAll(0, Pattern(399UL * 2048, 1)), kGood);
    EXPECT_EQ(host.Write(399, Pattern(2UL * 2048, 2)), 0x56300);
    EXPECT_EQ(host.Write(399, Pattern(2048, 2)), kGood);
    EXPECT_EQ(host.Close(2), kGood);
}

TEST_F(TrackAtOnceTest, BlankingMakesARewritableDiscEmpty) {
    for (const uint8_t type : {0, 1}) {
        TempFolder other;
        ASSERT_TRUE(VirtualDrive::CreateDisc(other.Path() + "/disc", "cd-rw"));
        ASSERT_TRUE(drive.Insert(other.Path() + "/disc"));
        EXPECT_EQ(host.TestUnitReady(), 0x62800);
        ASSERT_EQ(host.SelectTrackAtOnce(0), kGood);
        WriteTrack(0, Pattern(320UL * 2048, 1));
        ASSERT_EQ(host.Close(2), kGood);
        EXPECT_EQ(host.DiscStatus(), kComplete | 16);
        ASSERT_EQ(host.None({0xA1, type, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}), kGood);
        EXPECT_EQ(host.DiscStatus(), kEmpty | 16);
        EXPECT_FALSE(std::filesystem::exists(other.Path() + "/disc/track-01.iso"));
        const Bytes again = Pattern(300UL * 2048, 5);
        WriteTrack(0, again);
        ASSERT_EQ(host.Close(2), kGood);
        ASSERT_EQ(host.Read(0, 300), kGood);
        EXPECT_EQ(host.data, again);
    }
}

TEST_F(TrackAtOnceTest, AudioTracksGetACueSheet) {
    Load("cd-r");
    ASSERT_EQ(host.SelectWriteType(1, 0, 0, 0), kGood);
    const Bytes song = Pattern(310UL * 2352, 1);
    ASSERT_EQ(host.WriteAll(0, song, 2352), kGood);
    ASSERT_EQ(host.SynchronizeCache(), kGood);
    ASSERT_EQ(host.Close(2), kGood);
    EXPECT_EQ(host.Read(0, 1), 0x56400);
    ASSERT_EQ(host.ReadAudio(0, 200), kGood);
    EXPECT_TRUE(std::equal(host.data.begin(), host.data.end(), song.begin()));
    EXPECT_EQ(FileBytes(File("track-01.bin")), song);
    const Bytes cue = FileBytes(File("disc.cue"));
    EXPECT_EQ(std::string(cue.begin(), cue.end()),
              "FILE \"track-01.bin\" BINARY\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n");
}

} // namespace

} // namespace larkspin
