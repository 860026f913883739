// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// DVD+RW, DVD-RAM and DVD-RW in restricted overwrite, command by command.
#include "host.h"

namespace larkspin {

namespace {

class DvdOverwriteTest : public DriveTest {
  protected:
    // Background format status of READ DISC INFORMATION.
    int Background() {
        host.DiscStatus();
        return host.data[7] & 3;
    }
    int SelectOverwrite() {
        return host.SelectDash({.multiSession = 0, .linkValid = false, .linkSize = 0});
    }
};

TEST_F(DvdOverwriteTest, PlusRwFormatsInTheBackground) {
    Load("dvd+rw", 1024);
    EXPECT_EQ(host.Write(0, Blocks(16, 1)), 0x33100) << "not formatted";
    EXPECT_EQ(host.FormatUnit(0x26, kAllBlocks, 1), kInvalidFieldInList) << "nothing to restart";
    EXPECT_EQ(host.FormatUnit(0x13, 0, 16), kInvalidFieldInList) << "a format of DVD-RW";
    EXPECT_EQ(host.FormatUnit(0x26, 512, 0), kInvalidFieldInList) << "only the whole disc";
    for (const uint8_t options : {0x20, 0x84}) {
        EXPECT_EQ(host.FormatUnit(0x26, 1024, 0, options), kInvalidFieldInList) << +options;
    }
    ASSERT_EQ(host.FormatUnit(0x26, 1024, 0), kGood);
    EXPECT_EQ(Background(), 2);
    EXPECT_EQ(host.DiscStatus() & 0x0F, 0x0E);

    // Any block may be written meanwhile, ECC blocks or not.
    ExpectGood({host.Write(103, Blocks(7, 1)), host.Write(3, Blocks(1, 2))});
    EXPECT_EQ(host.Write(1020, Blocks(5, 1)), kOutOfRange);
    EXPECT_EQ(host.Write(-1, Blocks(1, 1)), kOutOfRange);
    ExpectRead(103, Blocks(7, 1));
    ExpectRead(4, Bytes(2048));

    // Stopped: the disc ends behind the last block.
    EXPECT_EQ(host.Close(1, 1), kInvalidFieldInCdb);
    ASSERT_EQ(host.Close(0), kGood);
    EXPECT_EQ(Background(), 1);
    EXPECT_EQ(host.FormatCapacities(), "112/2 1024/38");
    EXPECT_EQ(host.LastBlock(), 111U);
    ASSERT_EQ(host.Toc(0), kGood);
    EXPECT_EQ(host.DataAt(0, 20),
              (Bytes{0, 18, 1, 1, 0, 0x14, 1, 0, 0, 0, 0, 0, 0, 0x14, 0xAA, 0, 0, 0, 0, 112}));
    EXPECT_EQ(host.Write(96, Blocks(16, 3)), kGood);
    EXPECT_EQ(host.Write(112, Blocks(16, 3)), kOutOfRange);
    EXPECT_EQ(host.Read(112, 1), kOutOfRange);

    // Restarted: what is on the disc stays. Closing the session stops it as well.
    ASSERT_EQ(host.FormatUnit(0x26, 1024, 1), kGood);
    EXPECT_EQ(Background(), 2);
    ASSERT_EQ(host.Close(2), kGood);
    EXPECT_EQ(Background(), 1);
    ExpectGood({host.FormatUnit(0x26, 1024, 1), host.WriteAll(112, Blocks(912, 4))});
    ExpectRead(96, Blocks(16, 3));
    ASSERT_EQ(host.SynchronizeCache(), kGood);
    EXPECT_EQ(Background(), 3) << "all of it is written, so all is formatted";
    ASSERT_EQ(host.Close(0), kGood);
    EXPECT_EQ(Background(), 3);
    ASSERT_EQ(host.FormatUnit(0x26, 1024, 0), kGood);
    ExpectRead(96, Bytes(16UL * 2048));
}

TEST_F(DvdOverwriteTest, PlusRwTimePassesInTheBackground) {
    constexpr uint8_t kImmediate = 2;
    Load("dvd+rw", 2048);
    drive.SetSpeed({.longOperationMs = 1'000});
    ASSERT_EQ(host.FormatUnit(0x26, 2048, 0, kImmediate), kGood);
    EXPECT_EQ(host.TestUnitReady(), 0x20404) << "the lead-in";
    clock.Advance(1'000);
    EXPECT_EQ(host.TestUnitReady(), kGood);
    clock.Advance(10'000);
    ASSERT_EQ(host.Close(0), kGood);
    EXPECT_EQ(Background(), 1);
    const std::string half = host.FormatCapacities();
    EXPECT_GE(std::stoi(half), 1024) << half;
    EXPECT_LT(std::stoi(half), 1400) << half;
    clock.Advance(1'000);
    ASSERT_EQ(host.FormatUnit(0x26, 2048, 1, kImmediate), kGood);
    clock.Advance(1'000);
    EXPECT_EQ(host.TestUnitReady(), kGood);
    clock.Advance(20'000);
    EXPECT_EQ(Background(), 3);
}

TEST_F(DvdOverwriteTest, ADiscThatLeavesInTheMiddleIsStopped) {
    Load("dvd+rw", 1024);
    ExpectGood({host.FormatUnit(0x26, 1024, 0), host.WriteAll(0, Blocks(40, 1))});
    Reload();
    EXPECT_EQ(Background(), 1);
    EXPECT_EQ(host.FormatCapacities(), "48/2 1024/38");
    ExpectRead(0, Blocks(40, 1));
}

TEST_F(DvdOverwriteTest, RamIsWrittenAnywhere) {
    Load("dvd-ram", 1024);
    ExpectGood({host.Write(1023, Blocks(1, 1)), host.Write(5, Blocks(3, 2))});
    EXPECT_EQ(host.Write(1024, Blocks(1, 1)), kOutOfRange);
    ExpectRead(1023, Blocks(1, 1));
    ExpectRead(5, Blocks(3, 2));
    ExpectRead(100, Bytes(2048));
    EXPECT_EQ(host.DiscStatus() & 3, 3) << "neither empty nor complete";
    EXPECT_EQ(host.Blank(1), kCannotWrite);
    EXPECT_EQ(host.Close(2), kInvalidFieldInCdb);
    ASSERT_EQ(host.FormatUnit(0x00, 1024, 0), kGood);
    EXPECT_EQ(host.DiscStatus() & 3, 0);
    ExpectRead(5, Bytes(3UL * 2048));
}

TEST_F(DvdOverwriteTest, RestrictedOverwriteTakesWholeEccBlocks) {
    Load("dvd-rw-ow", 1024);
    EXPECT_EQ(host.Write(0, Blocks(16, 1)), kIllegalMode) << "the page is that of a CD";
    EXPECT_EQ(host.SelectDash({.fixedPacket = false, .packetSize = 0}), kInvalidFieldInList);
    EXPECT_EQ(host.SelectDash(InOneGo()), kInvalidFieldInList);
    ExpectGood({SelectOverwrite(), host.Write(32, Blocks(16, 1))});
    EXPECT_EQ(host.Write(40, Blocks(16, 1)), kInvalidAddress);
    EXPECT_EQ(host.Write(48, Blocks(15, 1)), kInvalidAddress);
    EXPECT_EQ(host.Write(1024, Blocks(16, 1)), kOutOfRange);
    EXPECT_EQ(host.Write(1008, Blocks(16, 2)), kGood);
    ExpectRead(32, Blocks(16, 1));
    EXPECT_EQ(host.FormatUnit(0x13, 0), kInvalidFieldInList) << "no place to grow";
}

TEST_F(DvdOverwriteTest, QuickFormatsGrowFromTheirEnd) {
    Load("dvd-rw-ow", 1024);
    ASSERT_EQ(SelectOverwrite(), kGood);
    EXPECT_EQ(host.FormatUnit(0x15, 1024, 8), kInvalidFieldInList) << "no size of packets";
    ASSERT_EQ(host.FormatUnit(0x15, 1024), kGood);
    EXPECT_EQ(host.DiscStatus(), 0x15) << "the last session is open";
    EXPECT_EQ(host.FormatCapacities(), "1024/3 1024/0 1024/16 1024/21");
    EXPECT_EQ(host.Write(16, Blocks(16, 1)), kInvalidAddress) << "beyond the end so far";
    ASSERT_EQ(host.WriteAll(0, Blocks(64, 1)), kGood);
    ASSERT_EQ(host.WriteAll(16, Blocks(16, 2)), kGood) << "overwriting";
    EXPECT_EQ(host.Write(80, Blocks(16, 1)), kInvalidAddress);
    EXPECT_EQ(host.FormatUnit(0x13, 0), kInvalidFieldInList) << "it grows already";
    ASSERT_EQ(host.Close(2), kGood);
    EXPECT_EQ(host.DiscStatus(), 0x1E);
    EXPECT_EQ(host.FormatCapacities(), "64/2 1024/0 1024/16 1024/21 960/19 960/17");
    EXPECT_EQ(host.Write(64, Blocks(16, 1)), kOutOfRange);

    EXPECT_EQ(host.FormatUnit(0x13, 0, 0), kInvalidFieldInList) << "no size of packets";
    ASSERT_EQ(host.FormatUnit(0x13, 0), kGood);
    Reload();
    ASSERT_EQ(SelectOverwrite(), kGood);
    EXPECT_EQ(host.DiscStatus(), 0x15) << "open until it is closed";
    ExpectGood({host.WriteAll(64, Blocks(16, 3)), host.Close(2)});
    ExpectRead(64, Blocks(16, 3));
    ExpectRead(16, Blocks(16, 2));
    ExpectGood({host.FormatUnit(0x11, 160), host.Write(224, Blocks(16, 4))});
    EXPECT_EQ(host.Write(240, Blocks(16, 4)), kOutOfRange);
}

TEST_F(DvdOverwriteTest, ADvdRwGoesBothWays) {
    Load("dvd-rw", 1024);
    ExpectGood({host.SelectDash({}), host.WriteAll(0, Blocks(16, 1))});
    EXPECT_EQ(host.FormatUnit(0x26, 1024, 0), kInvalidFieldInList) << "a format of DVD+RW";
    EXPECT_EQ(host.FormatUnit(0x00, 1040), kInvalidFieldInList);
    ASSERT_EQ(host.FormatUnit(0x00, 512), kGood);
    EXPECT_EQ(host.Profile(), 0x13);
    EXPECT_FALSE(std::filesystem::exists(File("track-01.iso")));
    ASSERT_EQ(host.PollEvents(0x02), kGood);
    EXPECT_EQ(host.data[2] & 7, 1) << "an operational change";
    ExpectGood({SelectOverwrite(), host.Write(496, Blocks(16, 1))});
    EXPECT_EQ(host.Write(512, Blocks(16, 1)), kOutOfRange);
    Reload();
    EXPECT_EQ(host.Profile(), 0x13);
    ASSERT_EQ(host.Blank(1), kGood);
    EXPECT_EQ(host.Profile(), 0x14);
    EXPECT_FALSE(host.IsFeatureCurrent(0x21));
    ExpectGood({host.SelectDash(InOneGo()), host.Write(0, Blocks(16, 1))});
}

} // namespace

} // namespace larkspin
