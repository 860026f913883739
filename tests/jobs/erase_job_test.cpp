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
            EXPECT_EQ(bench.ui.Texts(), Texts{});
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
                EXPECT_EQ(bench.ui.Texts().size(), 1U);
                EXPECT_TRUE(Holds(bench.Track(), old));
            }
        }
    }
}

TEST(EraseJob, DvdPlusRwIsOverwritten) {
    constexpr uint32_t capacity = 2048;
    for (const EraseMode mode : kModes) {
        SCOPED_TRACE(static_cast<int>(mode));
        JobBench bench("dvd+rw", capacity);
        bench.AddFile("a", Payload(1'000'000, 1));
        ASSERT_NO_FATAL_FAILURE(bench.Burn({"a"}));
        Bytes expected = bench.Track();
        bench.ui.erase.mode = mode;
        bench.ejects = 0;
        EXPECT_EQ(bench.RunErase(), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), Texts{}) << "the end of the disc is the end of a full erase";
        EXPECT_TRUE(bench.WasEjected());
        if (mode == EraseMode::Full) {
            expected.assign(size_t{capacity} * 2048, 0);
        } else {
            std::fill_n(expected.begin(), 65'536, uint8_t{0});
        }
        EXPECT_TRUE(bench.Track() == expected);
        EXPECT_EQ(bench.BackgroundFormat(), mode == EraseMode::Full ? 3 : 1);
    }
}

TEST(EraseJob, AWriteFaultIsHowAFullEraseOfADvdPlusRwEnds) {
    for (const EraseMode mode : kModes) {
        SCOPED_TRACE(static_cast<int>(mode));
        JobBench bench("dvd+rw", 2048);
        bench.ui.erase.mode = mode;
        bench.FailCommand(mmc::kWrite10, 2, FailWith(3, 0x0C, 0));
        EXPECT_EQ(bench.RunErase(), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(),
                  mode == EraseMode::Quick ? Texts{u"Stopped: write error."} : Texts{});
        EXPECT_GT(bench.commands[mmc::kCloseTrackSession], 0) << "the format is stopped";
        EXPECT_TRUE(bench.WasEjected());
    }
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
