// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Finding drives, and the commands that act on a drive as a device.
#include "drive/answers.h"
#include "drive/drive_list.h"
#include "drive/profiles.h"

namespace larkspin {
namespace {

TEST(DriveListTest, KeepsTheDrivesInTheOrderOfTheirAddresses) {
    ManualClock clock;
    ScriptedPort port;
    port.AddDrive(2, {9, 0, 0}, "BETA", "TWO");
    port.AddDrive(3, {1, 3, 0}, "ALPHA", "ONE");
    port.AddDrive(4, {1, 3, 1}, "GAMMA", "THREE");
    port.AddDrive(5, {1, 8, 0}); // beyond the walk
    DriveList drives;
    ASSERT_EQ(drives.ScanDrives(port, clock, {}), DriveList::ScanResult::Found);
    ASSERT_EQ(drives.Count(), 3u);
    EXPECT_EQ(drives.At(0).Name(), u"ALPHA   ONE             ");
    EXPECT_EQ(drives.At(1).Name(), u"GAMMA   THREE           ");
    EXPECT_EQ(drives.At(2).Name(), u"BETA    TWO             ");
    EXPECT_EQ(drives.At(0).GetDriveLetter(), u'D');
    EXPECT_EQ(drives.At(2).GetDriveLetter(), u'C');
    EXPECT_EQ(drives.At(2).DisplayName(), u"sr0");
    EXPECT_THROW(drives.At(3), std::out_of_range);
}

TEST(DriveListTest, ReleaseClosesAnOpenRecordingThroughTheTransport) {
    ManualClock clock;
    ScriptedPort port;
    DriveList drives;
    EXPECT_EQ(drives.ScanDrives(port, clock, {"/nowhere/aspi.so"}), DriveList::ScanResult::None);
    port.AddDrive(2);
    for (const bool byNextScan : {false, true}) {
        ASSERT_EQ(drives.ScanDrives(port, clock, {}), DriveList::ScanResult::Found);
        port.Clear();
        drives.At(0).Dvd().m_pfnFinalize = [](DvdRecording& dvd) { dvd.Drive().CloseSession(); };
        if (byNextScan) {
            drives.ScanDrives(port, clock, {});
        } else {
            drives.ReleaseDrives();
        }
        EXPECT_EQ(port.Sent(kCloseTrackSession).size(), 1u);
        EXPECT_EQ(port.DriveAt(2).live, 0);
    }
}

TEST(DriveListTest, LooksAgainForDrivesThatCameOrCouldNotBeUsed) {
    ManualClock clock;
    ScriptedPort port;
    DriveList drives;
    EXPECT_FALSE(drives.LookAgain());
    port.m_beyond = {u"sr24 has no letter"};
    ScriptedPort::Drive& closed = port.AddDrive(3);
    closed.opensForWriting = closed.opensForReading = false;
    port.AddDrive(4, {1, 1, 0}).answersInquiry = false;
    EXPECT_EQ(drives.ScanDrives(port, clock, {}), DriveList::ScanResult::None);
    EXPECT_EQ(drives.Refused(),
              (std::vector<std::u16string>{u"sr24 has no letter", u"no permission",
                                           u"The drive sr2 does not answer."}));
    port.m_beyond.clear();
    closed.opensForReading = port.DriveAt(4).answersInquiry = true;
    EXPECT_TRUE(drives.LookAgain());
    EXPECT_EQ(drives.Count(), 2u);
    EXPECT_TRUE(drives.Refused().empty());
    port.Clear();
    EXPECT_FALSE(drives.LookAgain());
    EXPECT_TRUE(port.Sent().empty());
    port.AddDrive(2, {2, 1, 0});
    port.m_inventory = "one more";
    EXPECT_TRUE(drives.LookAgain());
    EXPECT_EQ(drives.Count(), 3u);
}

TEST(DiscoveryTest, LetterIsAskedOfTheSystemOnce) {
    ScriptedDrive bench;
    for (int asked = 0; asked < 2; ++asked) {
        EXPECT_EQ(bench.drive.GetDriveLetter(), u'C');
        bench.transport.ReleasePassThroughDevices(); // nothing left to ask
    }
    EXPECT_TRUE(bench.port.Sent().empty());
    CAspiCD nowhere(5, 0, 0, &bench.transport);
    EXPECT_EQ(nowhere.GetDriveLetter(), 0);
    EXPECT_TRUE(nowhere.DisplayName().empty());
}

TEST(DiscoveryTest, MediaHaveNamesAndDvdsTakeTheDvdWay) {
    const std::pair<uint32_t, std::u16string> names[] = {
        {0, u"<no disk>"}, {9, u"CD-R"},     {0x14, u"DVD-RW"},
        {0x15, u""},       {0x43, u"BD-RE"}, {kUnknownProfile, u"<unknown>"}};
    for (const auto& [profile, name] : names) {
        EXPECT_EQ(DiskTypeName(profile), name);
    }
    std::vector<uint32_t> dvds;
    for (uint32_t profile = 0; profile <= 0xFFFF; ++profile) {
        if (IsDvdProfile(profile)) {
            dvds.push_back(profile);
        }
    }
    EXPECT_EQ(dvds, (std::vector<uint32_t>{0x10, 0x11, 0x12, 0x13, 0x14, 0x1A, 0x1B, 0x2B}));
}

} // namespace
} // namespace larkspin
