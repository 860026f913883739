// The shim: its table of drives, and the request blocks that it serves.
#include "drive/direct_command.h"
#include "drive/mmc.h"
#include "drive/srb.h"
#include "support/scripted_port.h"

#include <gmock/gmock.h>

namespace larkspin {
namespace {

using testing::ElementsAre;

SRB_ExecSCSICmd MakeCommand(uint8_t adapter, uint8_t target, uint8_t lun, uint8_t opcode) {
    SRB_ExecSCSICmd srb;
    srb.Header.SRB_Cmd = SC_EXEC_SCSI_CMD;
    srb.Header.SRB_HaId = adapter;
    srb.SRB_Target = target;
    srb.SRB_Lun = lun;
    srb.SRB_SenseLen = 14;
    srb.SRB_CDBLen = 6;
    srb.CDBByte[0] = opcode;
    return srb;
}

TEST(PassThroughTest, ProbeKeepsWhatAnswersAndOpensNothing) {
    ManualClock clock;
    ScriptedPort port;
    port.AddDrive(2, {7, 1, 0});
    port.AddDrive(3, {4, 0, 2}).opensForWriting = false; // the second attempt opens it
    ScriptedPort::Drive& closed = port.AddDrive(4, {4, 0, 3});
    closed.opensForWriting = closed.opensForReading = false;
    port.AddDrive(5, {4, 0, 4}).answersInquiry = false;
    port.AddDrive(6, {9, 9, 9}).addressError = PortError::Failed;
    port.AddDrive(25, {9, 9, 9}).addressError = PortError::NotSupported;

    CAspiTransport transport(port, clock, {});
    EXPECT_EQ(transport.ProbePassThroughDevices(), 3);
    EXPECT_EQ(transport.ProbePassThroughDevices(), 0) << "the table is built once";
    EXPECT_THAT(transport.m_Adapters, ElementsAre(0u, 4u, 7u, 25u));
    EXPECT_EQ(transport.m_byAdapterCount, 4);
    for (int letter = 0; letter < 26; ++letter) {
        SCOPED_TRACE(letter);
        const AspiDeviceEntry& row = transport.m_Devices[letter];
        EXPECT_EQ(row.bPresent, letter == 2 || letter == 3 || letter == 25);
        EXPECT_EQ(row.hDevice, nullptr);
    }
    EXPECT_EQ(transport.m_Devices[25].byPort, 25);
    EXPECT_EQ(transport.m_Devices[25].byTarget, 0);
    EXPECT_EQ(transport.m_Devices[3].byLun, 2);
    EXPECT_EQ(port.DriveAt(2).live, 0);
    // 192 bytes of INQUIRY within five seconds.
    EXPECT_THAT(port.Sent().at(0).cdb, ElementsAre(0x12, 0, 0, 0, 192, 0));
    EXPECT_EQ(port.Sent().at(0).length, 192u);
    EXPECT_EQ(port.Sent().at(0).timeoutSeconds, 5u);

    EXPECT_EQ(transport.ReleasePassThroughDevices(), 1);
    EXPECT_EQ(transport.ReleasePassThroughDevices(), 0);
    EXPECT_FALSE(transport.m_Devices[2].bPresent);
}

TEST(PassThroughTest, RowsAreFoundByPortTargetAndLun) {
    ManualClock clock;
    ScriptedPort port;
    port.AddDrive(2, {4, 1, 0});
    port.AddDrive(3, {4, 1, 1});
    port.AddDrive(4, {4, 2, 0});
    port.AddDrive(5, {4, 1, 0}); // hidden behind C:
    CAspiTransport transport(port, clock, {});
    ASSERT_EQ(transport.LoadTransport(), 1);
    struct Case {
        uint8_t adapter, target, lun;
        int row;
    };
    for (const Case& c : {Case{1, 1, 0, 2}, Case{1, 1, 1, 3}, Case{1, 2, 0, 4}, Case{0, 1, 0, 0},
                          Case{1, 0, 0, 0}, Case{9, 1, 0, 0}}) {
        SCOPED_TRACE(testing::Message()
                     << int{c.adapter} << ':' << int{c.target} << ':' << int{c.lun});
        EXPECT_EQ(transport.FindRow(c.adapter, c.target, c.lun), c.row);
        SRB_GDEVBlock block;
        block.Header.SRB_Cmd = SC_GET_DEV_TYPE;
        block.Header.SRB_HaId = c.adapter;
        block.SRB_Target = c.target;
        block.SRB_Lun = c.lun;
        const uint8_t status = c.row != 0 ? SS_COMP : SS_NO_DEVICE;
        EXPECT_EQ(transport.PassThroughCommand(&block.Header), status);
        EXPECT_EQ(block.Header.SRB_Status, status);
        EXPECT_EQ(block.SRB_DeviceType, c.row != 0 ? 5 : 31);
        SRB_ExecSCSICmd command = MakeCommand(c.adapter, c.target, c.lun, 0);
        EXPECT_EQ(transport.PassThroughCommand(&command.Header), c.row != 0 ? SS_COMP : SS_ERR);
        if (c.row != 0) {
            EXPECT_EQ(port.Sent().back().letterIndex, c.row);
        }
    }
    transport.LockAndDismount(4, 1, 1);
    transport.LockAndDismount(4, 7, 7);
    EXPECT_THAT(port.Locked(), ElementsAre(3));
}

TEST(PassThroughTest, TellsOfItsAdaptersAndRefusesOtherRequests) {
    ManualClock clock;
    ScriptedPort port;
    port.AddDrive(2, {1, 0, 0});
    CAspiTransport transport(port, clock, {});
    ASSERT_EQ(transport.LoadTransport(), 1);
    EXPECT_EQ(transport.SupportInfo(), 0x0102u);

    SRB_HAInquiry inquiry;
    inquiry.Header.SRB_HaId = 1;
    EXPECT_EQ(transport.PassThroughCommand(&inquiry.Header), SS_COMP);
    EXPECT_EQ(inquiry.HA_Count, 2);
    EXPECT_EQ(inquiry.HA_SCSI_ID, 7);
    EXPECT_STREQ(inquiry.HA_ManagerId, "NtScsiInterface");
    EXPECT_STREQ(inquiry.HA_Identifier, "SCSI Adapter 1 ");
    EXPECT_THAT(inquiry.HA_Unique, ElementsAre(0, 0, 0, 8, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0));

    SRB_ExecSCSICmd other = MakeCommand(0, 0, 0, 0);
    other.Header.SRB_Cmd = SC_ABORT_SRB;
    EXPECT_EQ(transport.PassThroughCommand(&other.Header), SS_ERR);
    EXPECT_EQ(transport.PassThroughCommand(nullptr), SS_ERR);
}

TEST(PassThroughTest, AdapterNumbersAtOrAboveTheirCountAreNone) {
    ManualClock clock;
    ScriptedPort port;
    port.AddDrive(2, {9, 0, 0});
    CAspiTransport transport(port, clock, {});
    ASSERT_EQ(transport.LoadTransport(), 1);
    SRB_HAInquiry inquiry;
    inquiry.Header.SRB_HaId = 1; // which is port 9
    EXPECT_EQ(transport.PassThroughCommand(&inquiry.Header), SS_INVALID_HA);
    EXPECT_EQ(inquiry.Header.SRB_HaId, 9);
}

TEST(PassThroughTest, CommandGoesOutWithItsTimeoutDirectionAndData) {
    struct Case {
        uint8_t flags;
        PortDirection direction;
        uint32_t timeout;
        uint32_t expectedTimeout;
    };
    for (const Case& c :
         {Case{SRB_DIR_IN, PortDirection::In, 0, 5},
          Case{SRB_DIR_OUT, PortDirection::Out, 180, 180}, Case{0, PortDirection::None, 7, 7}}) {
        ScriptedBench bench;
        Bytes data(10, 0x11);
        SRB_ExecSCSICmd command = MakeCommand(0, 0, 0, 0x1B);
        command.Header.SRB_Flags = c.flags;
        command.SRB_BufLen = 10;
        command.SRB_BufPointer = data.data();
        bench.port.Queue(0x1B, GoodAnswer(Bytes(10, 0x22)));
        bench.transport.m_nTimeoutSeconds = c.timeout;
        EXPECT_EQ(bench.transport.PassThroughCommand(&command.Header), SS_COMP);
        const SentCommand& sent = bench.port.Sent().at(0);
        EXPECT_EQ(sent.direction, c.direction);
        EXPECT_EQ(sent.timeoutSeconds, c.expectedTimeout);
        EXPECT_EQ(sent.cdb.size(), 6u);
        EXPECT_EQ(sent.dataOut, c.direction == PortDirection::Out ? Bytes(10, 0x11) : Bytes());
        EXPECT_EQ(data, Bytes(10, c.direction == PortDirection::In ? 0x22 : 0x11));
    }
}

TEST(PassThroughTest, CheckConditionCompletesAndShowsInTheSenseOnly) {
    ScriptedBench bench;
    bench.port.Queue(0, SenseAnswer(2, 0x04, 0x08));
    SRB_ExecSCSICmd command = MakeCommand(0, 0, 0, 0);
    EXPECT_EQ(bench.transport.PassThroughCommand(&command.Header), SS_COMP);
    EXPECT_EQ(command.SenseArea[2], 2);
    EXPECT_EQ(command.SenseArea[12], 4);
    EXPECT_EQ(command.SenseArea[13], 8);
    EXPECT_EQ(bench.port.Sent().size(), 1u);
}

TEST(PassThroughTest, DeviceIsOpenedOnceAndStaysOpen) {
    ScriptedBench bench;
    bench.port.DriveAt(2).opens = 0;
    for (int round = 0; round < 3; ++round) {
        SRB_ExecSCSICmd command = MakeCommand(0, 0, 0, 0);
        EXPECT_EQ(bench.transport.PassThroughCommand(&command.Header), SS_COMP);
    }
    EXPECT_EQ(bench.port.DriveAt(2).opens, 1);
    EXPECT_EQ(bench.port.DriveAt(2).live, 1);
    bench.transport.ReleasePassThroughDevices();
    EXPECT_EQ(bench.port.DriveAt(2).live, 0);
}

TEST(PassThroughTest, StaleHandleIsProbedAndTheCommandRepeatedOnce) {
    struct Case {
        PortError first, second;
        size_t sent; // commands but for the probe's INQUIRY
        uint8_t status;
    };
    const Case cases[] = {
        {PortError::MediaChanged, PortError::None, 2, SS_COMP},
        {PortError::InvalidHandle, PortError::None, 2, SS_COMP},
        {PortError::MediaChanged, PortError::MediaChanged, 2, SS_ERR},
        {PortError::InvalidHandle, PortError::Failed, 2, SS_ERR},
        {PortError::TimedOut, PortError::None, 1, SS_ERR},
        {PortError::Failed, PortError::None, 1, SS_ERR},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(static_cast<int>(c.first));
        ScriptedBench bench;
        bench.port.Queue(0, FailedAnswer(c.first));
        bench.port.Queue(0, FailedAnswer(c.second));
        SRB_ExecSCSICmd command = MakeCommand(0, 0, 0, 0);
        EXPECT_EQ(bench.transport.PassThroughCommand(&command.Header), c.status);
        EXPECT_EQ(bench.port.Sent(0).size(), c.sent);
        EXPECT_EQ(bench.port.Sent(mmc::kInquiry).size(), c.sent - 1);
        EXPECT_LE(bench.port.DriveAt(2).live, 1);
        if (c.status == SS_ERR) {
            const PortError last = c.sent == 1 ? c.first : c.second;
            EXPECT_EQ(command.Header.SRB_Hdr_Rsvd, static_cast<uint32_t>(last));
            EXPECT_EQ(command.SRB_TargStat, 4);
        }
    }
}

TEST(PassThroughTest, DriveThatWentAwayFailsAndOneThatMovedIsNotFound) {
    ScriptedBench bench;
    bench.port.DriveAt(2).opensForReading = bench.port.DriveAt(2).opensForWriting = false;
    SRB_ExecSCSICmd command = MakeCommand(0, 0, 0, 0);
    EXPECT_EQ(bench.transport.PassThroughCommand(&command.Header), SS_ERR);
    EXPECT_TRUE(bench.port.Sent().empty());

    ScriptedBench moved;
    moved.port.Queue(0, FailedAnswer(PortError::MediaChanged));
    moved.port.DriveAt(2).address = {0, 5, 0};
    EXPECT_EQ(moved.transport.PassThroughCommand(&command.Header), SS_ERR);
    EXPECT_EQ(moved.port.Sent(0).size(), 1u);
}

TEST(PassThroughTest, InquiryComesFromTheRow) {
    ScriptedBench bench;
    Bytes answer(40, 0xEE);
    SRB_ExecSCSICmd command = MakeCommand(0, 0, 0, mmc::kInquiry);
    command.SRB_BufPointer = answer.data();
    command.SRB_BufLen = 36;
    EXPECT_EQ(bench.transport.PassThroughCommand(&command.Header), SS_COMP);
    EXPECT_TRUE(bench.port.Sent().empty());
    EXPECT_TRUE(
        std::equal(answer.begin(), answer.begin() + 36, bench.port.DriveAt(2).inquiry.begin()));
    EXPECT_EQ(answer[36], 0xEE);
    // A caller that offers less gets less.
    Bytes little(5, 0xEE);
    command.SRB_BufPointer = little.data();
    command.SRB_BufLen = 4;
    bench.transport.PassThroughCommand(&command.Header);
    EXPECT_EQ(little, (Bytes{5, 0x80, 0, 0, 0xEE}));
}

} // namespace
} // namespace larkspin
