// The modelled drive: scripts, speed, operations that take their time, and two threads at it.
#include "host.h"

#include <atomic>
#include <thread>

namespace larkspin {

namespace {

class TimingTest : public DriveTest {
  protected:
    PortCompletion Run(const Bytes& cdb, uint32_t timeoutSeconds) {
        PortRequest request;
        request.cdb = cdb;
        request.timeoutSeconds = timeoutSeconds;
        return drive.Execute(request);
    }
    int ReadDiscInformation() { return host.In({0x51, 0, 0, 0, 0, 0, 0, 0, 34, 0}, 34); }
    int Progress() const {
        return (host.completion.sense[15] & 0x80) != 0 ? LoadBe16(&host.completion.sense[16]) : -1;
    }
};

TEST_F(TimingTest, ScriptDecidesWhatBecomesOfACommand) {
    Load("cd-r");
    ASSERT_EQ(host.SelectTrackAtOnce(), kGood);
    const uint64_t first = drive.CommandCount();
    InjectedAnswer failure;
    failure.completion.status = 2;
    failure.completion.sense = {0x70, 0, 3, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x0C, 0x00};
    InjectedAnswer afterRun = failure;
    afterRun.runCommandFirst = true;
    InjectedAnswer garbage;
    garbage.garbageData = true;
    InjectedAnswer timeout;
    timeout.completion.error = PortError::TimedOut;
    drive.SetScript(
        [&](const PortRequest& request, uint64_t number) -> std::optional<InjectedAnswer> {
            switch (number - first) {
            case 0:
                EXPECT_EQ(request.cdb[0], 0x2A);
                return failure;
            case 1:
                return afterRun;
            case 2:
                return garbage;
            case 3:
                return timeout;
            default:
                return std::nullopt;
            }
        });
    EXPECT_EQ(host.Write(0, Pattern(2048, 1)), 0x30C00);
    EXPECT_EQ(host.Write(0, Pattern(2048, 1)), 0x30C00); // but it was written
    EXPECT_EQ(ReadDiscInformation(), kGood);
    EXPECT_NE(LoadBe16(&host.data[0]), 32);
    EXPECT_EQ(host.TestUnitReady(), kGood);
    EXPECT_EQ(host.completion.error, PortError::TimedOut);
    EXPECT_EQ(host.NextWritable(), 1);
}

TEST_F(TimingTest, FullBufferRefusesAndLosesNothing) {
    Load("cd-r");
    drive.SetSpeed({.bufferKB = 128, .speedFactor = 1.0});
    ASSERT_EQ(host.SelectTrackAtOnce(), kGood);
    // 8x: 1412 KB/s.
    ASSERT_EQ(host.None({0xBB, 0, 0xFF, 0xFF, 0x05, 0x88, 0, 0, 0, 0, 0, 0}), kGood);
    const Bytes bytes = Pattern(1024UL * 2048, 1);
    const uint64_t begin = clock.TickMs();
    int refusals = 0;
    for (int32_t block = 0; block < 1024; block += 16) {
        const auto from = bytes.begin() + std::ptrdiff_t{block} * 2048;
        const Bytes chunk(from, from + 16UL * 2048);
        while (const int code = host.Write(block, chunk)) {
            ASSERT_EQ(code, 0x20408);
            ASSERT_EQ(host.In({0x5C, 0, 0, 0, 0, 0, 0, 0, 12, 0}, 12), kGood);
            EXPECT_EQ(LoadBe32(&host.data[4]), 128U * 1024);
            EXPECT_LT(LoadBe32(&host.data[8]), 16U * 2048);
            ASSERT_EQ(host.In({0x4A, 1, 0, 0, 0x40, 0, 0, 0, 8, 0}, 8), kGood);
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
    ASSERT_EQ(host.Read(0, 1024), kGood);
    EXPECT_EQ(host.data, bytes);
}

TEST_F(TimingTest, BlankingReportsItsProgress) {
    Load("cd-rw");
    drive.SetSpeed({.longOperationMs = 20'000});
    ASSERT_EQ(host.None({0xA1, 0x10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}), kGood);
    EXPECT_EQ(ReadDiscInformation(), 0x20407);
    EXPECT_EQ(Progress(), 0);
    clock.Advance(5'000);
    EXPECT_EQ(host.TestUnitReady(), 0x20407);
    EXPECT_EQ(Progress(), 65536 / 4);
    EXPECT_EQ(host.None({0x1B, 0, 0, 0, 2, 0}), 0x20407) << "no ejecting meanwhile";
    clock.Advance(15'000);
    EXPECT_EQ(ReadDiscInformation(), kGood);
}

TEST_F(TimingTest, CommandLongerThanItsTimeOutIsCutOffByTheHost) {
    Load("cd-rw");
    drive.SetSpeed({.longOperationMs = 20'000});
    EXPECT_EQ(Run({0xA1, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 60).error, PortError::None);
    EXPECT_EQ(clock.TotalSleep(), 20'000);
    EXPECT_EQ(host.TestUnitReady(), kGood);
    EXPECT_EQ(Run({0xA1, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 5).error, PortError::TimedOut);
    EXPECT_EQ(clock.TotalSleep(), 25'000);
    EXPECT_EQ(host.TestUnitReady(), 0x20407) << "the drive goes on";
    clock.Advance(15'000);
    EXPECT_EQ(host.TestUnitReady(), kGood);
}

TEST_F(TimingTest, SelectedSpeedIsReported) {
    Load("cd-r");
    struct Case {
        uint16_t asked;
        uint16_t got;
    };
    for (const Case test : {Case{0xFFFF, 8468}, Case{48 * 177, 8468}, Case{16 * 177, 2823},
                            Case{10 * 177, 1412}, Case{1 * 177, 706}}) {
        ASSERT_EQ(host.None({0xBB, 0, 0xFF, 0xFF, static_cast<uint8_t>(test.asked >> 8),
                             static_cast<uint8_t>(test.asked), 0, 0, 0, 0, 0, 0}),
                  kGood);
        ASSERT_EQ(host.In({0x5A, 8, 0x2A, 0, 0, 0, 0, 0, 200, 0}, 200), kGood);
        EXPECT_EQ(LoadBe16(&host.data[8 + 28]), test.got);
        EXPECT_EQ(LoadBe16(&host.data[8 + 30]), 7) << "speed descriptors";
        ASSERT_EQ(host.In({0xAC, 4, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0}, 24), kGood);
        EXPECT_EQ(LoadBe32(&host.data[12]), test.got);
    }
    // All write speeds: the length tells of seven also where one was asked for.
    ASSERT_EQ(host.In({0xAC, 0, 0, 0, 0, 0, 0, 0, 0, 1, 3, 0}, 24), kGood);
    EXPECT_EQ(LoadBe32(&host.data[0]), 4U + 7 * 16);
    EXPECT_EQ(LoadBe32(&host.data[20]), 8468U);
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
    EXPECT_EQ(host.WriteAll(0, Pattern(320UL * 2048, 1)), kGood);
    isDone = true;
    other.join();
    EXPECT_EQ(host.NextWritable(), 320);
}

} // namespace

} // namespace larkspin
