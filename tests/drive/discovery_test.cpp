// Finding drives, and the commands that act on a drive as a device.
#include "drive/drive_list.h"
#include "drive/mmc.h"
#include "support/scripted_port.h"

#include <gmock/gmock.h>

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
    EXPECT_EQ(drives.At(0).m_strName, u"ALPHA   ONE             ");
    EXPECT_EQ(drives.At(1).m_strName, u"GAMMA   THREE           ");
    EXPECT_EQ(drives.At(2).m_strName, u"BETA    TWO             ");
    EXPECT_EQ(drives.At(0).GetDriveLetter(), u'D');
    EXPECT_EQ(drives.At(2).GetDriveLetter(), u'C');
    EXPECT_EQ(drives.At(2).DisplayName(), u"sr0");
    EXPECT_THROW(drives.At(3), std::out_of_range);
}

TEST(DriveListTest, NoDriveAndNoLibraryIsNoTransport) {
    ManualClock clock;
    ScriptedPort port;
    DriveList drives;
    EXPECT_EQ(drives.ScanDrives(port, clock, {}), DriveList::ScanResult::NoTransport);
    EXPECT_EQ(drives.Count(), 0u);
}

TEST(DriveListTest, ReleaseClosesAnOpenRecordingThroughTheTransport) {
    ManualClock clock;
    ScriptedPort port;
    port.AddDrive(2);
    DriveList drives;
    for (const bool byNextScan : {false, true}) {
        ASSERT_EQ(drives.ScanDrives(port, clock, {}), DriveList::ScanResult::Found);
        port.Clear();
        drives.At(0).m_pfnFinalize = [](CAspiCD& drive) { drive.CloseSession(); };
        if (byNextScan)
            drives.ScanDrives(port, clock, {});
        else
            drives.ReleaseDrives();
        EXPECT_EQ(port.Sent(mmc::kCloseTrackSession).size(), 1u);
        EXPECT_EQ(port.DriveAt(2).live, 0);
    }
}

TEST(DiscoveryTest, LetterIsAskedOfTheSystemOnce) {
    ScriptedDrive bench;
    EXPECT_EQ(bench.drive.GetDriveLetter(), u'C');
    bench.transport.ReleasePassThroughDevices(); // nothing left to ask
    EXPECT_EQ(bench.drive.GetDriveLetter(), u'C');
    EXPECT_TRUE(bench.port.Sent().empty());

    CAspiCD nowhere(5, 0, 0, &bench.transport);
    EXPECT_EQ(nowhere.GetDriveLetter(), 0);
    EXPECT_TRUE(nowhere.DisplayName().empty());
}

TEST(DiscoveryTest, EjectAndDoorLock) {
    ScriptedBench bench({0, 0, 2});
    CAspiCD drive(0, 0, 2, &bench.transport);
    EXPECT_EQ(drive.EjectDisk(), SS_COMP);
    drive.LockDoor(true);
    drive.LockDoor(false);
    ASSERT_EQ(bench.port.Sent().size(), 3u);
    EXPECT_EQ(bench.port.Sent()[0].cdb, (Bytes{0x1B, 0x40, 0, 0, 2, 0}));
    EXPECT_EQ(bench.port.Sent()[1].cdb, (Bytes{0x1E, 0x40, 0, 0, 1, 0}));
    EXPECT_EQ(bench.port.Sent()[2].cdb, (Bytes{0x1E, 0x40, 0, 0, 0, 0}));
    bench.port.Queue(mmc::kStartStopUnit, FailedAnswer(PortError::Failed));
    EXPECT_EQ(drive.EjectDisk(), SS_ERR);
}

TEST(DiscoveryTest, MediaHaveNamesAndDvdsTakeTheDvdWay) {
    struct Case {
        uint32_t profile;
        const char16_t* name;
        bool isDvd;
    };
    for (const Case& c :
         {Case{0, u"<no disk>", false}, Case{9, u"CD-R", false}, Case{10, u"CD-RW", false},
          Case{0x10, u"DVD-ROM", true}, Case{0x11, u"DVD-R", true}, Case{0x14, u"DVD-RW", true},
          Case{0x15, u"", false}, Case{0x1A, u"DVD+RW", true}, Case{0x1B, u"DVD+R", true},
          Case{0x2A, u"", false}, Case{0x2B, u"DVD+R DL", true}, Case{0x43, u"BD-RE", false},
          Case{kUnknownProfile, u"<unknown>", false}}) {
        SCOPED_TRACE(c.profile);
        EXPECT_EQ(DiskTypeName(c.profile), c.name);
        EXPECT_EQ(IsDvdProfile(c.profile), c.isDvd);
    }
}

} // namespace
} // namespace larkspin
