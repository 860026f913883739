// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The data and image jobs on each kind of DVD, and BD.
#include "job_bench.h"

namespace larkspin {
namespace {

// The state of a disc and of its last session, as READ DISC INFORMATION has it.
constexpr int kBlank = 0x00;
constexpr int kAppendable = 0x01;
constexpr int kSessionOpen = 0x05;
constexpr int kComplete = 0x0E;
constexpr int kErasable = 0x10;

struct Kind {
    const char* name;
    int blank;   // state of a new disc
    int written; // and with a volume on it
};

constexpr Kind kKinds[] = {
    {"dvd-r", kBlank, kAppendable},
    {"dvd-rw", kErasable | kBlank, kErasable | kAppendable},
    {"dvd+r", kBlank, kAppendable},
    {"dvd+r-dl", kBlank, kAppendable},
    {"dvd+rw", kErasable | kBlank, kErasable | kComplete},
    {"bd-r", kBlank, kAppendable},
    {"bd-re", kErasable | kBlank, kErasable | kComplete},
    {"dvd-ram", kErasable | kBlank, kErasable | 0x0F},
    {"dvd-rw-ow", kErasable | kComplete, kErasable | kComplete},
};

// A test for each kind of disc; nobody minds one that is larger than needed.
class DvdJob : public testing::TestWithParam<Kind> {
  protected:
    DvdJob() {
        bench.ui.onBox = [](const FakeUi::Box&) { return true; };
    }
    // A new disc, and a file that takes it a while.
    void StartAnew() {
        bench.InsertNew(kind.name);
        bench.ejects = 0;
        bench.host.queue = {bench.AddFile("big", payload)};
    }

