// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
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
    for (const CueEntry& entry : entries) {
        sheet.insert(sheet.end(), {entry.controlAdr, entry.track, entry.index, entry.form, 0,
                                   static_cast<uint8_t>(entry.frames / 4500),
                                   static_cast<uint8_t>(entry.frames / 75 % 60),
                                   static_cast<uint8_t>(entry.frames % 75)});
    }
    return sheet;
}

std::vector<CueEntry> DataSession(int blocks) {
    return {{0x41, 0, 0, 0x14, 0},
            {0x61, 1, 0, 0x10, 0},
            {0x61, 1, 1, 0x10, 150},
            {0x41, 0xAA, 1, 0x14, 150 + blocks}};
}

class SessionAtOnceTest : public DriveTest {
  protected:
    // A new disc with its sheet sent.
    void LoadFor(const std::vector<CueEntry>& entries, uint8_t multiSession = 0) {
        Load("cd-r");
        ExpectGood({host.SelectSessionAtOnce(multiSession), host.SendCueSheet(Sheet(entries))});
    }
};

TEST_F(SessionAtOnceTest, DataSessionIsWrittenFromThePregapOn) {
    LoadFor(DataSession(500));
    EXPECT_EQ(host.Write(0, Bytes(2048)), kInvalidAddress) << "the pre-gap comes first";
    EXPECT_EQ(host.SelectTrackAtOnce(), kGood);
    EXPECT_EQ(host.Write(-150, Bytes(2048)), kSequenceError) << "the sheet stands";
    ASSERT_EQ(host.SelectSessionAtOnce(), kGood);
    EXPECT_EQ(host.Out(Host::Address10(0x2A, -150, 1), Bytes(2352)), kDataPhase);
    ASSERT_EQ(host.WriteAll(-150, Bytes(150UL * 2048)), kGood);
    EXPECT_EQ(host.Write(1, Bytes(2048)), kInvalidAddress);
    EXPECT_EQ(host.Write(0, Bytes(501UL * 2048)), kInvalidAddress) << "into the lead-out";
    EXPECT_EQ(host.Close(2), kSequenceError);
    ASSERT_EQ(host.WriteAll(0, Blocks(500, 1)), kGood);
    EXPECT_EQ(host.Write(500, Bytes(2048)), kInvalidAddress) << "behind the lead-out's start";
    ASSERT_EQ(host.SynchronizeCache(), kGood);
    EXPECT_EQ(host.DiscStatus(), 2 | 3 << 2);
    EXPECT_EQ(ReadFileBytes(File("track-01.iso")), Blocks(500, 1));

    Reload();
    ExpectRead(0, Blocks(500, 1));
    EXPECT_EQ(host.LastBlock(), 499U) << "no run-out in one go";
}

