// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What a strict drive refuses, each refusal with its sense.
#include "host.h"

#include <initializer_list>

namespace larkspin {

namespace {

class RefereeTest : public DriveTest {
  protected:
    struct Refusal {
        const char* what;
        Bytes cdb;
        int code;
    };
    void ExpectRefusals(std::initializer_list<Refusal> refusals) {
        for (const Refusal& refusal : refusals) {
            EXPECT_EQ(host.In(refusal.cdb, 2048), refusal.code) << refusal.what;
        }
    }
};

TEST_F(RefereeTest, WithoutADisc) {
    ExpectRefusals({
        {"ready", {0, 0, 0, 0, 0, 0}, kTrayClosed},
        {"start", {0x1B, 0, 0, 0, 1, 0}, kTrayClosed},
        {"load", {0x1B, 0, 0, 0, 3, 0}, kTrayClosed},
        {"write", Host::Address10(0x2A, 0, 1), kTrayClosed},
        {"read", Host::Address10(0x28, 0, 1), kTrayClosed},
        {"disc information", {0x51, 0, 0, 0, 0, 0, 0, 0, 34, 0}, kTrayClosed},
        {"open the tray", {0x1B, 0, 0, 0, 2, 0}, kGood},
        {"ready, with an open tray", {0, 0, 0, 0, 0, 0}, 0x23A02},
    });
    // No profile is current, but the drive tells what it can do.
    EXPECT_EQ(host.Profile(), 0);
    EXPECT_GT(host.Data32(0), 100U);
}

TEST_F(RefereeTest, OfABlankDisc) {
    Load("cd-r");
    ASSERT_EQ(host.SelectTrackAtOnce(), kGood);
    ExpectRefusals({
        {"unknown command", {0xFE, 0, 0, 0, 0, 0}, kUnknownCommand},
        {"read buffer", {0x3C, 0, 0, 0, 0, 0, 0, 0, 4, 0}, kUnknownCommand},
        {"nothing to read", Host::Address10(0x28, 0, 1), kOutOfRange},
        {"no table of contents", {0x43, 0, 0, 0, 0, 0, 0, 0, 12, 0}, kInvalidFieldInCdb},
        {"blanking of a write-once disc", {0xA1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, kCannotWrite},
        {"reservation", {0x53, 0, 0, 0, 0, 0, 0, 0, 16, 0}, kCannotWrite},
        {"DVD structure", {0xAD, 0, 0, 0, 0, 0, 0, 0, 0, 20, 0, 0}, 0x53002},
        {"saved pages", {0x5A, 8, 0xC5, 0, 0, 0, 0, 0, 60, 0}, 0x53900},
        {"unknown page", {0x5A, 8, 0x22, 0, 0, 0, 0, 0, 60, 0}, kInvalidFieldInCdb},
        {"asynchronous events", {0x4A, 0, 0, 0, 0x10, 0, 0, 0, 8, 0}, kInvalidFieldInCdb},
        {"close function of another medium", {0x5B, 0, 5, 0, 0, 0, 0, 0, 0, 0}, kInvalidFieldInCdb},
        {"track that is not there", {0x52, 1, 0, 0, 0, 2, 0, 0, 36, 0}, kInvalidFieldInCdb},
        {"block behind the disc", {0x52, 0, 0, 5, 0x7D, 0xA9, 0, 0, 36, 0}, kOutOfRange},
    });
    EXPECT_EQ(host.Write(1, Bytes(2048)), kInvalidAddress) << "not at the next address";
    EXPECT_EQ(host.Write(-150, Bytes(2048)), kInvalidAddress) << "pre-gap at once";
    for (const size_t bytes : {2048, 2 * 2048 - 1, 2 * 2352}) {
        EXPECT_EQ(host.Out(Host::Address10(0x2A, 0, 2), Bytes(bytes)), kDataPhase) << bytes;
    }
    EXPECT_EQ(host.SendCueSheet(Bytes(32)), kSequenceError) << "at track at once";
    EXPECT_EQ(host.SelectWriteType(1, 3, 4, 0), kGood);
    EXPECT_EQ(host.Write(0, Bytes(2352), 2352), kIllegalMode) << "audio blocks in a data track";
    EXPECT_EQ(host.SelectSessionAtOnce(), kGood);
    EXPECT_EQ(host.Write(-150, Bytes(2048)), kSequenceError) << "session without a cue sheet";
    EXPECT_EQ(host.DiscStatus(), 0) << "none of these touched the disc";
}

TEST_F(RefereeTest, OfModePages) {
    Load("cd-r");
    const Bytes page = host.WriteParametersPage();
    const auto with = [&page](size_t index, uint8_t value) {
        Bytes changed = page;
        changed[index] = value;
        return changed;
    };
    const std::pair<const char*, Bytes> refused[] = {
        {"packet writing", with(2, 0x40)},
        {"raw writing", with(2, 0x43)},
        {"test writing", with(2, 0x51)},
        {"reserved multi-session", with(3, 0x84)},
        {"block type of packets", with(4, 0x0A)},
        {"reserved bits beside the block type", with(4, 0x18)},
        {"reserved byte", with(9, 1)},
        {"unknown session format", with(8, 0x30)},
        {"wrong length", with(1, 0x30)},
        {"parameters saveable", with(0, 0x85)},
        {"read-only page", {0x2A, 2, 0, 0}},
    };
    for (const auto& [what, changed] : refused) {
        EXPECT_EQ(host.SelectPage(changed), kInvalidFieldInList) << what;
    }
    EXPECT_EQ(host.SelectPage(Bytes(page.begin(), page.begin() + 20)), 0x51A00) << "cut short";
    EXPECT_EQ(host.SelectPage(page), kGood);
    EXPECT_EQ(host.WriteParametersPage(), page) << "refused pages change nothing";
    // Without the page format bit, as some hosts set the block size.
    EXPECT_EQ(host.Out({0x55, 0, 0, 0, 0, 0, 0, 0, 12, 0}, {0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 8, 0}),
              kInvalidFieldInCdb);
}

TEST_F(RefereeTest, OfALockedDoor) {
    Load("cd-r");
    std::string ejected;
    drive.SetOnEject([&](const std::string& path) { ejected = path; });
    ASSERT_EQ(host.LockDoor(true), kGood);
    EXPECT_TRUE(drive.IsDoorLocked());
    EXPECT_EQ(host.Eject(), 0x55302);
    EXPECT_TRUE(drive.HasDisc());
    ExpectGood({host.LockDoor(false), host.Eject()});
    EXPECT_FALSE(drive.HasDisc());
    EXPECT_EQ(ejected, Disc());
    // A person's hands at the drive: the disc that lies in the tray comes in as it is closed.
    EXPECT_TRUE(drive.LayOnTray(Disc()));
    EXPECT_TRUE(drive.PressEject()) << "changes nothing in an open tray";
    EXPECT_EQ(host.In({0x1B, 0, 0, 0, 3, 0}), kGood);
    EXPECT_FALSE(drive.CloseTray() || drive.LayOnTray(Disc())) << "it is closed";
    EXPECT_EQ(host.TestUnitReady(), kNewMedium);
    ExpectGood({host.LockDoor(true), host.PollEvents(0x10)});
    EXPECT_FALSE(drive.PressEject());
    EXPECT_EQ(host.PollEvents(0x10), kGood);
    EXPECT_EQ(host.data[4], 1) << "the host is told of the button";
    EXPECT_EQ(host.LockDoor(false), kGood);
    EXPECT_TRUE(drive.PressEject());
    EXPECT_FALSE(drive.HasDisc());
}

// Commands that come with the features that the drive claims.
TEST_F(RefereeTest, OfAWrittenDisc) {
    Load("cd-rw");
    const Bytes bytes = Blocks(310, 1);
    ExpectGood({host.SelectTrackAtOnce(), host.WriteAll(0, bytes), host.SynchronizeCache(),
                host.Close(1, 1), host.Close(2)});
    Bytes changed = bytes;
    changed[310 * 2048 - 1] ^= 1;
    ExpectRefusals({
        {"seek", Host::Address10(0x2B, 300, 0), kGood},
        {"seek behind the end", Host::Address10(0x2B, 5000, 0), kOutOfRange},
        {"verify", Host::Address10(0x2F, 0, 310), kGood},
        {"verify run-out", Host::Address10(0x2F, 300, 12), kUnreadable},
        {"read ahead", {0xA7, 0, 0, 0, 0, 9, 0, 0, 0, 99, 0, 0}, kGood},
        {"repair of a whole track", {0x58, 0, 0, 0, 0, 1, 0, 0, 0, 0}, kGood},
        {"time that is none", {0xB9, 0, 0, 0, 60, 0, 0, 61, 0, 0x10, 0, 0}, kInvalidFieldInCdb},
        {"audio play", {0x45, 0, 0, 0, 0, 0, 0, 0, 1, 0}, kUnknownCommand},
        {"log pages", {0x4D, 0, 0x40, 0, 0, 0, 0, 0, 4, 0}, kUnknownCommand},
        {"unknown product data", {0x12, 1, 0xB1, 0, 64, 0}, kInvalidFieldInCdb},
    });
    Bytes compare = Host::Address10(0x2F, 0, 310);
    compare[1] = 2;
    EXPECT_EQ(host.Out(compare, bytes), kGood);
    EXPECT_EQ(host.Out(compare, changed), 0xE1D00);
    EXPECT_EQ(host.In({0xB9, 0, 0, 0, 2, 1, 0, 2, 3, 0x10, 0, 0}, 2 * 2048), kGood);
    EXPECT_TRUE(host.data == Bytes(bytes.begin() + 2048, bytes.begin() + 3 * 2048L));
    EXPECT_EQ(host.Toc(3), kGood);
    EXPECT_EQ(host.DataAt(8, 7), (Bytes{0, 6, 12, 0, 0, 2, 0})) << "the track's end and start";
    EXPECT_EQ(host.In({0x12, 1, 0, 0, 64, 0}), kGood);
    EXPECT_EQ(host.DataAt(0, 7), (Bytes{5, 0, 0, 3, 0, 0x80, 0x83}));
    EXPECT_EQ(host.In({0xA0, 0, 0, 0, 0, 0, 0, 0, 0, 16, 0, 0}), kGood);
    EXPECT_EQ(host.Data32(0), 8U);

    Load("dvd-ram");
    EXPECT_EQ(host.Out(Host::Address10(0x2E, 0, 310), bytes), kGood) << "write and verify";
    ExpectRead(0, bytes);
}

TEST_F(RefereeTest, NewMediumIsAnnouncedOnce) {
    Load("cd-rw");
    ASSERT_TRUE(drive.Insert(Disc()));
    drive.Reset();
    // Neither inquiry nor configuration nor event polling reports the attention.
    EXPECT_EQ(host.In({0x12, 0, 0, 0, 36, 0}), kGood);
    EXPECT_EQ(host.Profile(), 0x0A);
    EXPECT_EQ(host.PollEvents(0x02), kGood);
    EXPECT_EQ(host.DataAt(2, 3), (Bytes{1, 0x56, 2})) << "an operational change";
    EXPECT_EQ(host.PollEvents(0x10), kGood);
    EXPECT_EQ(host.DataAt(2, 4), (Bytes{4, 0x56, 2, 2}));
    EXPECT_EQ(host.PollEvents(0x10), kGood);
    EXPECT_EQ(host.data[4], 0) << "the event was handed over";
    EXPECT_EQ(host.Read(0, 1), 0x62900) << "the reset comes first";
    EXPECT_EQ(host.Read(0, 1), kNewMedium);
    EXPECT_EQ(host.TestUnitReady(), kGood);
    drive.Remove();
    EXPECT_EQ(host.TestUnitReady(), kTrayClosed);
}

} // namespace

} // namespace larkspin
