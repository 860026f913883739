// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The erase job on each kind of disc that can be erased.
#include "job_bench.h"

namespace larkspin {
namespace {

constexpr EraseMode kModes[] = {EraseMode::Quick, EraseMode::Full};

TEST(EraseJob, BlanksAndEjects) {
    for (const char* kind : {"cd-rw", "dvd-rw", "dvd-rw-ow"}) {
        for (const EraseMode mode : kModes) {
            SCOPED_TRACE(Format("%s, %d", kind, static_cast<int>(mode)));
            JobBench bench(kind);
            const Bytes old = Payload(100'000, 1);
            bench.AddFile("old", old);
            ASSERT_NO_FATAL_FAILURE(bench.Burn({"old"}));
            bench.drive.SetSpeed({.longOperationMs = 5000});
            bench.ui.erase.mode = mode;
            bench.ejects = 0;
            const int64_t before = bench.clock.TotalSleep();
            EXPECT_EQ(bench.RunErase(), JobEnd::Exit);
            EXPECT_EQ(bench.host.successes.back(), kErasedText);
            EXPECT_FALSE(bench.ui.EraseSpeeds().empty());
            EXPECT_EQ(bench.ui.Starts(JobKind::Erase), 1);
            EXPECT_GE(bench.ui.Progress(JobKind::Erase), 90);
            EXPECT_FALSE(bench.ui.NoProgressReport());
            EXPECT_TRUE(bench.WasEjected());
            EXPECT_GE(bench.clock.TotalSleep() - before, 4900) << "it watched to the end";
            EXPECT_EQ(bench.DiscStatus(), 16) << "blank and erasable";
            EXPECT_EQ(bench.Track(), Bytes());

            bench.drive.SetSpeed({});
            const Bytes next = Payload(100'000, 2);
            bench.host.queue = {bench.AddFile("next", next)};
            EXPECT_EQ(bench.RunData(), JobEnd::Exit);
            EXPECT_TRUE(Holds(bench.Track(), next));
            // A quick blank leaves a DVD-RW with one go only.
            const bool isFull = bench.kind != "cd-rw" && mode == EraseMode::Quick;
            EXPECT_EQ(bench.DiscStatus() & 3, isFull ? 2 : 1);
            if (isFull && bench.kind == "dvd-rw") { // which is erased on demand
                bench.ui.onBox = [](const FakeUi::Box&) { return true; };
                bench.host.queue = {bench.AddFile("last", old)};
                EXPECT_EQ(bench.RunData(), JobEnd::Exit);
                EXPECT_EQ(bench.ui.Texts().size(), 1U) << "and the question";
                EXPECT_TRUE(Holds(bench.Track(), old));
            }
        }
    }
}

TEST(EraseJob, WhatKnowsNoBlankingIsOverwritten) {
    for (const int run : {0, 1, 2, 3}) {
        SCOPED_TRACE(run);
        const EraseMode mode = kModes[run % 2];
        const bool isBd = run >= 2;
        const size_t capacity = isBd ? 2048 - 2 * 32 : 2048; // less the spare clusters
        JobBench bench(isBd ? "bd-re" : "dvd+rw", 2048);
        bench.AddFile("a", Payload(1'000'000, 1));
        ASSERT_NO_FATAL_FAILURE(bench.Burn({"a"}));
        Bytes expected = bench.Track();
        bench.ui.erase.mode = mode;
        bench.ejects = 0;
        EXPECT_EQ(bench.RunErase(), JobEnd::Exit);
        EXPECT_EQ(bench.host.successes.back(), kErasedText) << "the fill ends with the disc";
        EXPECT_TRUE(bench.WasEjected());
        if (mode == EraseMode::Full) {
            expected.assign(capacity * 2048, 0);
            EXPECT_EQ(bench.ui.Amount(JobKind::Erase), expected.size());
        } else {
            std::fill_n(expected.begin(), 65'536, uint8_t{0});
        }
        EXPECT_TRUE(bench.Track() == expected);
        EXPECT_EQ(bench.BackgroundFormat(), isBd ? 0 : mode == EraseMode::Full ? 3 : 1);
    }
}

// A disc that is not empty is never called erased, whatever the drive made of the command.
TEST(EraseJob, WhatIsStillOnTheDiscIsTold) {
    const auto silent = [](PortError error, bool runs) {
        InjectedAnswer answer;
        answer.completion.error = error;
        answer.runCommandFirst = runs;
        return answer;
    };
    constexpr const char16_t* kNotEmpty = u"The disk is not empty.";
    constexpr const char16_t* kUnknown = u"Larkspin could not find out whether the disk is empty.";
    constexpr const char16_t* kLooksEmpty = u"The disk looks empty, but";
    constexpr EraseMode kQuick = EraseMode::Quick;
    constexpr EraseMode kFull = EraseMode::Full;
    const InjectedAnswer refusal = FailWith(5, 0x30, 0);
    const InjectedAnswer noDisc = FailWith(2, 0x3A, 0);
    const InjectedAnswer badDisc = FailWith(3, 0x0C, 0);
    const InjectedAnswer late = silent(PortError::TimedOut, false);
    const InjectedAnswer lateButDone = silent(PortError::TimedOut, true);
    const InjectedAnswer gone = silent(PortError::InvalidHandle, false);
    const struct {
        const char* kind;
        EraseMode mode;
        uint8_t opcode; // of the command that fails
        int nth;
        const InjectedAnswer& answer;
        bool forGood;         // and every command after it
        const char16_t* text; // its beginning
        const char16_t* reason;
        bool isStopped = false; // told before, in words of its own
    } cases[] = {
        {"cd-rw", kQuick, mmc::kBlank, 1, refusal, false, kNotEmpty, u"does not take this disk"},
        {"cd-rw", kFull, mmc::kBlank, 1, badDisc, false, kNotEmpty, u"cannot write to the disk"},
        {"dvd-rw", kFull, mmc::kBlank, 1, late, false, kNotEmpty, u"did not answer"},
        {"dvd-rw", kQuick, mmc::kBlank, 1, lateButDone, false, kLooksEmpty, u"did not answer"},
        {"cd-rw", kQuick, mmc::kBlank, 1, gone, true, kUnknown, u"did not answer"},
        {"cd-rw", kQuick, mmc::kBlank, 1, noDisc, true, kUnknown, u"no disk in the drive"},
        {"dvd+rw", kQuick, mmc::kWrite10, 2, badDisc, false, kNotEmpty, u"cannot write", true},
        {"bd-re", kQuick, mmc::kWrite10, 2, badDisc, false, kNotEmpty, u"cannot write", true},
        {"dvd+rw", kFull, mmc::kWrite10, 33, badDisc, false, kLooksEmpty, u"stopped at 50%"},
        {"dvd+rw", kFull, mmc::kSynchronizeCache, 1, badDisc, false, kLooksEmpty, u"had taken"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(Format("%s, %s", test.kind, ToNative(test.reason).c_str()));
        JobBench bench(test.kind, test.opcode == mmc::kBlank ? 0 : 1024);
        bench.AddFile("old", Payload(100'000, 1));
        ASSERT_NO_FATAL_FAILURE(bench.Burn({"old"}));
        bench.ui.erase.mode = test.mode;
        const int which = bench.commands[test.opcode] + test.nth;
        bool failed = false;
        bench.onCommand = [&](const PortRequest& request) {
            const bool fails =
                (request.cdb[0] == test.opcode && bench.commands[test.opcode] == which) ||
                (failed && test.forGood);
            failed = failed || fails;
            bench.mayStayLocked = failed && test.forGood;
            return fails ? std::optional(test.answer) : std::nullopt;
        };
        EXPECT_EQ(bench.RunErase(), JobEnd::Exit);
        EXPECT_TRUE(failed);
        const Texts texts = bench.ui.Texts();
        ASSERT_EQ(texts.size(), test.isStopped ? 2U : 1U);
        EXPECT_TRUE(!test.isStopped || texts[0] == u"Stopped: write error.");
        EXPECT_TRUE(texts.back().starts_with(test.text)) << ToNative(texts.back());
        EXPECT_NE(texts.back().find(test.reason), std::u16string::npos) << ToNative(texts.back());
    }
}

// The erase inside a job: told, and the disc is looked at again, so that the user can say No.
TEST(EraseJob, InAJobARefusalIsToldBeforeTheQuestionComesBack) {
    JobBench bench("cd-rw");
    bench.Finalize();
    bench.host.queue = {bench.AddFile("a", Payload(5000, 1))};
    bench.FailCommand(mmc::kBlank, 1, FailWith(5, 0x30, 0));
    int questions = 0;
    bench.ui.onBox = [&](const FakeUi::Box& box) {
        return box.buttons == BoxButtons::Ok || ++questions == 1;
    };
    EXPECT_EQ(bench.RunData(), JobEnd::Exit);
    const Texts texts = bench.ui.Texts();
    ASSERT_EQ(texts.size(), 3U);
    EXPECT_TRUE(texts[1].starts_with(u"The disk is not empty.")) << ToNative(texts[1]);
    EXPECT_EQ(texts[0], texts[2]);
    EXPECT_EQ(bench.host.clears, 0) << "the queue is kept";
}

TEST(EraseJob, WithoutAPercentageTheBarCreeps) {
    JobBench bench("cd-rw");
    int polls = 0;
    bench.onCommand = [&](const PortRequest& request) {
        // Busy, and the sense-key specific bytes say nothing.
        return bench.commands[mmc::kBlank] > 0 && request.cdb[0] == mmc::kReadDiscInformation &&
                       ++polls <= 25
                   ? std::optional<InjectedAnswer>(FailWith(2, 4, 7))
                   : std::nullopt;
    };
    EXPECT_EQ(bench.RunErase(), JobEnd::Exit);
    EXPECT_TRUE(bench.ui.NoProgressReport());
    EXPECT_EQ(bench.ui.Steps(), 2) << "one on every tenth poll";
}

TEST(EraseJob, ABlankThatGetsNowhereIsAskedAbout) {
    for (const int limit : {2, 60}) { // minutes, and one more to look at the disc
        JobBench bench("cd-rw");
        InjectedAnswer busy = FailWith(2, 4, 7);
        busy.completion.sense[15] = limit == 2 ? 0x80 : 0; // a percentage, always the same
        bench.onCommand = [&](const PortRequest&) {
            return bench.commands[mmc::kBlank] > 0 ? std::optional(busy) : std::nullopt;
        };
        bench.mayStayLocked = true;
        bench.ui.onBox = [](const FakeUi::Box&) { return true; };
        EXPECT_EQ(bench.RunErase(), JobEnd::Exit);
        EXPECT_EQ(bench.clock.TotalSleep() / 60'000, limit + 1);
        EXPECT_EQ(bench.ui.Texts().size(), 2U) << "and that nobody knows what is on the disc";
    }
}

TEST(EraseJob, ACancelStopsTheWatchingOfABlankAndTheFilling) {
    JobBench blanking("cd-rw");
    blanking.Finalize();
    blanking.drive.SetSpeed({.longOperationMs = 60'000});
    blanking.clock.SetOnSleep([&] { blanking.ui.Cancel(JobKind::Erase); });
    EXPECT_EQ(blanking.RunErase(), JobEnd::Exit);
    EXPECT_EQ(blanking.ui.Texts(), Texts{});
    EXPECT_LT(blanking.clock.TotalSleep(), 1000);

    JobBench filling("dvd+rw");
    filling.ui.erase.mode = EraseMode::Full;
    filling.onCommand = [&](const PortRequest&) {
        if (filling.commands[mmc::kWrite10] == 10) {
            filling.ui.Cancel(JobKind::Erase);
        }
        return std::optional<InjectedAnswer>();
    };
    EXPECT_EQ(filling.RunErase(), JobEnd::Exit);
    EXPECT_EQ(filling.commands[mmc::kWrite10], 10);
    EXPECT_EQ(filling.ui.Texts(), Texts{});
    EXPECT_EQ(filling.BackgroundFormat(), 1) << "it was stopped";
}

} // namespace
} // namespace larkspin