    const Kind kind = GetParam();
    const Bytes payload = Payload(1'000'000, 1);
    JobBench bench{kind.name};
};

INSTANTIATE_TEST_SUITE_P(Kinds, DvdJob, testing::ValuesIn(kKinds),
                         [](const auto& test) { return TestName(test.param.name); });

TEST_P(DvdJob, WritesImagesOfEachLength) {
    // On these an image takes the place of another, and nobody is asked.
    const bool isInPlace = (kind.written & kComplete) == kComplete && bench.kind != "dvd-ram";
    for (const size_t blocks : {32U, 33U, 47U, 48U, 49U}) {
        SCOPED_TRACE(blocks);
        if (!isInPlace) {
            bench.InsertNew(kind.name);
        }
        Bytes image = Payload(blocks * 2048, static_cast<uint32_t>(blocks));
        if (blocks == 48) { // a volume that ends before its image
            std::ranges::copy(std::string_view("\1CD001\1"), image.begin() + 16 * 2048);
            StoreLe32(&image[16 * 2048 + 80], 40);
        }
        EXPECT_EQ(bench.RunImage(bench.AddFile("image", image)), JobEnd::Exit);
        EXPECT_EQ(isInPlace ? bench.ui.Texts() : Texts{}, Texts{});
        // Filled up with zeros to whole chunks; a track of a BD-R has whole clusters.
        const size_t unit = bench.kind == "bd-r" ? 65'536 : 32'768;
        Bytes expected = image;
        expected.resize((image.size() + unit - 1) / unit * unit);
        EXPECT_TRUE(bench.Track() == expected);
        EXPECT_EQ(bench.DiscStatus(), kind.written);
        EXPECT_EQ(bench.BackgroundFormat(), std::string_view(kind.name) == "dvd+rw" ? 1 : 0);
    }
    // What is too short to hold a volume is not begun.
    bench.InsertNew(kind.name);
    EXPECT_EQ(bench.RunImage(bench.AddFile("image", Payload(65'535, 1))), JobEnd::Exit);
    const std::u16string disk = bench.kind.starts_with("bd") ? u"Blu-ray disk" : u"DVD";
    EXPECT_EQ(bench.ui.Texts().back(),
              u"The image is smaller than 64 kb, which is too small for a " + disk +
                  u". Nothing was written.");
    EXPECT_EQ(bench.Track(), Bytes());
    EXPECT_EQ(bench.DiscStatus(), kind.blank);
}

TEST_P(DvdJob, WritesAVolumeAndWaitsForASlowDrive) {
    // 2.4x on a buffer of 512 KB: every block once, and no more commands than the waits need.
    EXPECT_EQ(bench.DiscStatus(), kind.blank);
    StartAnew();
    bench.drive.SetSpeed({.bufferKB = 512, .speedFactor = 1.0, .longOperationMs = 500});
    bench.ui.data.dSpeed = 2.4;
    const Bytes big = Payload(8'000'000, 2);
    bench.host.queue = {bench.AddFile("big", big)};
    EXPECT_EQ(bench.RunData(), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(), Texts{});
    EXPECT_EQ(bench.ui.Statuses(JobKind::Data),
              (Texts{u"Initializing...", u"Writing data...", u"Finalizing disk..."}));
    EXPECT_GE(bench.ui.Progress(JobKind::Data), 99) << "all but the last chunk";
    EXPECT_TRUE(bench.WasEjected());
    const Bytes track = bench.Track();
    EXPECT_TRUE(Holds(track, big));
    EXPECT_LE(static_cast<size_t>(bench.commands[mmc::kWrite10]), 2 * (track.size() / 32'768))
        << "about one wait for half a buffer";
    const int64_t leastMs = static_cast<int64_t>(big.size()) / 3324;
    EXPECT_GE(bench.clock.TotalSleep(), leastMs - 200) << "the disc takes its time";
    EXPECT_LE(bench.clock.TotalSleep(), 2 * leastMs + 20'000);
    EXPECT_EQ(bench.DiscStatus(), kind.written);
}

TEST_P(DvdJob, ACancelAtAnyMomentLeavesAClosedDisc) {
    // Cancel at the n-th word that the job says, until a run says no n-th word.
    bool cancelled = true;
    for (int moment = 1; cancelled; ++moment) {
        SCOPED_TRACE(moment);
        StartAnew();
        int words = 0;
        cancelled = false;
        const auto word = [&](JobKind job) {
            if (++words == moment) {
                bench.ui.Cancel(job);
                cancelled = true;
            }
        };
        bench.ui.onStatus = [&](JobKind job, const std::u16string&) { word(job); };
        bench.ui.onProgress = [&](JobKind job, int) { word(job); };
        EXPECT_EQ(bench.RunData(), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), Texts{});
        EXPECT_TRUE(bench.WasEjected());
        EXPECT_EQ(bench.DiscStatus(), bench.Track().empty() ? kind.blank : kind.written);
        ASSERT_LT(moment, 1000);
    }
}

TEST(DvdRw, AQuickFormattedDiscGrowsAndItsSessionIsClosed) {
    JobBench bench("dvd-rw");
    Bytes list = {0, 0, 0, 8, 0, 0, 0, 0, 0x15 << 2, 0, 0, 16}; // quick format
    bench.Send(PortDirection::Out, {mmc::kFormatUnit, 0x11, 0, 0, 0, 0}, &list);
    EXPECT_EQ(bench.DiscStatus(), kErasable | kSessionOpen);
    const Bytes first = Payload(100'000, 1);
    const Bytes second = Payload(900'000, 2); // outgrows what is formatted by now
    bench.AddFile("first", first);
    bench.AddFile("second", second);
    ASSERT_NO_FATAL_FAILURE(bench.Burn({"first"}));
    EXPECT_EQ(bench.DiscStatus(), kErasable | kComplete);
    ASSERT_NO_FATAL_FAILURE(bench.Burn({"second"}));
    EXPECT_EQ(bench.DiscStatus(), kErasable | kComplete);
    EXPECT_TRUE(Holds(bench.Track(), first));
    EXPECT_TRUE(Holds(bench.Track(), second));
}

} // namespace
} // namespace larkspin
