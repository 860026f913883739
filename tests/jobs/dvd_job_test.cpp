// The data and image jobs on each kind of DVD.
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

INSTANTIATE_TEST_SUITE_P(Kinds, DvdJob, testing::ValuesIn(kKinds), [](const auto& test) {
    std::string name = test.param.name;
    std::erase(name, '-');
    std::replace(name.begin(), name.end(), '+', 'p');
    return name;
});

TEST_P(DvdJob, WritesAVolume) {
    EXPECT_EQ(bench.DiscStatus(), kind.blank);
    StartAnew();
    EXPECT_EQ(bench.RunData(), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(), Texts{});
    EXPECT_EQ(bench.ui.Statuses(JobKind::Data),
              (Texts{u"Initializing...", u"Writing data...", u"Finalizing disk..."}));
    EXPECT_GE(bench.ui.Progress(JobKind::Data), 90) << "all but the last chunk";
    EXPECT_TRUE(bench.WasEjected());
    EXPECT_EQ(bench.DiscStatus(), kind.written);
    EXPECT_TRUE(HoldsAtSector(bench.Track(), payload));
}

TEST_P(DvdJob, WritesImagesOfEachLength) {
    for (const size_t blocks : {32U, 33U, 47U, 48U, 49U}) {
        SCOPED_TRACE(blocks);
        bench.InsertNew(kind.name);
        const Bytes image = Payload(blocks * 2048, static_cast<uint32_t>(blocks));
        EXPECT_EQ(bench.RunImage(bench.AddFile("image", image)), JobEnd::Exit);
        Bytes expected = image; // filled up with zeros to whole chunks
        expected.resize((image.size() + 32'767) / 32'768 * 32'768);
        EXPECT_TRUE(bench.Track() == expected);
        EXPECT_EQ(bench.DiscStatus(), kind.written);
        EXPECT_EQ(bench.BackgroundFormat(), std::string_view(kind.name) == "dvd+rw" ? 1 : 0);
    }
    // What is too short to hold a volume is not begun.
    bench.InsertNew(kind.name);
    EXPECT_EQ(bench.RunImage(bench.AddFile("image", Payload(65'535, 1))), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts().back(),
              u"The image is smaller than 64 kb, which is too small for a DVD. Nothing was "
              u"written.");
    EXPECT_EQ(bench.Track(), Bytes());
    EXPECT_EQ(bench.DiscStatus(), kind.blank);
}

TEST_P(DvdJob, ASlowDriveIsWaitedFor) {
    // 2.4x on a buffer of 512 KB: every block once, and no more commands than the waits need.
    StartAnew();
    bench.drive.SetSpeed({.bufferKB = 512, .speedFactor = 1.0, .longOperationMs = 500});
    bench.ui.data.dSpeed = 2.4;
    const Bytes big = Payload(8'000'000, 2);
    bench.host.queue = {bench.AddFile("big", big)};
    EXPECT_EQ(bench.RunData(), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(), Texts{});
    const Bytes track = bench.Track();
    EXPECT_TRUE(HoldsAtSector(track, big));
    EXPECT_LE(static_cast<size_t>(bench.commands[mmc::kWrite10]), 2 * (track.size() / 32'768))
        << "about one wait for half a buffer";
    const int64_t leastMs = static_cast<int64_t>(big.size()) / 3324;
    EXPECT_GE(bench.clock.TotalSleep(), leastMs - 200) << "the disc takes its time";
    EXPECT_LE(bench.clock.TotalSleep(), 2 * leastMs + 20'000);
}

// Both jobs tell it, and the image job goes on to its next copy.
TEST_P(DvdJob, AFailedWriteIsToldAndTheSessionClosed) {
    // Two layers of the plus family: the failure leaves nothing marked as written, so that nothing
    // is closed.
    const int left = std::string_view(kind.name) == "dvd+r-dl" ? kSessionOpen : kind.written;
    StartAnew();
    bench.FailCommand(mmc::kWrite10, 5, FailWith(3, 0x0C, 0));
    EXPECT_EQ(bench.RunData(), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(), Texts{u"Stopped: write error"});
    EXPECT_TRUE(bench.WasEjected());
    EXPECT_EQ(bench.DiscStatus(), left);

    StartAnew();
    bench.ui.image.nCopies = 2;
    bench.ui.onBox = [&](const FakeUi::Box& box) {
        return box.text.starts_with(u"You are going to write D");
    };
    bench.FailCommand(mmc::kWrite10, 5, FailWith(3, 0x0C, 0));
    EXPECT_EQ(bench.RunImage(bench.AddFile("image", payload)), JobEnd::Exit);
    const Texts texts = bench.ui.Texts();
    EXPECT_EQ(texts.end()[-2], u"Stopped: write error");
    EXPECT_EQ(texts.back(), NextCopyText(1, 2));
    EXPECT_TRUE(bench.WasEjected());
    EXPECT_EQ(bench.DiscStatus(), left);
}

TEST_P(DvdJob, ACancelInEachPhaseLeavesAClosedDisc) {
    const struct {
        const char16_t* status; // at which the user cancels; null: half-way
        int left;
    } cases[] = {{u"Initializing...", kind.blank},
                 {u"Writing data...", kind.blank},
                 {nullptr, kind.written},
                 {u"Finalizing disk...", kind.written}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.status != nullptr ? ToNative(test.status) : "half-way");
        StartAnew();
        bench.ui.onStatus = [&](JobKind job, const std::u16string& text) {
            if (test.status != nullptr && text == test.status) {
                bench.ui.Cancel(job);
            }
        };
        bench.ui.onProgress = [&](JobKind job, int percent) {
            if (test.status == nullptr && percent >= 50) {
                bench.ui.Cancel(job);
            }
        };
        EXPECT_EQ(bench.RunData(), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), Texts{});
        EXPECT_TRUE(bench.WasEjected());
        EXPECT_EQ(bench.DiscStatus(), test.left);
    }
}

TEST(DvdRw, AMinimallyBlankedDiscIsWrittenInOneGo) {
    JobBench bench("dvd-rw");
    EXPECT_EQ(bench.RunErase(), JobEnd::Exit);
    bench.ui.onBox = [](const FakeUi::Box&) { return true; };
    for (uint32_t round = 1; round <= 2; ++round) {
        SCOPED_TRACE(round);
        ASSERT_TRUE(bench.drive.Insert(bench.disc));
        bench.commands.clear();
        const Bytes payload = Payload(150'000, round);
        bench.host.queue = {bench.AddFile("new", payload)};
        EXPECT_EQ(bench.RunData(), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts().size(), round - 1) << "full, it is erased on demand";
        EXPECT_EQ(bench.commands[mmc::kReserveTrack], 1) << "the size is known";
        EXPECT_EQ(bench.commands[mmc::kCloseTrackSession], 0) << "the last flush closes the disc";
        EXPECT_GE(bench.commands[mmc::kSynchronizeCache], 1);
        EXPECT_TRUE(HoldsAtSector(bench.Track(), payload));
        EXPECT_EQ(bench.DiscStatus(), kErasable | kComplete);
    }
}

TEST(DvdRw, AQuickFormattedDiscGrowsAndItsSessionIsClosed) {
    JobBench bench("dvd-rw");
    const std::vector<uint8_t> cdb = {mmc::kFormatUnit, 0x11, 0, 0, 0, 0};
    Bytes list = {0, 0, 0, 8, 0, 0, 0, 0, 0x15 << 2, 0, 0, 16}; // quick format
    PortRequest request;
    request.cdb = cdb;
    request.direction = PortDirection::Out;
    request.data = list.data();
    request.length = static_cast<uint32_t>(list.size());
    while (bench.drive.Execute(request).sense[2] == 6) {
    }
    EXPECT_EQ(bench.DiscStatus(), kErasable | kSessionOpen);
    const Bytes first = Payload(100'000, 1);
    const Bytes second = Payload(900'000, 2); // outgrows what is formatted by now
    bench.AddFile("first", first);
    bench.AddFile("second", second);
    ASSERT_NO_FATAL_FAILURE(bench.Burn({"first"}));
    EXPECT_EQ(bench.DiscStatus(), kErasable | kComplete);
    ASSERT_NO_FATAL_FAILURE(bench.Burn({"second"}));
    EXPECT_EQ(bench.DiscStatus(), kErasable | kComplete);
    EXPECT_TRUE(HoldsAtSector(bench.Track(), first));
    EXPECT_TRUE(HoldsAtSector(bench.Track(), second));
}

} // namespace
} // namespace larkspin
