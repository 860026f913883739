// The modelled drive: scripts, speed, operations that take their time, and two threads at it.
#include "host.h"

#include "support/port_answers.h"

#include <atomic>
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
    const uint64_t first = drive.CommandCount();
    InjectedAnswer failure;
    failure.completion = CheckCondition(3, 0x0C, 0x00);
    InjectedAnswer afterRun = failure;
    afterRun.runCommandFirst = true;
    InjectedAnswer garbage;
    garbage.garbageData = true;
    InjectedAnswer timeout;
    timeout.completion.error = PortError::TimedOut;
    const std::vector<InjectedAnswer> answers = {failure, afterRun, garbage, timeout};
    drive.SetScript(
        [&](const PortRequest& request, uint64_t number) -> std::optional<InjectedAnswer> {
            EXPECT_TRUE(number != first || request.cdb[0] == 0x2A);
            return number - first < answers.size() ? std::optional(answers[number - first])
                                                   : std::nullopt;
        });
    EXPECT_EQ(host.Write(0, Blocks(1, 1)), kWriteError);
    EXPECT_EQ(host.Write(0, Blocks(1, 1)), kWriteError); // but it was written
    EXPECT_EQ(host.ReadDiscInformation(), kGood);
    EXPECT_NE(LoadBe16(&host.data[0]), 32);
    EXPECT_EQ(host.TestUnitReady(), kGood);
    EXPECT_EQ(host.completion.error, PortError::TimedOut);
    EXPECT_EQ(host.NextWritable(), 1);
}

TEST_F(TimingTest, FullBufferRefusesAndLosesNothing) {
    Load("cd-r");
    drive.SetSpeed({.bufferKB = 128, .speedFactor = 1.0});
    ASSERT_EQ(host.SelectTrackAtOnce(), kGood);
    ASSERT_EQ(SetCdSpeed(8 * 177), kGood); // 1412 KB/s
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(host.Write(77, Blocks(16, 1)), kInvalidAddress) << "takes no room";
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

TEST_F(TimingTest, CommandLongerThanItsTimeOutIsCutOffByTheHost) {
    Load("cd-rw");
    drive.SetSpeed({.longOperationMs = 20'000});
    EXPECT_EQ(Blank(60), PortError::None);
    EXPECT_EQ(clock.TotalSleep(), 20'000);
    EXPECT_EQ(host.TestUnitReady(), kGood);
    EXPECT_EQ(Blank(5), PortError::TimedOut);
    EXPECT_EQ(clock.TotalSleep(), 25'000);
    EXPECT_EQ(host.TestUnitReady(), kOperationInProgress) << "the drive goes on";
    clock.Advance(15'000);
    EXPECT_EQ(host.TestUnitReady(), kGood);
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
