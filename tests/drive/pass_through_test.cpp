// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The shim: its table of drives, and the request blocks that it serves.
#include "drive/answers.h"
#include "drive/srb.h"

namespace larkspin {
namespace {

using testing::ElementsAre;

struct Address {
    uint8_t adapter, target, lun;
};

// Some drives behind a transport, and the request blocks sent to it.
struct ShimTest : testing::Test {
    void Load() { ASSERT_EQ(transport.LoadTransport(), 1); }
    // A command of six bytes, at the first drive if no other is meant.
    uint8_t Execute(uint8_t opcode, Address address = {}) {
        srb = {};
        srb.Header.SRB_Flags = flags;
        srb.SRB_BufLen = static_cast<uint32_t>(data.size());
        srb.SRB_BufPointer = data.data();
        srb.SRB_SenseLen = 14;
        srb.SRB_CDBLen = 6;
        srb.CDBByte[0] = opcode;
        return Send(srb, SC_EXEC_SCSI_CMD, address);
    }
    template <typename Block>
    uint8_t Send(Block& block, uint8_t what, Address address) {
        block.Header.SRB_Cmd = what;
        block.Header.SRB_HaId = address.adapter;
        if constexpr (!std::is_same_v<Block, SRB_HAInquiry>) {
            block.SRB_Target = address.target;
            block.SRB_Lun = address.lun;
        }
        const uint8_t status = transport.PassThroughCommand(&block.Header);
        EXPECT_EQ(block.Header.SRB_Status, status);
        return status;
    }

