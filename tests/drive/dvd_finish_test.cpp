#include "drive/dvd_bench.h"

#include <functional>

namespace larkspin {
namespace {

using Lines = std::vector<std::string>;

// What starts every closing: flush at once, wait, flush to the end.
const Lines kFlush = {"35 02", "00", "35"};

Lines operator+(Lines first, const Lines& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

struct FinishCase {
    const char* what;
    uint32_t profile;
    void (CAspiCD::*finish)();
    std::function<void(CAspiCD&)> arrange;
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
    explicit Finished(const FinishCase& c) : DvdBench(c.profile) {
        drive.m_bMediaWritten = true;
        drive.m_nNextWriteAddress = 4711;
        c.arrange(drive);
    }
};

TEST(DvdFinishTest, ClosesEachMediumInItsOwnWay) {
    for (const FinishCase& c : kCases) {
        SCOPED_TRACE(c.what);
        Finished bench(c);
        (bench.drive.*c.finish)();
        EXPECT_EQ(bench.Trace(), c.steps + Lines{"1B 01"});
        EXPECT_FALSE(bench.drive.m_bMediaWritten);
        EXPECT_FALSE(bench.drive.m_bQuickGrown);
        EXPECT_EQ(bench.drive.m_nNextWriteAddress, c.clearsAddress ? 0u : 4711u);

        bench.port.Clear();
        (bench.drive.*c.finish)();
        EXPECT_TRUE(bench.port.Sent().empty()) << "nothing is left to finish";

        Finished running(c);
        running.drive.m_bStopAfterFinish = false;
        (running.drive.*c.finish)();
        EXPECT_EQ(running.Trace(), c.steps) << "the unit is left running";
    }
}

TEST(DvdFinishTest, StopsAtTheFirstStepThatFailsAndCanBeRunAgain) {
    for (const FinishCase& c : kCases) {
        // The outcome of the first flush and of the wait after it doesn't matter.
        for (size_t step = 2; step < c.steps.size(); ++step) {
            SCOPED_TRACE(testing::Message() << c.what << " step " << step);
            Finished bench(c);
            const bool wait = c.steps[step] == "00";
            bench.FailCommand(step, wait ? SenseAnswer(2, 0x3A, 0) : SenseAnswer(4, 0x44, 0));
            (bench.drive.*c.finish)();
            EXPECT_EQ(
                bench.Trace(),
                Lines(c.steps.begin(), c.steps.begin() + static_cast<std::ptrdiff_t>(step) + 1));
            EXPECT_TRUE(bench.drive.m_bMediaWritten);

            bench.port.Clear();
            bench.FailCommand(SIZE_MAX - 1, {});
            (bench.drive.*c.finish)();
            EXPECT_EQ(bench.Trace(), c.steps + Lines{"1B 01"});
        }
    }
}

TEST(DvdFinishTest, RepeatsTheLastCloseAndTheStopWhileTheDriveIsBusy) {
    DvdBench bench(0x1B);
    bench.drive.m_bMediaWritten = true;
    bench.drive.m_nPollDelayMs = 77;
    int closes = 0;
    bench.port.OnCommand([&closes](const SentCommand& sent) -> std::optional<ScriptedAnswer> {
        const bool busyClose = sent.cdb[0] == 0x5B && sent.cdb[2] == 2 && ++closes < 4;
        return busyClose ? std::optional(SenseAnswer(2, 4, 7)) : std::nullopt;
    });
    bench.port.Queue(mmc::kStartStopUnit, SenseAnswer(2, 4, 7));
    bench.port.Queue(mmc::kStartStopUnit, SenseAnswer(2, 4, 7));
    bench.drive.FinishPlusR();
    const Lines rest = {"5B 01 01 00 00 01", "00", "5B 01 02", "5B 01 02", "5B 01 02",
                        "5B 01 02",          "00", "1B 01",    "1B 01",    "1B 01"};
    EXPECT_EQ(bench.Trace(), kFlush + rest);
    EXPECT_EQ(bench.clock.Sleeps(), (std::vector<int64_t>{1000, 1000, 77, 77, 77, 1000, 333, 333}));
}

TEST(DvdFinishTest, WaitsForTheDriveAsLongAsItTakes) {
    DvdBench bench(0x11);
    bench.drive.m_bMediaWritten = true;
    bench.port.Queue(mmc::kTestUnitReady, SenseAnswer(2, 4, 8));
    bench.port.Queue(mmc::kTestUnitReady, SenseAnswer(2, 4, 8));
    bench.drive.FinishMinusR();
    EXPECT_EQ(bench.Trace(), Lines({"35 02", "00", "00", "00", "35", "5B 01 01 00 00 01", "00",
                                    "5B 01 02", "00", "1B 01"}));
}

TEST(DvdFinishTest, ARamDiscOnlyStops) {
    DvdBench bench(0x12);
    bench.drive.FinishRam();
    EXPECT_TRUE(bench.port.Sent().empty());
    bench.drive.m_bMediaWritten = true;
    bench.drive.FinishRam();
    EXPECT_EQ(bench.Trace(), Lines{"1B 01"});
    EXPECT_TRUE(bench.drive.m_bMediaWritten);
    bench.drive.m_bStopAfterFinish = false;
    bench.drive.FinishRam();
    EXPECT_EQ(bench.port.Sent().size(), 1u);
}

TEST(DvdFinishTest, FlushGivesTheErrorOfTheSecondFlushAndTimeForALeadOut) {
    DvdBench bench(0x11);
    bench.port.Queue(mmc::kSynchronizeCache, SenseAnswer(5, 0x24, 0)); // not immediate: no wait
    bench.port.Queue(mmc::kSynchronizeCache, SenseAnswer(3, 0x0C, 0));
    EXPECT_EQ(bench.drive.FlushDvdCache(true), 0x30C00);
    EXPECT_EQ(bench.Trace(), Lines({"35 02", "35"}));
    EXPECT_EQ(bench.port.Sent().back().timeoutSeconds, 5u);
    bench.drive.m_bDaoMode = true;
    EXPECT_EQ(bench.drive.FlushDvdCache(true), 0);
    EXPECT_EQ(bench.port.Sent().back().timeoutSeconds, 900u);
    bench.port.Queue(mmc::kSynchronizeCache, SenseAnswer(3, 0x0C, 0));
    EXPECT_EQ(bench.drive.FlushDvdCache(false), 0);
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
    EXPECT_EQ(Trace(bench.port.Sent()), kFlush + Lines{"1B 01"});
}

} // namespace
} // namespace larkspin
