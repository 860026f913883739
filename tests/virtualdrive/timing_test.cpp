// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The modelled drive: scripts, speed, operations that take their time, and two threads at it.
#include "host.h"

#include "virtualdrive/fault_script.h"

#include <atomic>
#include <functional>
#include <thread>

namespace larkspin {

namespace {

class TimingTest : public DriveTest {
  protected:
    PortError Blank(uint32_t timeoutSeconds) {
        host.timeoutSeconds = timeoutSeconds;
        host.Blank(1);
        return host.completion.error;
    }
    int SetCdSpeed(uint16_t kiloBytes) {
        return host.None({0xBB, 0, 0xFF, 0xFF, static_cast<uint8_t>(kiloBytes >> 8),
                          static_cast<uint8_t>(kiloBytes), 0, 0, 0, 0, 0, 0});
    }
};

TEST_F(TimingTest, ScriptDecidesWhatBecomesOfACommand) {
    Load("cd-r");
    ASSERT_EQ(host.SelectTrackAtOnce(), kGood);
    std::vector<FaultRule> rules;
    std::string problem;
    ASSERT_TRUE(ParseFaults("2A@1: 3/0c/00 pass +3/0C/0 # the second one runs, as the third does\n"
                            "\n 51@2> garbage 2/4/8*2\n*@9> gone*",
                            &rules, &problem))
        << problem;
    drive.SetScript(MakeScript(rules));
    EXPECT_EQ(host.Write(0, Blocks(1, 1)), kWriteError);
    ExpectGood({host.Write(0, Blocks(1, 1)), host.ReadDiscInformation()});
    EXPECT_EQ(host.Write(1, Blocks(1, 1)), kWriteError) << "but it was written";
    EXPECT_EQ(host.ReadDiscInformation(), kGood);
    EXPECT_NE(LoadBe16(&host.data[0]), 32);
    EXPECT_EQ(host.TestUnitReady(), 0x20408);
    EXPECT_EQ(host.Profile(), 9) << "is told in any state";
    EXPECT_EQ(host.Write(2, Blocks(1, 1)), 0x20408);
    for (int i = 0; i < 3; ++i) {
        host.TestUnitReady();
        EXPECT_EQ(host.completion.error, PortError::InvalidHandle);
    }
    for (const char* line :
         {"2a@1", "2a@1: ", "2a: 3/0c/00", "2a@0: gone", "1ff@1: gone", "2a@1: 3/0c", "2a@1: 0/0/0",
          "2a@1: 13/0c/00", "2a@1: timeout*x", "2a@1: gone* gone", "2a@1; gone", "*: gone"}) {
        EXPECT_FALSE(ParseFaults("28@1: gone\n" + std::string(line), &rules, &problem)) << line;
        EXPECT_TRUE(problem.starts_with("line 2: ")) << problem;
    }
}

TEST_F(TimingTest, DefectsComeWithTheDiscIfTheyAreUnderstood) {
    const std::string disc = folder.Path() + "/spoiled";
    const auto spoil = [&](const std::string& rules) {
        std::filesystem::create_directories(disc);
        WriteFileBytes(disc + "/defects.txt", Bytes(rules.begin(), rules.end()));
    };
    spoil("0: lost # and more\n\n1-2: flip=1\n");
    ASSERT_TRUE(VirtualDrive::CreateDisc(disc, "dvd-ram"));
    ASSERT_TRUE(drive.Insert(disc));
    for (const char* line :
         {"1", "1 unreadable", "x: lost", "1: gone", "1: flip", "1: flip=", "1: flip=18816",
          "1: slow=x", "2-1: lost", "1: lost=3", "1: lost@2", "1: slow=1@0", "1: lost lost"}) {
        spoil("1: lost\n" + std::string(line));
        EXPECT_FALSE(drive.Insert(disc)) << line;
    }
}

TEST_F(TimingTest, FullBufferRefusesAndLosesNothing) {
    Load("cd-r");
    drive.SetSpeed({.bufferKB = 128, .speedFactor = 1.0});
    ASSERT_EQ(host.SelectTrackAtOnce(), kGood);
    ASSERT_EQ(SetCdSpeed(8 * 177), kGood); // 1412 KB/s
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(host.Write(77, Blocks(16, 1)), kInvalidAddress) << "takes no room";
    }
    const Bytes bytes = Blocks(1024, 1);
    const uint64_t begin = clock.TickMs();
    int refusals = 0;
    for (int32_t block = 0; block < 1024; block += 16) {
        const auto from = bytes.begin() + std::ptrdiff_t{block} * 2048;
        const Bytes chunk(from, from + 16UL * 2048);
        while (const int code = host.Write(block, chunk)) {
            ASSERT_EQ(code, 0x20408);
            ASSERT_EQ(host.In({0x5C, 0, 0, 0, 0, 0, 0, 0, 12, 0}), kGood);
            EXPECT_EQ(host.Data32(4), 128U * 1024);
            EXPECT_LT(host.Data32(8), 16U * 2048);
            ASSERT_EQ(host.PollEvents(0x40), kGood);
            EXPECT_EQ(host.data[4], 1) << "a device busy event";
            clock.Advance(5);
            ++refusals;
        }
    }
    EXPECT_GT(refusals, 100);
    ASSERT_EQ(host.SynchronizeCache(), kGood); // waits until the buffer is empty
    const uint64_t took = clock.TickMs() - begin;
    EXPECT_NEAR(static_cast<double>(took), 1024UL * 2048 / 1412.0, 10.0);
    ASSERT_EQ(host.Close(2), kGood);
    ExpectRead(0, bytes);
}

TEST_F(TimingTest, BlankingReportsItsProgress) {
    for (const char* kind : {"cd-rw", "dvd-rw"}) {
        Load(kind);
        drive.SetSpeed({.longOperationMs = 20'000});
        ASSERT_EQ(host.Blank(0x10), kGood) << "immediate";
        EXPECT_EQ(host.ReadDiscInformation(), kOperationInProgress);
        EXPECT_EQ(host.Progress(), 0);
        clock.Advance(5'000);
        EXPECT_EQ(host.TestUnitReady(), kOperationInProgress);
        EXPECT_EQ(host.Progress(), 65536 / 4);
        EXPECT_EQ(host.Eject(), kOperationInProgress) << "not meanwhile";
        clock.Advance(15'000);
        EXPECT_EQ(host.ReadDiscInformation(), kGood);
    }
}

TEST_F(TimingTest, DiscComesUpToSpeed) {
    constexpr int kReset = 0x62900;
    constexpr int kBecomingReady = 0x20401;
    Load("cd-rw");
    drive.SetSpeed({.longOperationMs = 20'000, .spinUpMs = 4000, .restMs = 60'000});
    const struct {
        const char* name;
        std::function<void()> event;
        int first; // answer, before the unit is becoming ready
        int then;  // and after that
    } cases[] = {
        {"insert", [&] { ASSERT_TRUE(drive.Insert(Disc())); }, kBecomingReady, kNewMedium},
        {"reset", [&] { drive.Reset(); }, kReset, kGood},
        {"a time-out by script",
         [&] {
             drive.SetScript(MakeScript({{.answers = {TimeOutAnswer()}}}));
             host.TestUnitReady();
             EXPECT_EQ(host.completion.error, PortError::TimedOut);
         },
         kReset, kGood},
        {"no time-out", [&] { EXPECT_EQ(Blank(60), PortError::None); }, kGood, kGood},
        {"a time-out", [&] { EXPECT_EQ(Blank(15), PortError::TimedOut); }, kReset,
         kOperationInProgress},
        {"a rest", [&] { clock.Advance(65'000); }, kBecomingReady, kGood},
    };
    for (const auto& [name, event, first, then] : cases) {
        SCOPED_TRACE(name);
        clock.Advance(50'000); // no rest yet
        ASSERT_EQ(host.TestUnitReady(), kGood);
        host.LockDoor(true);
        ExpectGood({host.SelectSessionAtOnce(), host.PollEvents(0x12), host.PollEvents(0x12)});
        event();
        EXPECT_EQ(host.TestUnitReady(), first);
        if (first == kReset) {
            EXPECT_FALSE(drive.IsDoorLocked());
        }
        if (first != kGood) {
            for (const int code : {host.Read(0, 1), host.FormatCapacitiesCode(), host.Read(0, 1)}) {
                EXPECT_EQ(code, kBecomingReady);
            }
            EXPECT_EQ(host.In({0x03, 0, 0, 0, 18, 0}, 18), kGood);
            EXPECT_EQ(host.data[2] << 16 | host.data[12] << 8 | host.data[13], kBecomingReady);
            EXPECT_EQ(host.WriteParametersPage()[2] & 15, first == kReset ? 1 : 2) << "write type";
            EXPECT_EQ(host.PollEvents(0x10), kGood);
            EXPECT_EQ(host.data[4], 0) << "no new medium yet";
            clock.Advance(3999);
            EXPECT_EQ(host.TestUnitReady(), kBecomingReady);
            clock.Advance(1);
        }
        EXPECT_EQ(host.TestUnitReady(), then);
        EXPECT_EQ(host.PollEvents(0x10), kGood);
        EXPECT_EQ(host.data[4], then == kNewMedium ? 2 : 0);
    }
    // Nobody has to wait for the disc to have it back, and who wants to can.
    for (const bool loads : {true, false}) {
        ExpectGood({host.LockDoor(false), host.Eject()});
        ASSERT_TRUE(drive.LayOnTray(Disc()) && drive.CloseTray());
        const uint64_t begin = clock.TickMs();
        EXPECT_EQ(loads ? host.None({0x1B, 0, 0, 0, 3, 0}) : host.Eject(), kGood);
        EXPECT_EQ(clock.TickMs() - begin, loads ? 4000U : 0U);
        EXPECT_EQ(host.TestUnitReady(), loads ? kNewMedium : 0x23A02);
    }
}

TEST_F(TimingTest, SelectedSpeedIsReported) {
    Load("cd-r");
    // What is asked for, and what is set.
    const std::pair<uint16_t, uint16_t> speeds[] = {
        {0xFFFF, 8468}, {48 * 177, 8468}, {16 * 177, 2823}, {10 * 177, 1412}, {1 * 177, 706}};
    for (const auto& [asked, got] : speeds) {
        ExpectGood({SetCdSpeed(asked), host.In({0x5A, 8, 0x2A, 0, 0, 0, 0, 0, 200, 0})});
        EXPECT_EQ(LoadBe16(&host.data[8 + 28]), got);
        EXPECT_EQ(LoadBe16(&host.data[8 + 30]), 7) << "speed descriptors";
        ASSERT_EQ(host.In({0xAC, 4, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0}, 24), kGood);
        EXPECT_EQ(host.Data32(12), got);
    }
    // All write speeds: the length tells of seven also where one was asked for.
    ASSERT_EQ(host.In({0xAC, 0, 0, 0, 0, 0, 0, 0, 0, 1, 3, 0}, 24), kGood);
    EXPECT_EQ(host.Data32(0), 4U + 7 * 16);
    EXPECT_EQ(host.Data32(20), 8468U);
}

TEST_F(TimingTest, TwoThreadsMaySendCommands) {
    Load("cd-r");
    ASSERT_EQ(host.SelectTrackAtOnce(), kGood);
    std::atomic<bool> isDone = false;
    std::thread other([&] {
        Host second(drive);
        while (!isDone) {
            EXPECT_TRUE(drive.HasDisc());
            EXPECT_FALSE(drive.IsDoorLocked());
            EXPECT_EQ(second.TestUnitReady(), kGood);
        }
    });
    EXPECT_EQ(host.WriteAll(0, Blocks(320, 1)), kGood);
    isDone = true;
    other.join();
    EXPECT_EQ(host.NextWritable(), 320);
}

} // namespace

} // namespace larkspin
