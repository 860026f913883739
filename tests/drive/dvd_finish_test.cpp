#include "drive/dvd_bench.h"

namespace larkspin {
namespace {

// What starts every closing: flush at once, wait, flush to the end.
const Lines kFlush = {"35 02", "00", "35"};
const Lines kStop = {"1B 01"};

struct FinishCase {
    const char* what;
    uint32_t profile;
    void (CAspiCD::*finish)();
    void (*arrange)(CAspiCD& drive);
    Lines steps; // without the stop of the unit
    bool clearsAddress;
};

const FinishCase kCases[] = {
    {"DVD+RW", 0x1A, &CAspiCD::FinishPlusRw, [](CAspiCD&) {},
     kFlush + Lines{"5B 01", "00", "5B 01 02", "00"}, true},
    {"DVD+R", 0x1B, &CAspiCD::FinishPlusR, [](CAspiCD& drive) { drive.m_nNextTrack = 0x102; },
     kFlush + Lines{"5B 01 01 00 01 02", "00", "5B 01 02", "00"}, false},
    {"DVD+R in one go", 0x1B, &CAspiCD::FinishPlusR,
     [](CAspiCD& drive) { drive.m_bDaoOnly = true; },
     kFlush + Lines{"5B 01 01 00 00 01", "00", "5B 01 06", "00"}, false},
    {"DVD+R DL in one go", 0x2B, &CAspiCD::FinishPlusR,
     [](CAspiCD& drive) { drive.m_bDaoOnly = true; },
     kFlush + Lines{"5B 01 01 00 00 01", "00", "5B 01 05", "00"}, false},
    {"DVD-RW overwrite", 0x13, &CAspiCD::FinishMinusRw, [](CAspiCD&) {}, kFlush, true},
    {"DVD-RW overwrite, grown", 0x13, &CAspiCD::FinishMinusRw,
     [](CAspiCD& drive) { drive.m_bQuickGrown = true; }, kFlush + Lines{"5B 01 02", "00"}, true},
    {"DVD-R", 0x11, &CAspiCD::FinishMinusR, [](CAspiCD& drive) { drive.m_nNextTrack = 3; },
     kFlush + Lines{"5B 01 01 00 00 03", "00", "5B 01 02", "00"}, false},
    {"DVD-R in one go",
     0x11,
     &CAspiCD::FinishMinusR,
     [](CAspiCD& drive) { drive.m_bDaoMode = true; },
     {"35 02", "00"},
     false},
};

struct Finished : DvdBench {
    explicit Finished(const FinishCase& c) : DvdBench(c.profile), finish(c.finish) {
        drive.m_bMediaWritten = true;
        drive.m_nNextWriteAddress = 4711;
        c.arrange(drive);
    }
    // What the finisher sends.
    Lines Finish() {
        (drive.*finish)();
        const Lines trace = Trace();
        port.Clear();
        return trace;
    }

    void (CAspiCD::*finish)();
};

TEST(DvdFinishTest, ClosesEachMediumInItsOwnWay) {
    for (const FinishCase& c : kCases) {
        SCOPED_TRACE(c.what);
        Finished bench(c);
        EXPECT_EQ(bench.Finish(), c.steps + kStop);
        EXPECT_FALSE(bench.drive.m_bMediaWritten);
        EXPECT_FALSE(bench.drive.m_bQuickGrown);
        EXPECT_EQ(bench.drive.m_nNextWriteAddress, c.clearsAddress ? 0u : 4711u);
        EXPECT_EQ(bench.Finish(), Lines{}) << "nothing is left to finish";

        Finished running(c);
        running.drive.m_bStopAfterFinish = false;
        EXPECT_EQ(running.Finish(), c.steps) << "the unit is left running";
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
                const ScriptedAnswer answers[] = {SenseAnswer(isWait ? 0x23A00 : 0x52400),
                                                  FailedAnswer(), SenseAnswer(0x30C00)};
                // The second flush, which a disc in one go has not, shows whether the first one
                // worked; but of lost blocks the drive tells only once, and is ready after that.
                const bool isFirstFlush = step < 2;
                const bool stops = !isFirstFlush || fault == kBlocksLost ||
                                   (inOneGo && (isWait || fault == kSilent));
                Finished bench(c);
                bench.port.AnswerNth(step, answers[fault]);
                const Lines trace = bench.Finish();
                ASSERT_EQ(bench.drive.m_bMediaWritten, stops);
                if (stops) {
                    EXPECT_EQ(trace.back(), c.steps[isFirstFlush && !inOneGo ? 2 : step]);
                    EXPECT_EQ(bench.Finish(), c.steps + kStop);
                }
            }
        }
    }
}

TEST(DvdFinishTest, WaitsForTheDriveAsLongAsItTakes) {
    DvdBench bench(0x1B);
    bench.drive.m_bMediaWritten = true;
    bench.drive.m_nPollDelayMs = 77;
    bench.port.Queue(mmc::kTestUnitReady, SenseAnswer(0x20408)); // after the flush
    bench.port.Queue(mmc::kCloseTrackSession, GoodAnswer());
    bench.port.Queue(mmc::kCloseTrackSession, SenseAnswer(0x20407), 3);
    bench.port.Queue(mmc::kStartStopUnit, SenseAnswer(0x20407), 2);
    bench.drive.FinishPlusR();
    EXPECT_EQ(bench.Trace(),
              (Lines{"35 02", "00", "00", "35", "5B 01 01 00 00 01", "00", "5B 01 02", "5B 01 02",
                     "5B 01 02", "5B 01 02", "00", "1B 01", "1B 01", "1B 01"}));
    EXPECT_EQ(bench.clock.Sleeps(),
              (std::vector<int64_t>{1000, 1000, 1000, 77, 77, 77, 1000, 333, 333}));
}

TEST(DvdFinishTest, ARamDiscOnlyStops) {
    DvdBench bench(0x12);
    bench.drive.FinishRam();
    EXPECT_TRUE(bench.port.Sent().empty());
    bench.drive.m_bMediaWritten = true;
    bench.drive.FinishRam();
    EXPECT_TRUE(bench.drive.m_bMediaWritten);
    bench.drive.m_bStopAfterFinish = false;
    bench.drive.FinishRam();
    EXPECT_EQ(bench.Trace(), kStop);
}

TEST(DvdFinishTest, FlushGivesTheErrorOfTheSecondFlushAndTimeForALeadOut) {
    DvdBench bench(0x11);
    bench.port.Queue(mmc::kSynchronizeCache, SenseAnswer(0x52400)); // not immediate: no wait
    bench.port.Queue(mmc::kSynchronizeCache, SenseAnswer(0x20408));
    EXPECT_EQ(bench.drive.FlushDvdCache(true), 0x20408);
    bench.drive.m_bDaoMode = true;
    EXPECT_EQ(bench.drive.FlushDvdCache(true), 0);
    EXPECT_EQ(bench.Trace(), (Lines{"35 02", "35", "35 02", "00", "35 @900"}));
}

TEST(DvdFinishTest, AFinisherStillSetRunsWhenTheDriveGoesAway) {
    ScriptedBench bench;
    {
        CAspiCD drive(0, 0, 0, &bench.transport);
        drive.m_bMediaWritten = true;
        drive.m_pfnFinalize = [](CAspiCD& one) { one.FinishMinusRw(); };
        const CAspiCD copy(drive);
        EXPECT_EQ(copy.m_pfnFinalize, nullptr) << "a copy must not close the disc a second time";
    }
    EXPECT_EQ(bench.Trace(), kFlush + kStop);
}

} // namespace
} // namespace larkspin
