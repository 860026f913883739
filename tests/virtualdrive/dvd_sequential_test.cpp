// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// DVD-R, DVD-RW in sequential recording, DVD+R and the discs with two layers, command by command.
#include "host.h"

namespace larkspin {

namespace {

struct Kind {
    const char* name;
    bool isPlus;
    int32_t firstGap;
    int32_t nextGap;
};

const Kind kKinds[] = {
    {"dvd-r", false, 16'384, 3'072},    {"dvd-rw", false, 16'384, 3'072},
    {"dvd-r-dl", false, 16'384, 3'072}, {"dvd+r", true, 2'048, 2'048},
    {"dvd+r-dl", true, 2'048, 2'048},
};

class DvdSequentialTest : public DriveTest {
  protected:
    // Runs a test on a new disc of each kind, set up for incremental writing.
    template <class Test>
    void OnEachKind(uint32_t capacity, Test test) {
        for (const Kind& kind : kKinds) {
            SCOPED_TRACE(kind.name);
            Load(kind.name, capacity);
            if (!kind.isPlus) {
                ASSERT_EQ(host.SelectDash({}), kGood);
            }
            test(kind);
        }
    }
};

TEST_F(DvdSequentialTest, SessionsFollowWithTheirGaps) {
    OnEachKind(0, [this](const Kind& kind) {
        // 35 blocks are recorded as 48.
        ASSERT_EQ(host.WriteAll(0, Blocks(35, 1)), kGood);
        EXPECT_EQ(host.Write(36, Blocks(16, 2)), kInvalidAddress);
        EXPECT_EQ(host.Write(34, Blocks(16, 2)), kInvalidAddress) << "nothing is overwritten";
        EXPECT_EQ(host.Out(Host::Address10(0x2A, 35, 1), Bytes(2352)), kDataPhase);
        ASSERT_EQ(host.SynchronizeCache(), kGood);
        EXPECT_EQ(host.NextWritable(), 48);
        EXPECT_EQ(host.DiscStatus() & 0x0F, 0x05) << "disc and session incomplete";
        EXPECT_EQ(host.DataAt(4, 3), (Bytes{1, 1, 1})) << "sessions; tracks of the last one";
        EXPECT_EQ(host.TrackInformation(1, 2), kInvalidFieldInCdb) << "none beside the open one";
        EXPECT_EQ(host.Close(1, 2), kInvalidFieldInCdb) << "no such track";
        ASSERT_EQ(host.Close(1, 1), kGood);
        // A second track in the same session.
        const int32_t second = host.NextWritable();
        EXPECT_EQ(second, kind.isPlus ? 48 + 16 : 48);
        ASSERT_EQ(host.WriteAll(second, Blocks(16, 2)), kGood);
        ASSERT_EQ(host.Close(2), kGood) << "closes the track too";
        EXPECT_EQ(host.DiscStatus() & 0x0F, 0x01) << "an empty last session";
        EXPECT_EQ(host.DataAt(4, 3), (Bytes{2, 3, 3})) << "sessions; tracks of the last one";
        const int32_t third = second + 16 + kind.firstGap;
        EXPECT_EQ(host.NextWritable(), third);
        EXPECT_EQ(host.Read(third - 1, 1), kOutOfRange);
        ASSERT_EQ(host.WriteAll(third, Blocks(20, 3)), kGood);
        EXPECT_EQ(host.Read(third - 1, 1), kUnreadable) << "between the sessions";
        ExpectGood({host.Close(1, 0xFF), host.Close(2)});
        EXPECT_EQ(host.NextWritable(), third + 32 + kind.nextGap);
        ASSERT_EQ(host.Toc(1), kGood);
        EXPECT_EQ(host.data[3], 2) << "the last complete session";
        EXPECT_EQ(host.data[6], 3) << "its first track";
        EXPECT_EQ(host.Data32(8), static_cast<uint32_t>(third));

        // All of it is there after the disc was out of the drive, and the fill is zeros.
        Reload();
        ExpectRead(0, Blocks(35, 1) + Bytes(13UL * 2048));
        ExpectRead(third, Blocks(20, 3));
        EXPECT_EQ(host.NextWritable(), third + 32 + kind.nextGap);
    });
}

TEST_F(DvdSequentialTest, TheEndOfTheDisc) {
    OnEachKind(64, [this](const Kind&) {
        ASSERT_EQ(host.WriteAll(0, Blocks(48, 1)), kGood);
        EXPECT_EQ(host.Write(48, Blocks(17, 2)), kOutOfRange);
        EXPECT_EQ(host.Write(48, Blocks(16, 2)), kGood);
        EXPECT_EQ(host.Write(64, Blocks(1, 2)), kOutOfRange);
        ExpectGood({host.Close(2), host.TrackInformation(1, 2)});
        EXPECT_EQ(host.data[7] & 1, 0) << "no place for another session";
    });
}

TEST_F(DvdSequentialTest, ClosedDiscsTakeNothing) {
    OnEachKind(0, [this](const Kind& kind) {
        ASSERT_EQ(host.WriteAll(0, Blocks(16, 1)), kGood);
        if (kind.isPlus) {
            ASSERT_EQ(host.Close(1, 1), kGood);
            EXPECT_EQ(host.Close(3), kInvalidFieldInCdb) << "a function of the dash family";
            ASSERT_EQ(host.Close(6), kGood);
        } else {
            ASSERT_EQ(host.SelectDash({.multiSession = 0}), kGood);
            EXPECT_EQ(host.Close(6), kInvalidFieldInCdb);
            ASSERT_EQ(host.Close(2), kGood);
        }
        EXPECT_EQ(host.DiscStatus() & 0x0F, 0x0E) << "complete";
        EXPECT_EQ(host.Write(16, Blocks(16, 1)), kCannotWrite);
        EXPECT_EQ(host.TrackInformation(1, 2), kInvalidFieldInCdb) << "no invisible track";
        const bool isRewritable = std::string(kind.name) == "dvd-rw";
        EXPECT_EQ(host.CurrentFeatures(), isRewritable ? (std::set<uint16_t>{0x10, 0x1F, 0x23})
                                                       : (std::set<uint16_t>{0x10, 0x1F}));
    });
}

TEST_F(DvdSequentialTest, WriteParametersMustSuitTheMedium) {
    Load("dvd-r");
    EXPECT_EQ(host.Write(0, Blocks(16, 1)), kIllegalMode) << "the page is that of a CD";
    ExpectGood({host.SelectDash({}), host.SelectDash({.fixedPacket = false, .packetSize = 0}),
                host.SelectDash(InOneGo())});
    const DashPage refused[] = {{.linkValid = false}, {.linkSize = 7},      {.packetSize = 32},
                                {.packetSize = 0},    {.dataBlockType = 0}, {.testWrite = true},
                                {.multiSession = 2},  {.writeType = 1},     {.writeType = 3}};
    for (const DashPage& page : refused) {
        EXPECT_EQ(host.SelectDash(page), kInvalidFieldInList) << &page - refused;
    }

    Load("dvd-r-dl");
    EXPECT_EQ(host.SelectDash({.multiSession = 0, .linkValid = false, .linkSize = 0}), kGood)
        << "two layers may leave the link to the drive";
    Load("dvd+r");
    EXPECT_EQ(host.Write(0, Blocks(16, 1)), kGood) << "the plus family has no use for the page";
    EXPECT_EQ(host.SelectWriteType(3, 0, 0, 8), kInvalidFieldInList);
}

TEST_F(DvdSequentialTest, OneGoTakesWhatWasReserved) {
    Load("dvd-r", 1024);
    ASSERT_EQ(host.SelectDash({}), kGood);
    EXPECT_EQ(host.ReserveTrack(64), kSequenceError) << "not for incremental writing";
    ASSERT_EQ(host.SelectDash(InOneGo()), kGood);
    for (const uint32_t blocks : {0U, 1025U, kAllBlocks}) {
        EXPECT_EQ(host.ReserveTrack(blocks), kInvalidFieldInCdb) << blocks;
    }
    ExpectGood({host.ReserveTrack(50), host.TrackInformation(1, 1)});
    EXPECT_EQ(host.data[6] & 0xF0, 0xC0) << "reserved and blank";
    EXPECT_EQ(host.Data32(16), 64U) << "whole ECC blocks";
    ASSERT_EQ(host.WriteAll(0, Blocks(32, 1)), kGood);
    EXPECT_EQ(host.Close(1, 1), kSequenceError);
    EXPECT_EQ(host.Close(2), kSequenceError);
    ASSERT_EQ(host.SelectDash({}), kGood);
    EXPECT_EQ(host.Write(32, Blocks(16, 1)), kSequenceError) << "it must end as it began";
    ExpectGood({host.SelectDash(InOneGo()), host.WriteAll(32, Blocks(16, 2))});
    EXPECT_EQ(host.Write(48, Blocks(32, 2)), kOutOfRange) << "more than reserved";
    // The cache's last flush fills it up and closes the disc.
    ASSERT_EQ(host.SynchronizeCache(), kGood);
    EXPECT_EQ(host.DiscStatus() & 0x0F, 0x0E);
    EXPECT_EQ(ReadFileBytes(File("track-01.iso")),
              Blocks(32, 1) + Blocks(16, 2) + Bytes(16UL * 2048));
}

TEST_F(DvdSequentialTest, PlusReservesTheNextTrack) {
    Load("dvd+r", 1024);
    ExpectGood({host.ReserveTrack(20), host.WriteAll(0, Blocks(16, 1))});
    EXPECT_EQ(host.ReserveTrack(16), kSequenceError) << "the track is open";
    EXPECT_EQ(host.Write(16, Blocks(17, 1)), kOutOfRange) << "more than reserved";
    ASSERT_EQ(host.Close(1, 1), kGood);
    ExpectRead(0, Blocks(16, 1) + Bytes(16UL * 2048));
    EXPECT_EQ(host.NextWritable(), 32 + 16);
    ASSERT_EQ(host.TrackInformation(1, 2), kGood);
    EXPECT_EQ(host.Data32(16), 1024U - 48) << "no reservation is left";
}

TEST_F(DvdSequentialTest, OneGoWantsABlankDisc) {
    Load("dvd-r");
    ASSERT_EQ(host.SelectDash(InOneGo(3)), kGood);
    ASSERT_EQ(host.WriteAll(0, Blocks(16, 1)), kGood) << "without a reservation";
    ASSERT_EQ(host.SynchronizeCache(), kGood);
    EXPECT_EQ(host.DiscStatus() & 0x0F, 0x01) << "another session may follow";
    const int32_t next = host.NextWritable();
    EXPECT_EQ(host.Write(next, Blocks(16, 1)), kIllegalMode);
    EXPECT_EQ(host.ReserveTrack(16), kSequenceError);
    ExpectGood({host.SelectDash({}), host.Write(next, Blocks(16, 1))});
}

TEST_F(DvdSequentialTest, ACutOffRecordingInOneGoIsDamaged) {
    Load("dvd-r");
    ExpectGood(
        {host.SelectDash(InOneGo()), host.ReserveTrack(64), host.WriteAll(0, Blocks(20, 1))});
    Reload();
    ASSERT_EQ(host.TrackInformation(1, 1), kGood);
    EXPECT_EQ(host.data[5] & 0x20, 0x20);
    EXPECT_EQ(host.data[7] & 1, 0) << "no next writable address";
    EXPECT_EQ(host.DiscStatus() & 0x0F, 0x09) << "the session is damaged";
    ASSERT_EQ(host.SynchronizeCache(), kGood);
    for (const DashPage& page : {InOneGo(), DashPage()}) {
        ASSERT_EQ(host.SelectDash(page), kGood);
        EXPECT_EQ(host.Write(32, Blocks(16, 1)), kSequenceError);
    }
    EXPECT_EQ(host.DiscStatus() & 0x0F, 0x09) << "the session is damaged";
    ASSERT_EQ(host.Close(2), kGood);
    ExpectRead(0, Blocks(20, 1));
    EXPECT_EQ(host.Read(32, 1), kOutOfRange) << "the rest of the reservation was never written";
}

TEST_F(DvdSequentialTest, AMinimallyBlankedDiscTakesOneGoOnly) {
    Load("dvd-rw");
    ExpectGood({host.SelectDash({}), host.WriteAll(0, Blocks(16, 1))});
    EXPECT_EQ(host.Blank(5), kInvalidFieldInCdb);
    ASSERT_EQ(host.Blank(1), kGood);
    EXPECT_FALSE(std::filesystem::exists(File("track-01.iso")));
    EXPECT_EQ(host.DiscStatus() & 0x1F, 0x10);
    EXPECT_FALSE(host.IsFeatureCurrent(0x21));
    EXPECT_TRUE(host.IsFeatureCurrent(0x2F));
    EXPECT_EQ(host.Write(0, Blocks(16, 1)), kIllegalMode);
    Reload();
    EXPECT_FALSE(host.IsFeatureCurrent(0x21)) << "the disc knows, not the drive";
    ASSERT_EQ(host.Blank(0), kGood);
    EXPECT_TRUE(host.IsFeatureCurrent(0x21));
    EXPECT_EQ(host.Write(0, Blocks(16, 1)), kGood);
    Load("dvd-r");
    EXPECT_EQ(host.Blank(1), kCannotWrite);
}

TEST_F(DvdSequentialTest, TheLayerBoundaryOfABlankDisc) {
    constexpr uint8_t kBoundary = 0x20;
    const auto read = [&](uint8_t format) {
        return host.In({0xAD, 0, 0, 0, 0, 0, 0, format, 0, 20, 0, 0}, 20);
    };
    const auto send = [&](uint32_t blocks) {
        Bytes list(12);
        list[1] = 10;
        StoreBe32(&list[8], blocks);
        return host.Out({0xBF, 0, 0, 0, 0, 0, 0, kBoundary, 0, 12, 0, 0}, list);
    };
    Load("dvd+r-dl");
    ASSERT_EQ(read(kBoundary), kGood);
    EXPECT_EQ(host.data[4], 0) << "can be moved";
    EXPECT_EQ(host.Data32(8), 2'086'912U);
    EXPECT_EQ(send(2'086'912 + 16), kInvalidFieldInList);
    EXPECT_EQ(send(40), kInvalidFieldInList) << "within an ECC block";
    ASSERT_EQ(send(48), kGood);
    EXPECT_EQ(send(64), kSequenceError) << "only once";
    ASSERT_EQ(read(kBoundary), kGood);
    EXPECT_EQ(host.data[4], 0x80);
    EXPECT_EQ(host.Data32(8), 48U);
    ASSERT_EQ(host.WriteAll(0, Blocks(96, 1)), kGood);
    EXPECT_EQ(host.Write(96, Blocks(1, 1)), kOutOfRange) << "both layers are full";

    Load("dvd-r-dl");
    ASSERT_EQ(read(0x10), kGood);
    EXPECT_EQ(host.Data32(16) & 0xFFFFFF, 0x30000U + 4'171'712 / 2 - 1);
    Load("dvd+r");
    EXPECT_EQ(read(kBoundary), kInvalidFieldInCdb) << "one layer has no boundary";
}

} // namespace

} // namespace larkspin
