// Session at once: cue sheets, strict addresses and forms, and what is on the disc afterwards.
#include "host.h"

#include <string>

namespace larkspin {

namespace {

struct CueEntry {
    uint8_t controlAdr;
    uint8_t track;
    uint8_t index;
    uint8_t form;
    int frames; // from 00:00:00
};

Bytes Sheet(const std::vector<CueEntry>& entries) {
    Bytes sheet;
    for (const CueEntry& entry : entries)
        sheet.insert(sheet.end(), {entry.controlAdr, entry.track, entry.index, entry.form, 0,
                                   static_cast<uint8_t>(entry.frames / 4500),
                                   static_cast<uint8_t>(entry.frames / 75 % 60),
                                   static_cast<uint8_t>(entry.frames % 75)});
    return sheet;
}

std::vector<CueEntry> DataSession(int blocks) {
    return {{0x41, 0, 0, 0x14, 0},
            {0x61, 1, 0, 0x10, 0},
            {0x61, 1, 1, 0x10, 150},
            {0x41, 0xAA, 1, 0x14, 150 + blocks}};
}

class SessionAtOnceTest : public DriveTest {};

TEST_F(SessionAtOnceTest, DataSessionIsWrittenFromThePregapOn) {
    Load("cd-r");
    ASSERT_EQ(host.SelectSessionAtOnce(), kGood);
    ASSERT_EQ(host.SendCueSheet(Sheet(DataSession(500))), kGood);
    EXPECT_EQ(host.Write(0, Bytes(2048)), 0x52102) << "the pre-gap comes first";
    EXPECT_EQ(host.SelectTrackAtOnce(), kGood);
    EXPECT_EQ(host.Write(-150, Bytes(2048)), 0x52C00) << "the sheet stands";
    ASSERT_EQ(host.SelectSessionAtOnce(), kGood);
    ASSERT_EQ(host.WriteAll(-150, Bytes(150UL * 2048)), kGood);
    const Bytes image = Pattern(500UL * 2048, 1);
    EXPECT_EQ(host.Write(1, Bytes(2048)), 0x52102);
    EXPECT_EQ(host.Close(2), 0x52C00);
    ASSERT_EQ(host.WriteAll(0, image), kGood);
    EXPECT_EQ(host.Write(500, Bytes(2048)), 0x52102) << "behind the lead-out's start";
    ASSERT_EQ(host.SynchronizeCache(), kGood);
    EXPECT_EQ(host.DiscStatus(), 2 | 3 << 2);
    EXPECT_EQ(FileBytes(File("track-01.iso")), image);

    Reload();
    ASSERT_EQ(host.Read(0, 500), kGood);
    EXPECT_EQ(host.data, image);
    ASSERT_EQ(host.In({0x25, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 8), kGood);
    EXPECT_EQ(LoadBe32(&host.data[0]), 499U) << "no run-out in one go";
}

TEST_F(SessionAtOnceTest, FurtherSessionFollowsWhenAskedFor) {
    Load("cd-r");
    ASSERT_EQ(host.SelectSessionAtOnce(3), kGood);
    ASSERT_EQ(host.SendCueSheet(Sheet(DataSession(300))), kGood);
    ASSERT_EQ(host.WriteAll(-150, Bytes(450UL * 2048)), kGood);
    ASSERT_EQ(host.SynchronizeCache(), kGood);
    EXPECT_EQ(host.DiscStatus(), 1);
    EXPECT_EQ(host.NextWritable(), 300 + 11'400);
    ASSERT_EQ(host.SelectTrackAtOnce(0), kGood);
    EXPECT_EQ(host.NextWritable(), 300 + 11'400);
}

TEST_F(SessionAtOnceTest, AudioTracksWithAndWithoutPauses) {
    Load("cd-r");
    ASSERT_EQ(host.SelectSessionAtOnce(), kGood);
    // Track 2 follows without a gap; track 3 has a pause that the host fills.
    const int second = 150 + 320;
    const int pause = second + 300;
    const int third = pause + 100;
    const int leadOut = third + 305;
    ASSERT_EQ(host.SendCueSheet(Sheet({{0x01, 0, 0, 0x01, 0},
                                       {0x21, 1, 0, 0x00, 0},
                                       {0x21, 1, 1, 0x00, 150},
                                       {0x21, 2, 1, 0x00, second},
                                       {0x21, 3, 0, 0x00, pause},
                                       {0x21, 3, 1, 0x00, third},
                                       {0x01, 0xAA, 1, 0x01, leadOut}})),
              kGood);
    EXPECT_EQ(host.Write(-150, Bytes(2048)), 0xB4B00) << "2352 bytes to a block";
    ASSERT_EQ(host.WriteAll(-150, Bytes(150UL * 2352), 2352), kGood);
    const Bytes music = Pattern(static_cast<size_t>(leadOut - 150) * 2352, 7);
    ASSERT_EQ(host.WriteAll(0, music, 2352), kGood);
    ASSERT_EQ(host.SynchronizeCache(), kGood);

    Reload();
    EXPECT_EQ(FileBytes(File("disc.bin")), music);
    const Bytes cue = FileBytes(File("disc.cue"));
    EXPECT_EQ(std::string(cue.begin(), cue.end()), "FILE \"disc.bin\" BINARY\n"
                                                   "  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n"
                                                   "  TRACK 02 AUDIO\n    INDEX 01 00:04:20\n"
                                                   "  TRACK 03 AUDIO\n    INDEX 00 00:08:20\n"
                                                   "    INDEX 01 00:09:45\n");
    for (const int32_t block : {0, 300, 600, 700, 1015}) {
        ASSERT_EQ(host.ReadAudio(block, 10), kGood) << block;
        EXPECT_TRUE(std::equal(host.data.begin(), host.data.end(),
                               music.begin() + std::ptrdiff_t{block} * 2352))
            << block;
    }
    EXPECT_EQ(host.ReadAudio(1016, 10), 0x52100);
    EXPECT_EQ(host.Read(0, 1), 0x56400);
    ASSERT_EQ(host.TrackInformation(1, 3), kGood);
    EXPECT_EQ(static_cast<int>(LoadBe32(&host.data[8])), third - 150);
}

TEST_F(SessionAtOnceTest, MixedDiscKeepsItsFormsApart) {
    Load("cd-r");
    ASSERT_EQ(host.SelectSessionAtOnce(), kGood);
    // The drive makes the pause in front of the audio track.
    ASSERT_EQ(host.SendCueSheet(Sheet({{0x41, 0, 0, 0x14, 0},
                                       {0x41, 1, 0, 0x14, 0},
                                       {0x41, 1, 1, 0x10, 150},
                                       {0x01, 2, 0, 0x01, 450},
                                       {0x01, 2, 1, 0x00, 600},
                                       {0x01, 0xAA, 1, 0x01, 900}})),
              kGood);
    const Bytes files = Pattern(300UL * 2048, 1);
    const Bytes song = Pattern(300UL * 2352, 2);
    ASSERT_EQ(host.WriteAll(0, Bytes(files.begin(), files.begin() + 299UL * 2048)), kGood);
    EXPECT_EQ(host.Write(299, Bytes(4UL * 2048)), 0x56400) << "two forms in one command";
    ASSERT_EQ(host.Write(299, Bytes(files.end() - 2048, files.end())), kGood);
    EXPECT_EQ(host.Write(300, Bytes(2352), 2352), 0x52102);
    ASSERT_EQ(host.WriteAll(450, song, 2352), kGood);
    ASSERT_EQ(host.SynchronizeCache(), kGood);
    ASSERT_EQ(host.Read(0, 300), kGood);
    EXPECT_EQ(host.data, files);
    ASSERT_EQ(host.ReadAudio(450, 30), kGood);
    EXPECT_TRUE(std::equal(host.data.begin(), host.data.end(), song.begin()));
    EXPECT_EQ(host.ReadAudio(299, 1), 0x56400);
}

TEST_F(SessionAtOnceTest, RecordingCutOffLeavesADamagedSession) {
    for (const bool processDied : {false, true}) {
        TempFolder other;
        const std::string disc = other.Path() + "/disc";
        ASSERT_TRUE(VirtualDrive::CreateDisc(disc, "cd-r"));
        ASSERT_TRUE(drive.Insert(disc));
        EXPECT_EQ(host.TestUnitReady(), 0x62800);
        ASSERT_EQ(host.SelectSessionAtOnce(), kGood);
        ASSERT_EQ(host.SendCueSheet(Sheet(DataSession(500))), kGood);
        ASSERT_EQ(host.WriteAll(-150, Bytes(150UL * 2048)), kGood);
        const Bytes image = Pattern(40UL * 2048, 1);
        ASSERT_EQ(host.WriteAll(0, image), kGood);
        if (processDied) {
            ASSERT_TRUE(drive.Insert(disc));
            EXPECT_EQ(host.TestUnitReady(), 0x62800);
        } else {
            ASSERT_EQ(host.SynchronizeCache(), kGood);
        }
        EXPECT_EQ(host.DiscStatus(), 1 | 1 << 2);
        EXPECT_EQ(host.Write(40, Bytes(2048)), 0x52C00);
        ASSERT_EQ(host.TrackInformation(1, 1), kGood);
        EXPECT_EQ(host.data[5] & 0x20, 0x20) << "damaged";
        EXPECT_EQ(LoadBe32(&host.data[24]), 40U);
        ASSERT_EQ(host.Close(2), kGood);
        ASSERT_EQ(host.Read(0, 40), kGood);
        EXPECT_EQ(host.data, image);
    }
}

TEST_F(SessionAtOnceTest, BadCueSheetsAreRefused) {
    Load("cd-r", 1000);
    ASSERT_EQ(host.SelectSessionAtOnce(), kGood);
    const auto changed = [](size_t entry, CueEntry value) {
        std::vector<CueEntry> entries = DataSession(500);
        entries[entry] = value;
        return Sheet(entries);
    };
    struct Case {
        const char* what;
        Bytes sheet;
        int code;
    };
    const Bytes good = Sheet(DataSession(500));
    for (const Case& test : std::initializer_list<Case>{
             {"empty", {}, 0x52600},
             {"half an entry", Bytes(good.begin(), good.begin() + 28), 0x52600},
             {"no lead-out", Bytes(good.begin(), good.begin() + 24), 0x52600},
             {"no lead-in", changed(0, {0x61, 1, 0, 0x10, 0}), 0x52600},
             {"no pre-gap", changed(1, {0x61, 1, 1, 0x10, 0}), 0x52600},
             {"short pre-gap", changed(2, {0x61, 1, 1, 0x10, 149}), 0x52600},
             {"pre-gap not at 0", changed(1, {0x61, 1, 0, 0x10, 5}), 0x52600},
             {"begins with track 2", changed(1, {0x61, 2, 0, 0x10, 0}), 0x52600},
             {"audio form in a data track", changed(2, {0x61, 1, 1, 0x00, 150}), 0x52600},
             {"data form in an audio track", changed(2, {0x21, 1, 1, 0x10, 150}), 0x52600},
             {"control changes in the track", changed(2, {0x41, 1, 1, 0x10, 150}), 0x52600},
             {"form with raw blocks", changed(2, {0x61, 1, 1, 0x11, 150}), 0x52600},
             {"lead-out sends data", changed(3, {0x41, 0xAA, 1, 0x10, 650}), 0x52600},
             {"short track", changed(3, {0x41, 0xAA, 1, 0x14, 150 + 299}), 0x52600},
             {"lead-out before the track", changed(3, {0x41, 0xAA, 1, 0x14, 150}), 0x52600},
             {"frames out of range",
              [&] {
                  Bytes bad = good;
                  bad[23] = 75;
                  return bad;
              }(),
              0x52600},
             {"more than fits", Sheet(DataSession(1001)), 0x56300},
             {"all that fits", Sheet(DataSession(1000)), kGood},
         })
        EXPECT_EQ(host.SendCueSheet(test.sheet), test.code) << test.what;
    EXPECT_EQ(host.DiscStatus(), 0) << "a cue sheet alone writes nothing";
}

} // namespace

} // namespace larkspin