TEST_F(SessionAtOnceTest, FurtherSessionFollowsWhenAskedFor) {
    LoadFor(DataSession(300), 3);
    ExpectGood({host.WriteAll(-150, Bytes(450UL * 2048)), host.SynchronizeCache()});
    EXPECT_EQ(host.DiscStatus(), 1);
    EXPECT_EQ(host.NextWritable(), 300 + 11'400);
    ASSERT_EQ(host.SelectTrackAtOnce(0), kGood);
    EXPECT_EQ(host.NextWritable(), 300 + 11'400);
}

TEST_F(SessionAtOnceTest, AudioTracksWithAndWithoutPauses) {
    // Track 2 follows without a gap; track 3 has a pause that the host fills.
    const int second = 150 + 320;
    const int pause = second + 300;
    const int third = pause + 100;
    const int leadOut = third + 305;
    LoadFor({{0x01, 0, 0, 0x01, 0},
             {0x21, 1, 0, 0x00, 0},
             {0x21, 1, 1, 0x00, 150},
             {0x21, 2, 1, 0x00, second},
             {0x21, 3, 0, 0x00, pause},
             {0x21, 3, 1, 0x00, third},
             {0x01, 0xAA, 1, 0x01, leadOut}});
    EXPECT_EQ(host.Write(-150, Bytes(2048)), kDataPhase) << "2352 bytes to a block";
    ASSERT_EQ(host.WriteAll(-150, Bytes(150UL * 2352), 2352), kGood);
    const Bytes music = Blocks(static_cast<uint32_t>(leadOut - 150), 7, 2352);
    ExpectGood({host.WriteAll(0, music, 2352), host.SynchronizeCache()});

    Reload();
    EXPECT_EQ(ReadFileBytes(File("disc.bin")), music);
    const Bytes cue = ReadFileBytes(File("disc.cue"));
    EXPECT_EQ(std::string(cue.begin(), cue.end()), "FILE \"disc.bin\" BINARY\n"
                                                   "  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n"
                                                   "  TRACK 02 AUDIO\n    INDEX 01 00:04:20\n"
                                                   "  TRACK 03 AUDIO\n    INDEX 00 00:08:20\n"
                                                   "    INDEX 01 00:09:45\n");
    for (const int32_t block : {0, 300, 600, 700, 1015}) {
        const auto at = music.begin() + std::ptrdiff_t{block} * 2352;
        ExpectAudio(block, Bytes(at, at + 10L * 2352));
    }
    EXPECT_EQ(host.ReadAudio(1016, 10), kOutOfRange);
    EXPECT_EQ(host.Read(0, 1), kIllegalMode);
    ASSERT_EQ(host.TrackInformation(1, 3), kGood);
    EXPECT_EQ(host.Data32(8), static_cast<uint32_t>(third - 150));
}

TEST_F(SessionAtOnceTest, MixedDiscKeepsItsFormsApart) {
    // The drive makes the pause in front of the audio track.
    LoadFor({{0x41, 0, 0, 0x14, 0},
             {0x41, 1, 0, 0x14, 0},
             {0x41, 1, 1, 0x10, 150},
             {0x01, 2, 0, 0x01, 450},
             {0x01, 2, 1, 0x00, 600},
             {0x01, 0xAA, 1, 0x01, 900}});
    const Bytes song = Blocks(300, 2, 2352);
    ASSERT_EQ(host.WriteAll(0, Blocks(299, 1)), kGood);
    EXPECT_EQ(host.Write(299, Bytes(4UL * 2048)), kIllegalMode) << "two forms in one command";
    ASSERT_EQ(host.Write(299, Blocks(1, 2)), kGood);
    EXPECT_EQ(host.Write(300, Bytes(2352), 2352), kInvalidAddress);
    ExpectGood({host.WriteAll(450, song, 2352), host.SynchronizeCache()});
    ExpectRead(0, Blocks(299, 1) + Blocks(1, 2));
    ExpectAudio(450, Bytes(song.begin(), song.begin() + 30L * 2352));
    EXPECT_EQ(host.ReadAudio(299, 1), kIllegalMode);
    EXPECT_EQ(host.ReadAudio(310, 1), kUnreadable) << "the pause";
}

TEST_F(SessionAtOnceTest, RecordingCutOffLeavesADamagedSession) {
    for (const bool processDied : {false, true}) {
        LoadFor(DataSession(500));
        ExpectGood({host.WriteAll(-150, Bytes(150UL * 2048)), host.WriteAll(0, Blocks(40, 1))});
        if (processDied) {
            Reload();
        } else {
            ASSERT_EQ(host.SynchronizeCache(), kGood);
        }
        EXPECT_EQ(host.DiscStatus(), 1 | 1 << 2);
        EXPECT_EQ(host.Write(40, Bytes(2048)), kSequenceError);
        ASSERT_EQ(host.TrackInformation(1, 1), kGood);
        EXPECT_EQ(host.data[5] & 0x20, 0x20) << "damaged";
        EXPECT_EQ(host.Data32(24), 40U);
        ASSERT_EQ(host.Close(2), kGood);
        ExpectRead(0, Blocks(40, 1));
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
    const Bytes good = Sheet(DataSession(500));
    Bytes badFrame = good;
    badFrame[23] = 75;
    std::vector<CueEntry> skipping = DataSession(500);
    skipping.insert(skipping.end() - 1, {0x61, 1, 3, 0x10, 400});
    const std::pair<const char*, Bytes> refused[] = {
        {"empty", {}},
        {"half an entry", Bytes(good.begin(), good.begin() + 28)},
        {"no lead-out", Bytes(good.begin(), good.begin() + 24)},
        {"no lead-in", changed(0, {0x61, 1, 0, 0x10, 0})},
        {"no pre-gap", changed(1, {0x61, 1, 1, 0x10, 0})},
        {"short pre-gap", changed(2, {0x61, 1, 1, 0x10, 149})},
        {"pre-gap not at 0", changed(1, {0x61, 1, 0, 0x10, 5})},
        {"begins with track 2", changed(1, {0x61, 2, 0, 0x10, 0})},
        {"audio form in a data track", changed(2, {0x61, 1, 1, 0x00, 150})},
        {"data form in an audio track", changed(2, {0x21, 1, 1, 0x10, 150})},
        {"control changes in the track", changed(2, {0x41, 1, 1, 0x10, 150})},
        {"index left out", changed(2, {0x61, 1, 2, 0x10, 150})},
        {"index 3 behind index 1", Sheet(skipping)},
        {"form with raw blocks", changed(2, {0x61, 1, 1, 0x11, 150})},
        {"lead-out sends data", changed(3, {0x41, 0xAA, 1, 0x10, 650})},
        {"short track", changed(3, {0x41, 0xAA, 1, 0x14, 150 + 299})},
        {"lead-out before the track", changed(3, {0x41, 0xAA, 1, 0x14, 150})},
        {"frames out of range", badFrame},
    };
    for (const auto& [what, sheet] : refused) {
        EXPECT_EQ(host.SendCueSheet(sheet), kInvalidFieldInList) << what;
    }
    EXPECT_EQ(host.SendCueSheet(Sheet(DataSession(1001))), kEndOfArea);
    EXPECT_EQ(host.SendCueSheet(Sheet(DataSession(1000))), kGood);
    EXPECT_EQ(host.DiscStatus(), 0) << "a cue sheet alone writes nothing";
}

} // namespace

} // namespace larkspin
