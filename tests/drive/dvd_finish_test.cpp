// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/dvd_bench.h"

namespace larkspin {
namespace {

// What starts every closing: flush at once, wait, flush to the end.
const Lines kFlush = {"35 02", "00", "35"};
const Lines kCloseTrack = {"5B 01 01 00 01 02", "00"};
const Lines kCloseSession = {"5B 01 02", "00"};
const Lines kStop = {"1B 01"};

struct FinishCase {
    const char* what;
    uint32_t profile;
    bool DvdRecording::*mode; // true for this case
    Lines steps;              // without the stop of the unit
    bool clearsAddress = false;
};

const FinishCase kCases[] = {
    {"DVD+RW", 0x1A, nullptr, kFlush + Lines{"5B 01", "00"} + kCloseSession, true},
    {"DVD+R", 0x1B, nullptr, kFlush + kCloseTrack + kCloseSession},
    {"DVD+R, one go", 0x1B, &DvdRecording::m_bDaoOnly,
     kFlush + kCloseTrack + Lines{"5B 01 06", "00"}},
    {"DVD+R DL, one go", 0x2B, &DvdRecording::m_bDaoOnly,
     kFlush + kCloseTrack + Lines{"5B 01 05", "00"}},
    {"DVD-RW overwrite", 0x13, nullptr, kFlush, true},
    {"DVD-RW overwrite, grown", 0x13, &DvdRecording::m_bQuickGrown, kFlush + kCloseSession, true},
    {"DVD-R", 0x11, nullptr, kFlush + kCloseTrack + kCloseSession},
    {"DVD-RAM", 0x12, nullptr, kFlush},
    {"DVD-R, one go", 0x11, &DvdRecording::m_bDaoMode, Lines{"35 02", "00"}},
};

// With the finisher that the medium got.
struct Finished : DvdBench {
    explicit Finished(const FinishCase& c) : DvdBench(c.profile) {
        dvd.PrepareDvdMedia(0);
        port.Clear();
        dvd.m_bMediaWritten = true;
        dvd.m_nNextWriteAddress = 4711;
        dvd.m_nNextTrack = 0x102;
        if (c.mode != nullptr) {
            dvd.*c.mode = true;
        }
    }
    // What the finisher sends.
    Lines Finish() {
        dvd.m_pfnFinalize(dvd);
        Lines trace = Trace();
        port.Clear();
        return trace;
    }
};

TEST(DvdFinishTest, ClosesEachMediumInItsOwnWay) {
    for (const FinishCase& c : kCases) {
        SCOPED_TRACE(c.what);
        Finished bench(c);
        EXPECT_EQ(bench.Finish(), c.steps + kStop);
        EXPECT_FALSE(bench.dvd.m_bMediaWritten);
        EXPECT_FALSE(bench.dvd.m_bQuickGrown);
        EXPECT_EQ(bench.dvd.m_nNextWriteAddress, c.clearsAddress ? 0u : 4711u);
        EXPECT_EQ(bench.Finish(), Lines{}) << "nothing is left to finish";

        Finished running(c);
        running.dvd.m_bStopAfterFinish = false;
        EXPECT_EQ(running.Finish(), c.steps) << "the unit is left running";
    }
}

// The stop is the last word of the drive on what it had taken.
TEST(DvdFinishTest, AnErrorAtTheStopOfTheUnitCounts) {
    const struct {
        uint32_t profile;
        int code;
        bool isDone;
        bool isLost;
    } cases[] = {{0x12, 0x30C00, false, true},
                 {0x12, 0x52400, false, false},
                 {0x1A, 0x30C00, true, true},
                 {0x1A, 0x52400, true, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.profile << " " << c.code);
        Finished bench({"", c.profile, nullptr, {}});
        bench.port.Queue(kStartStopUnit, Sense(c.code));
        bench.Finish();
        EXPECT_EQ(bench.dvd.m_bMediaWritten, !c.isDone);
        EXPECT_EQ(bench.drive.IsCacheLost(), c.isLost);
    }
}

TEST(DvdFinishTest, StopsAtTheFirstStepThatFailsAndCanBeRunAgain) {
    enum Fault { kRefused, kSilent, kBlocksLost };
    for (const FinishCase& c : kCases) {
        const bool inOneGo = c.steps.size() == 2;
        for (size_t step = 0; step < c.steps.size(); ++step) {
            for (const Fault fault : {kRefused, kSilent, kBlocksLost}) {
                SCOPED_TRACE(testing::Message() << c.what << " " << step << " " << fault);
                const bool isWait = c.steps[step] == "00";
                const Reply replies[] = {Sense(isWait ? 0x23A00 : 0x52400), NoReply(),
                                         Sense(0x30C00)};
                // The second flush, which a disc in one go has not, shows whether the first one
                // worked; but of lost blocks the drive tells only once, and is ready after that.
                const bool isFirstFlush = step < 2;
                const bool stops = !isFirstFlush || fault == kBlocksLost ||
                                   (inOneGo && (isWait || fault == kSilent));
                Finished bench(c);
                bench.port.AnswerNth(step, replies[fault]);
                const Lines trace = bench.Finish();
                ASSERT_EQ(bench.dvd.m_bMediaWritten, stops);
                if (stops) {
                    EXPECT_EQ(trace.back(), c.steps[isFirstFlush && !inOneGo ? 2 : step]);
                    EXPECT_EQ(bench.Finish(), c.steps + kStop);
                }
            }
        }
    }
}

TEST(DvdFinishTest, WaitsForTheDriveAsLongAsItTakes) {
    Finished bench({"DVD+R", 0x1B, nullptr, {}});
    bench.dvd.m_nPollDelayMs = 77;
    bench.port.Queue(kTestUnitReady, Sense(0x20408)); // after the flush
    bench.port.Queue(kCloseTrackSession, {});
    bench.port.Queue(kCloseTrackSession, Sense(0x20407), 3);
    bench.port.Queue(kStartStopUnit, Sense(0x20407), 2);
    EXPECT_EQ(bench.Finish(), Lines({"35 02", "00", "00", "35"}) + kCloseTrack +
                                  Lines(3, "5B 01 02") + kCloseSession + Lines(3, "1B 01"));
    EXPECT_EQ(bench.clock.Sleeps(),
              (std::vector<int64_t>{1000, 1000, 1000, 77, 77, 77, 1000, 333, 333}));
}

// Whatever it is busy with: asked about after two minutes and once more, or given up after half an
// hour if there is nobody to ask.
TEST(BusyDriveTest, IsAskedInModerationAndWaitedForUntilItIsGivenUp) {
    static const Bytes chunk(kDvdChunkBytes);
    static int32_t address = 0;
    const auto write = [](CAspiCD& drive) { drive.Dvd().WriteDvdChunk(chunk.data(), 32768); };
    const std::tuple<uint8_t, int, int, std::function<void(CAspiCD&)>> cases[] = {
        {kWrite10, 0x20408, 22'160, write}, // at 16x
        {kWrite10, 0x20407, 22'160, write},
        {kWrite10, 0x20408, 0, write}, // with busy events in place of a speed
        {kWrite10, 0x20408, 0,
         [](CAspiCD& drive) { drive.WriteBlocks(&address, chunk.data(), 1, nullptr, 2048); }},
        {kSynchronizeCache, 0x20408, 0, [](CAspiCD& drive) { drive.SyncCache(); }},
        {kTestUnitReady, 0x20408, 0, [](CAspiCD& drive) { drive.FinishSaoWrite(); }},
        {kTestUnitReady, 0x20408, 0, [](CAspiCD& drive) { drive.Dvd().FinishPlusR(); }},
        {kStartStopUnit, 0x20407, 0, [](CAspiCD& drive) { drive.Dvd().StopUnit(); }},
    };
    for (const auto& [opcode, code, velocity, run] : cases) {
        SCOPED_TRACE(testing::Message() << int{opcode} << " " << code << " " << velocity);
        DvdBench bench(0x1B);
        bench.port.Always(kReadBufferCapacity, Answer(12, {{4, 512 << 10, 4}, {8, 512 << 10, 4}}));
        bench.port.Always(kGetEventStatus, Bytes{0, 6, 6, 0x40, 1, 1, 0, 3});
        bench.port.Always(opcode, Sense(code));
        bench.dvd.m_nVelocity = velocity;
        bench.dvd.m_bMediaWritten = true;
        std::vector<BusyAnswer> answers = {BusyAnswer::GiveUp, BusyAnswer::WaitOn};
        bench.drive.SetBusyFunctor([&] {
            const BusyAnswer answer = answers.back();
            answers.pop_back();
            return answer;
        });
        run(bench.drive);
        EXPECT_TRUE(bench.drive.IsGivenUp() && answers.empty());
        EXPECT_EQ(bench.clock.TotalSleep() / 15'000, 240 / 15);
        EXPECT_LE(bench.port.Sent().size(), 240u * 10);
        run(bench.drive);
        EXPECT_EQ(bench.clock.TotalSleep() / 15'000, 240 / 15) << "now nothing waits any more";
        bench.drive.SetGivenUp(false);
        bench.drive.SetBusyFunctor(nullptr);
        run(bench.drive);
        EXPECT_EQ(bench.clock.TotalSleep() / 120'000, 15 + 2);
    }
}

TEST(DvdFinishTest, FlushGivesTheErrorOfTheSecondFlushAndTimeForALeadOut) {
    DvdBench bench(0x11);
    bench.port.Queue(kSynchronizeCache, Sense(0x52400)); // not immediate: no wait
    bench.port.Queue(kSynchronizeCache, Sense(0x20408));
    EXPECT_EQ(bench.dvd.FlushDvdCache(true), 0x20408);
    bench.dvd.m_bDaoMode = true;
    EXPECT_EQ(bench.dvd.FlushDvdCache(true), 0);
    EXPECT_EQ(bench.Trace(), (Lines{"35 02", "35", "35 02", "00", "35 @900"}));
}

TEST(DvdFinishTest, AFinisherStillSetRunsWhenTheDriveGoesAway) {
    ScriptedBench bench;
    {
        CAspiCD drive(0, 0, 0, &bench.transport);
        drive.Dvd().m_bMediaWritten = true;
        drive.Dvd().m_pfnFinalize = [](DvdRecording& one) { one.FinishMinusRw(); };
        const CAspiCD copy(drive);
        EXPECT_EQ(copy.Dvd().m_pfnFinalize, nullptr)
            << "a copy must not close the disc a second time";
    }
    EXPECT_EQ(bench.Trace(), kFlush + kStop);
}

} // namespace
} // namespace larkspin
