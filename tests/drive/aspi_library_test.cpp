// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The path through an ASPI library that is found at run time.
#include "drive/fake_aspi/fake_aspi.h"

#include "drive/direct_command.h"
#include "drive/drive_list.h"
#include "drive/scsi_command.h"
#include "support/scripted_port.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

namespace larkspin {
namespace {

// The library's drive behind a loaded transport; its time is the clock's.
class AspiLibraryTest : public testing::Test {
  protected:
    void SetUp() override {
        m_handle = ::dlopen(FAKE_ASPI, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(m_handle, nullptr) << ::dlerror();
        auto* const get = reinterpret_cast<FakeAspiControl* (*)()>(::dlsym(m_handle, "FakeAspi"));
        ASSERT_NE(get, nullptr);
        m_control = get();
        m_control->mode = FakeAspiMode::Complete;
        m_control->supportInfo = 0x0101;
        m_control->aborts = 0;
        m_control->countsResidual = false;
    }
    void TearDown() override { ::dlclose(m_handle); }

    struct Library {
        Library(AspiLibraryTest& test, IClock& clock) : transport(test.m_port, clock, {FAKE_ASPI}) {
            EXPECT_EQ(transport.LoadTransport(), 1);
        }
        DirectResult Read(Bytes& data, uint32_t seconds = 0, uint8_t opcode = 0x43) {
            return SendDirect(drive, SRB_DIR_IN, Cdb(opcode), data.data(),
                              static_cast<uint32_t>(data.size()), seconds);
        }

        CAspiTransport transport;
        CAspiCD drive{FakeAspiControl::kTarget, 0, 0, &transport};
    };

    void* m_handle = nullptr;
    FakeAspiControl* m_control = nullptr;
    ScriptedPort m_port; // no drives: the library gets its turn
    ManualClock m_clock;
};

TEST_F(AspiLibraryTest, IsTakenOnlyWhenThePortHasNoDriveAndBothExportsAreThere) {
    const std::tuple<const char*, bool, std::vector<std::string>, int> cases[] = {
        {"port first", true, {FAKE_ASPI}, 1},
        {"library", false, {FAKE_ASPI}, 1},
        {"the second name", false, {"/nowhere/wnaspi32.so", FAKE_ASPI}, 1},
        {"no library", false, {"/nowhere/wnaspi32.so"}, 0},
        {"an export is missing", false, {FAKE_ASPI_INCOMPLETE_LIBRARY, FAKE_ASPI}, 0},
        {"nothing to look for", false, {}, 0},
    };
    for (const auto& [name, portHasDrive, libraries, loaded] : cases) {
        SCOPED_TRACE(name);
        ScriptedPort port;
        if (portHasDrive) {
            port.AddDrive(kFirstLetterIndex);
        }
        CAspiTransport transport(port, m_clock, libraries);
        EXPECT_EQ(transport.LoadTransport(), loaded);
        EXPECT_EQ(transport.m_bLoaded, loaded == 1);
        EXPECT_EQ(transport.m_bUsePassThrough, portHasDrive);
        EXPECT_EQ(transport.m_hAspiLibrary != nullptr, loaded == 1 && !portHasDrive);
    }
}

TEST_F(AspiLibraryTest, ScanGivesADriveALetterAndTellsNoDriveFromNoTransport) {
    DriveList drives;
    ASSERT_EQ(drives.ScanDrives(m_port, m_clock, {FAKE_ASPI}), DriveList::ScanResult::Found);
    ASSERT_EQ(drives.Count(), 1u);
    EXPECT_EQ(CAspiCDPeek::Target(drives.At(0)), FakeAspiControl::kTarget);
    EXPECT_EQ(drives.At(0).GetDriveLetter(), u'C');
    EXPECT_EQ(drives.At(0).DisplayName(), u"C");
    m_control->supportInfo = 0x0100; // the library works and has no adapter
    EXPECT_EQ(drives.ScanDrives(m_port, m_clock, {FAKE_ASPI}), DriveList::ScanResult::None);
    m_control->supportInfo = 0xE800;
    EXPECT_EQ(drives.ScanDrives(m_port, m_clock, {FAKE_ASPI}), DriveList::ScanResult::NoTransport);
    EXPECT_EQ(drives.Count(), 0u);
}

TEST_F(AspiLibraryTest, CommandsThatEndOnAnotherThreadDeliverDataAndSense) {
    Library library(*this, SystemClock());
    m_control->mode = FakeAspiMode::CompleteLater;
    for (int round = 0; round < 20; ++round) {
        Bytes data(512);
        EXPECT_FALSE(library.Read(data).Failed());
        EXPECT_EQ(data, Bytes(512, FakeAspiControl::kDataByte));
        const DirectResult failed = library.Read(data, 0, FakeAspiControl::kFailingOpcode);
        EXPECT_EQ(failed.status, SS_ERR);
        EXPECT_EQ(SenseCode(failed.sense), 0x31105);
        EXPECT_TRUE(failed.Failed());
        EXPECT_FALSE(failed.Unanswered());
    }
    // The DVD logic's codes belong to the pass-through path; here a failure is just a failure.
    CScsiCommand command(library.drive);
    command[0] = FakeAspiControl::kFailingOpcode;
    EXPECT_EQ(command.Transport(Direction::NONE), -1);
    EXPECT_EQ(command.Asc(), 0x11);
}

TEST_F(AspiLibraryTest, BytesThatDidNotGoOverAreCountedWhereTheLibraryTellsThem) {
    for (const bool counts : {false, true}) {
        m_control->countsResidual = counts;
        Library library(*this, m_clock);
        Bytes data(64);
        EXPECT_FALSE(library.Read(data).Failed());
        EXPECT_EQ(data[31], FakeAspiControl::kDataByte);
        EXPECT_EQ(data[32], counts ? 0 : FakeAspiControl::kDataByte);
    }
}

TEST_F(AspiLibraryTest, CommandOverItsTimeIsAborted) {
    Library library(*this, m_clock);
    Bytes data(64);
    m_control->mode = FakeAspiMode::HangUntilAbort;
    for (const uint32_t seconds : {0u, 240u}) {
        SCOPED_TRACE(seconds);
        m_control->aborts = 0;
        const uint64_t start = m_clock.TickMs();
        const DirectResult result = library.Read(data, seconds);
        EXPECT_EQ(result.status, SS_ABORTED);
        EXPECT_TRUE(result.Failed());
        EXPECT_EQ(m_control->aborts, 1);
        EXPECT_EQ(library.drive.LastStatus(), SS_ABORTED);
        EXPECT_EQ(m_clock.TickMs() - start, seconds == 0 ? 30'000u : seconds * 1000);
        EXPECT_EQ(library.transport.m_nTimeoutSeconds, 0u);
    }
    m_control->mode = FakeAspiMode::Complete;
    EXPECT_FALSE(library.Read(data).Failed());
    // The sense of the answer before is not taken for that of a command that got none.
    CScsiCommand command(library.drive);
    command[0] = FakeAspiControl::kFailingOpcode;
    command.Transport(Direction::NONE);
    EXPECT_TRUE(HasSense(command.Sense()));
    m_control->mode = FakeAspiMode::HangUntilAbort;
    EXPECT_EQ(command.Transport(Direction::NONE), -1);
    EXPECT_FALSE(HasSense(command.Sense()));
}

TEST_F(AspiLibraryTest, LibraryMayStillWriteToACommandThatItNeverGaveBack) {
    {
        Library library(*this, m_clock);
        Bytes data(2048, 1);
        m_control->mode = FakeAspiMode::HangForever;
        EXPECT_TRUE(library.Read(data).Failed());
        CompleteFakeCommand(*m_control->pending);
        EXPECT_EQ(data, Bytes(2048, 1)) << "the buffer was the caller's again";
        library.Read(data);
    }
    // Only an address sanitizer sees whether this memory is still there.
    CompleteFakeCommand(*m_control->pending);
}

} // namespace
} // namespace larkspin
