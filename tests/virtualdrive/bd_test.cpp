// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// BD-R and BD-RE, command by command.
#include "host.h"

#include <fstream>
#include <sys/stat.h>

namespace larkspin {

namespace {

constexpr int kCannotFormat = 0x53006;

class BdTest : public DriveTest {
  protected:
    // READ DISC STRUCTURE of a media type, 1 for BD.
    int Structure(uint8_t format, uint8_t mediaType = 1) {
        return host.In({0xAD, mediaType, 0, 0, 0, 0, 0, format, 0x10, 0x04, 0, 0}, 4100);
    }
    // FORMAT UNIT with a sub-type, and spare clusters or the size of a block as the parameter.
    int Format(uint8_t type, uint8_t subType, uint32_t blocks, uint16_t parameter) {
        Bytes list = {0, 0, 0, 8, 0, 0, 0, 0, static_cast<uint8_t>(type << 2 | subType), 0, 0, 0};
        StoreBe16(&list[10], parameter);
        StoreBe32(&list[4], blocks);
        return host.Out({0x04, 0x11, 0, 0, 0, 0}, list);
    }
};

TEST_F(BdTest, ABdRIsWrittenClusterAfterCluster) {
    Load("bd-r", 4096);
    EXPECT_EQ(host.Write(32, Blocks(32, 1)), kInvalidAddress);
    ExpectGood({host.Write(0, Blocks(5, 1)), host.Write(5, Blocks(2, 2))});
    EXPECT_EQ(host.NextWritable(), 7) << "it waits in the cache";
    ASSERT_EQ(host.SynchronizeCache(), kGood);
    EXPECT_EQ(host.NextWritable(), 32);
    EXPECT_EQ(host.Write(7, Blocks(1, 1)), kInvalidAddress);
    EXPECT_EQ(host.DiscStatus(), 0x05) << "open";
    EXPECT_EQ(host.data[8], 0xFF) << "the type of a disc is not one of a BD";
    ExpectRead(0, Blocks(5, 1) + Blocks(2, 2) + Bytes(25UL * 2048));

    // A second track, and a session behind both.
    ExpectGood({host.Close(1, 1), host.Write(32, Blocks(33, 3))});
    EXPECT_EQ(host.Close(3), kInvalidFieldInCdb);
    EXPECT_EQ(host.Close(5), kInvalidFieldInCdb);
    EXPECT_EQ(host.Close(2), kIncompleteTrack);
    ExpectGood({host.Close(1, 2), host.Close(2)});
    EXPECT_EQ(host.DiscStatus(), 0x01) << "another session may follow";
    EXPECT_EQ(host.LastBlock(), 95U);
    EXPECT_EQ(host.FormatUnit(0x00, 4096), kCannotFormat) << "it holds data";

    // Another session begins at the next cluster, and goes on after the power was lost.
    ExpectGood({host.Write(96, Blocks(3, 4))});
    drive.Reset();
    EXPECT_EQ(host.TestUnitReady(), 0x62900);
    EXPECT_EQ(host.NextWritable(), 128);
    EXPECT_EQ(host.Write(99, Blocks(1, 1)), kInvalidAddress);
    ExpectGood({host.Write(128, Blocks(32, 5)), host.Close(1, 3), host.Close(6)});
    EXPECT_EQ(host.DiscStatus(), 0x0E);
    EXPECT_EQ(host.LastBlock(), 159U);
    EXPECT_EQ(host.Write(160, Blocks(32, 6)), kCannotWrite);
    EXPECT_FALSE(host.IsFeatureCurrent(0x21));
    ASSERT_EQ(host.Toc(0), kGood);
    EXPECT_EQ(host.DataAt(2, 2), (Bytes{1, 3}));
    ExpectRead(96, Blocks(3, 4) + Bytes(29UL * 2048) + Blocks(32, 5));
}

TEST_F(BdTest, ABdRIsFormattedOnce) {
    Load("bd-r");
    EXPECT_EQ(Structure(0x0A), kInvalidFieldInCdb) << "no spare area yet";
    for (const uint8_t subType : {0, 2, 3}) {
        EXPECT_EQ(Format(0x32, subType, 11'826'176, 0x3000), kInvalidFieldInList) << +subType;
    }
    EXPECT_EQ(Format(0x32, 1, 11'826'175, 0x3000), kInvalidFieldInList) << "part of a cluster";
    EXPECT_EQ(Format(0x32, 1, 11'826'176, 0x1000), kInvalidFieldInList) << "other spares";
    EXPECT_EQ(Format(0x00, 0, 12'219'392, 0), kInvalidFieldInList) << "not the usual spares";
    EXPECT_EQ(Format(0x30, 0, 11'826'176, 0x3000), kInvalidFieldInList) << "a format of BD-RE";
    ASSERT_EQ(Format(0x32, 1, 12'088'320, 0x1000), kGood);
    EXPECT_EQ(Format(0x32, 1, 12'219'392, 0), kCannotFormat);
    Reload();
    EXPECT_EQ(host.DiscStatus(), 0x00);
    EXPECT_EQ(host.FormatCapacities(), "12088320/2");
    EXPECT_TRUE(host.IsFeatureCurrent(0x24));
    EXPECT_FALSE(host.IsFeatureCurrent(0x38)) << "no pseudo-overwrite";
    ASSERT_EQ(Structure(0x0A), kGood);
    EXPECT_EQ(host.DataAt(0, 16), (Bytes{0, 14, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0}));
    // A reservation reaches to the last block and no further.
    EXPECT_EQ(host.ReserveTrack(12'088'321), kInvalidFieldInCdb);
    ExpectGood({host.ReserveTrack(12'088'300), host.Write(0, Blocks(1, 1)),
                host.Write(1, Bytes(300UL * 2048)), host.Close(1, 1), host.Close(2)});
    EXPECT_EQ(host.LastBlock(), 12'088'319U);
    EXPECT_EQ(host.Write(12'088'320, Blocks(1, 1)), kOutOfRange);
    ExpectRead(12'088'319, Bytes(2048));
    struct stat status = {};
    ASSERT_EQ(::stat(File("track-01.iso").c_str(), &status), 0);
    EXPECT_LT(status.st_blocks, 100) << "zeros take no room";
}

TEST_F(BdTest, ABdReIsWrittenAnywhereOnceFormatted) {
    Load("bd-re-dl");
    EXPECT_EQ(host.Write(0, Blocks(32, 1)), 0x33100) << "not formatted";
    const struct {
        uint8_t type;
        uint8_t subType;
        uint32_t blocks;
        uint16_t parameter;
    } refused[] = {{0x00, 0, 24'438'784, 0},      {0x00, 1, 23'652'352, 0},
                   {0x30, 0, 24'438'784, 0},      {0x30, 0, 23'652'352, 0x2000},
                   {0x30, 2, 24'176'641, 0x2000}, {0x31, 0, 23'652'352, 2048},
                   {0x31, 1, 24'438'784, 2048},   {0x32, 1, 23'652'352, 0x6000}};
    for (const auto& [type, subType, blocks, parameter] : refused) {
        EXPECT_EQ(Format(type, subType, blocks, parameter), kInvalidFieldInList)
            << +type << " " << +subType << " " << blocks;
    }
    ASSERT_EQ(Format(0x00, 0, 23'652'352, 0), kGood);
    EXPECT_EQ(host.DiscStatus(), 0x1E);
    EXPECT_EQ(host.LastBlock(), 23'652'351U);
    EXPECT_EQ(host.CurrentFeatures(), (std::set<uint16_t>{0x10, 0x20, 0x23, 0x24, 0x40, 0x41}));
    const Bytes three = Blocks(3, 2);
    const Bytes last(three.end() - 2048, three.end());
    ExpectGood(
        {host.Write(23'652'351, Blocks(1, 1)), host.Write(7, three), host.Write(8, Bytes(2048))});
    EXPECT_EQ(host.Write(23'652'351, Blocks(2, 1)), kOutOfRange);
    ExpectRead(23'652'351, Blocks(1, 1));
    std::ofstream(File("defects.txt")) << "23652351: unreadable\n9: lost\n";
    Reload();
    EXPECT_EQ(host.Read(23'652'351, 1), kUnreadable);
    EXPECT_EQ(host.Write(9, Bytes(2048)), kGood);
    ExpectRead(6, Bytes(2048) + Blocks(1, 2) + Bytes(2048) + last);
    EXPECT_EQ(host.Close(2), kInvalidFieldInCdb);
    EXPECT_EQ(host.Blank(0), kCannotWrite);
    // With quick certification and without spare area; the data goes.
    ASSERT_EQ(Format(0x30, 3, 24'176'640, 0x2000), kGood);
    ASSERT_EQ(Format(0x31, 0, 24'438'784, 2048), kGood);
    EXPECT_FALSE(host.IsFeatureCurrent(0x24));
    EXPECT_EQ(host.FormatCapacities(),
              "24438784/2 23652352/0 23652352/48 23128064/48 24176640/48 24438784/49");
    ExpectRead(7, Bytes(2048));
}

TEST_F(BdTest, StructuresAreThoseOfABd) {
    Load("bd-r");
    EXPECT_EQ(Structure(0x00, 0), 0x53002) << "asked for as a DVD";
    ASSERT_EQ(Structure(0x00), kGood);
    EXPECT_EQ(host.DataAt(0, 2), (Bytes{0x10, 0x02}));
    EXPECT_EQ(host.DataAt(12, 3), (Bytes{'B', 'D', 'R'}));
    Load("bd-re");
    ASSERT_EQ(Structure(0x00), kGood);
    EXPECT_EQ(host.DataAt(12, 3), (Bytes{'B', 'D', 'W'}));
    Load("dvd+r");
    EXPECT_EQ(Structure(0x00), 0x53002) << "asked for as a BD";
}

} // namespace

} // namespace larkspin