    ManualClock clock;
    ScriptedPort port;
    CAspiTransport transport{port, clock, {}};
    uint8_t flags = SRB_DIR_IN;
    Bytes data;
    SRB_ExecSCSICmd srb;
};

TEST_F(ShimTest, ProbeKeepsWhatAnswersAndOpensNothing) {
    port.AddDrive(2, {7, 1, 0});
    port.AddDrive(3, {4, 0, 2}).opensForWriting = false; // the second attempt opens it
    ScriptedPort::Drive& closed = port.AddDrive(4, {4, 0, 3});
    closed.opensForWriting = closed.opensForReading = false;
    port.AddDrive(5, {4, 0, 4}).answersInquiry = false;
    port.AddDrive(6, {9, 9, 9}).addressError = PortError::Failed;
    port.AddDrive(25, {9, 9, 9}).addressError = PortError::NotSupported;

    EXPECT_EQ(transport.ProbePassThroughDevices(), 3);
    EXPECT_EQ(transport.ProbePassThroughDevices(), 0) << "the table is built once";
    EXPECT_THAT(transport.m_Adapters, ElementsAre(0u, 4u, 7u, 25u));
    EXPECT_EQ(transport.m_byAdapterCount, 4);
    for (int letter = 0; letter < 26; ++letter) {
        const AspiDeviceEntry& row = transport.m_Devices[letter];
        EXPECT_EQ(row.bPresent, letter == 2 || letter == 3 || letter == 25) << letter;
        EXPECT_EQ(row.hDevice, nullptr);
    }
    EXPECT_EQ(transport.m_Devices[25].byPort, 25);
    EXPECT_EQ(transport.m_Devices[25].byTarget, 0);
    EXPECT_EQ(transport.m_Devices[3].byLun, 2);
    EXPECT_EQ(port.DriveAt(2).live, 0);
    EXPECT_EQ(Trace(port.Sent()).at(0), "12 00 00 00 C0");
    EXPECT_EQ(port.Sent().at(0).length, 192u);

    EXPECT_EQ(transport.ReleasePassThroughDevices(), 1);
    EXPECT_EQ(transport.ReleasePassThroughDevices(), 0);
    EXPECT_FALSE(transport.m_Devices[2].bPresent);
}

TEST_F(ShimTest, RowsAreFoundByPortTargetAndLun) {
    port.AddDrive(2, {4, 1, 0});
    port.AddDrive(3, {4, 1, 1});
    port.AddDrive(4, {4, 2, 0});
    port.AddDrive(5, {4, 1, 0}); // hidden behind C:
    Load();
    const std::pair<Address, int> cases[] = {{{1, 1, 0}, 2}, {{1, 1, 1}, 3}, {{1, 2, 0}, 4},
                                             {{0, 1, 0}, 0}, {{1, 0, 0}, 0}, {{9, 1, 0}, 0}};
    for (const auto& [address, row] : cases) {
        SCOPED_TRACE(testing::Message() << int{address.adapter} << ':' << int{address.target});
        EXPECT_EQ(transport.FindRow(address.adapter, address.target, address.lun), row);
        SRB_GDEVBlock block;
        EXPECT_EQ(Send(block, SC_GET_DEV_TYPE, address), row != 0 ? SS_COMP : SS_NO_DEVICE);
        EXPECT_EQ(block.SRB_DeviceType, row != 0 ? 5 : 31);
        EXPECT_EQ(Execute(0, address), row != 0 ? SS_COMP : SS_ERR);
        if (row != 0) {
            EXPECT_EQ(port.Sent().back().letterIndex, row);
        }
    }
    EXPECT_FALSE(transport.LockAndDismount(4, 1, 1).Refused());
    EXPECT_TRUE(port.DriveAt(3).locked);
    EXPECT_TRUE(transport.LockAndDismount(4, 7, 7).Refused()) << "there is no such drive";
    transport.Unlock(4, 1, 1);
    EXPECT_FALSE(port.DriveAt(3).locked);
}

TEST_F(ShimTest, TellsOfItsAdaptersAndRefusesOtherRequests) {
    port.AddDrive(2, {1, 0, 0});
    port.AddDrive(3, {9, 0, 0});
    Load();
    EXPECT_EQ(transport.SupportInfo(), 0x0103u);
    SRB_HAInquiry inquiry;
    EXPECT_EQ(Send(inquiry, SC_HA_INQUIRY, {1, 0, 0}), SS_COMP);
    EXPECT_EQ(inquiry.HA_Count, 3);
    EXPECT_EQ(inquiry.HA_SCSI_ID, 7);
    EXPECT_STREQ(inquiry.HA_ManagerId, "NtScsiInterface");
    EXPECT_STREQ(inquiry.HA_Identifier, "SCSI Adapter 1 ");
    EXPECT_THAT(inquiry.HA_Unique, ElementsAre(0, 0, 0, 8, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0));
    // Adapter 2 is port 9, which is at or above the count of adapters.
    EXPECT_EQ(Send(inquiry, SC_HA_INQUIRY, {2, 0, 0}), SS_INVALID_HA);
    EXPECT_EQ(inquiry.Header.SRB_HaId, 9);

    EXPECT_EQ(Send(srb, SC_ABORT_SRB, {}), SS_ERR);
    EXPECT_EQ(transport.PassThroughCommand(nullptr), SS_ERR);
}

struct OneDriveTest : ShimTest {
    OneDriveTest() {
        port.AddDrive(2);
        Load();
        port.Clear();
        port.DriveAt(2).opens = 0;
    }
};

TEST_F(OneDriveTest, CommandGoesOutWithItsTimeoutDirectionAndData) {
    const std::tuple<SrbFlags, PortDirection, uint32_t> cases[] = {
        {SRB_DIR_IN, PortDirection::In, 0}, // seconds; 0: as usual
        {SRB_DIR_OUT, PortDirection::Out, 180},
        {SrbFlags{}, PortDirection::None, 7}};
    port.Always(0x1B, Bytes(10, 0x22));
    for (const auto& [srbFlags, direction, seconds] : cases) {
        data.assign(10, 0x11);
        flags = srbFlags;
        transport.m_nTimeoutSeconds = seconds;
        EXPECT_EQ(Execute(0x1B), SS_COMP);
        const SentCommand& sent = port.Sent().back();
        EXPECT_EQ(sent.direction, direction);
        EXPECT_EQ(sent.timeoutSeconds, seconds != 0 ? seconds : 5);
        EXPECT_EQ(sent.cdb.size(), 6u);
        EXPECT_EQ(sent.dataOut, direction == PortDirection::Out ? Bytes(10, 0x11) : Bytes());
        EXPECT_EQ(data, Bytes(10, direction == PortDirection::In ? 0x22 : 0x11));
    }
    // The device was opened once and stays open.
    EXPECT_EQ(port.DriveAt(2).opens, 1);
    EXPECT_EQ(port.DriveAt(2).live, 1);
    transport.ReleasePassThroughDevices();
    EXPECT_EQ(port.DriveAt(2).live, 0);
}

TEST_F(OneDriveTest, StaleHandleIsProbedAndTheCommandRepeatedOnce) {
    using enum PortError;
    const std::tuple<PortError, PortError, PortError> cases[] = {
        {MediaChanged, None, None},
        {InvalidHandle, None, None},
        {MediaChanged, MediaChanged, MediaChanged},
        {InvalidHandle, Failed, Failed},
        {TimedOut, None, TimedOut},
        {Failed, None, Failed}};
    for (const auto& [first, second, last] : cases) {
        SCOPED_TRACE(static_cast<int>(first));
        const bool isRepeated = first == MediaChanged || first == InvalidHandle;
        port.Clear();
        port.Queue(0, NoReply(first));
        port.Queue(0, NoReply(second), isRepeated ? 1 : 0);
        EXPECT_EQ(Execute(0), last == None ? SS_COMP : SS_ERR);
        EXPECT_EQ(port.SentOpcodes(), isRepeated ? (Bytes{0, kInquiry, 0}) : Bytes{0});
        EXPECT_LE(port.DriveAt(2).live, 1);
        if (last != None) {
            EXPECT_EQ(srb.Header.SRB_Hdr_Rsvd, static_cast<uint32_t>(last));
            EXPECT_EQ(srb.SRB_TargStat, 4);
        }
    }
    // A drive that moved is not found, and one that went away fails.
    port.Clear();
    port.Queue(0, NoReply(MediaChanged));
    port.DriveAt(2).address = {0, 5, 0};
    EXPECT_EQ(Execute(0), SS_ERR);
    EXPECT_EQ(port.Sent(0).size(), 1u);
    port.Clear();
    port.DriveAt(2).opensForReading = port.DriveAt(2).opensForWriting = false;
    EXPECT_EQ(Execute(0, {0, 5, 0}), SS_ERR);
    EXPECT_TRUE(port.Sent().empty());
}

TEST_F(OneDriveTest, LockedDriveIsOpenForWriting) {
    ScriptedPort::Drive& drive = port.DriveAt(2);
    drive.opensForWriting = false;
    EXPECT_EQ(Execute(0), SS_COMP);
    EXPECT_TRUE(transport.LockAndDismount(0, 0, 0).Refused()) << "by a handle that only reads";
    EXPECT_FALSE(drive.locked);
    drive.opensForWriting = true; // the user was given the right
    EXPECT_FALSE(transport.LockAndDismount(0, 0, 0).Refused());
    drive.opensForReading = false;
    EXPECT_EQ(Execute(0), SS_COMP);
    EXPECT_EQ(drive.live, 1);
    drive.lock = {LockResult::State::Refused, u"somebody has it"};
    EXPECT_EQ(transport.LockAndDismount(0, 0, 0).reason, u"somebody has it");
}

TEST_F(OneDriveTest, InquiryComesFromTheRow) {
    Bytes expected = port.DriveAt(2).inquiry;
    for (const size_t size : {size_t{40}, size_t{4}}) { // a caller that offers less gets less
        data.assign(size, 0xEE);
        expected.resize(size, 0xEE);
        EXPECT_EQ(Execute(kInquiry), SS_COMP);
        EXPECT_EQ(data, expected);
    }
    EXPECT_TRUE(port.Sent().empty());
}

} // namespace
} // namespace larkspin
