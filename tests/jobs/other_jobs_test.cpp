// The audio and erase jobs, row by row.
#include "job_bench.h"
#include "job_texts.h"

namespace larkspin {
namespace {

constexpr const char16_t* kNotForAudio =
    u"The disk is not suitable for creating audio disk. It's not empty and cannot be erased.\n\n"
    u"Please insert another disk and press \"OK\".";
constexpr const char16_t* kCannotErase =
    u"Cannot erase this disk in this drive. Please insert RW-disk to erase and press \"OK\".";

// --- audio ---

TEST(AudioJob, OneTrackForEachFileInQueueOrder) {
    JobBench bench;
    const FileBytes a = Payload(302 * 2352 + 100, 1); // ends within a block
    const FileBytes b = Payload(320 * 2352, 2);
    bench.AddWav("folder/b.wav", b);
    bench.host.queue = {ToWide((bench.Source() / "folder").string()), bench.AddWav("a.wav", a)};
    EXPECT_EQ(bench.RunAudio(), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(), Texts{});
    EXPECT_EQ(bench.ui.Headers(), Texts{u"audio header"});
    EXPECT_EQ(bench.ui.Statuses(JobKind::Audio),
              (Texts{u"Writing lead-in...", u"Writing track 1...", u"Writing track 2...",
                     u"Writing lead-out..."}));
    EXPECT_EQ(bench.ui.Progress(JobKind::Audio), 100);
    EXPECT_EQ(bench.host.clears, 1);
    EXPECT_TRUE(bench.WasEjected());
    FileBytes padded = a;
    padded.resize(303 * 2352);
    EXPECT_EQ(bench.AudioTrack(1), padded) << "files come before those of folders";
    EXPECT_EQ(bench.AudioTrack(2), b);
    EXPECT_TRUE(bench.IsClosed());
}

TEST(AudioJob, LeavesBeforeTheDisc) {
    JobBench bench;
    bench.host.audioBytes = 846'720'001;
    EXPECT_EQ(bench.RunAudio(), JobEnd::Idle);
    ASSERT_EQ(bench.ui.Boxes().size(), 1U);
    EXPECT_EQ(bench.ui.Boxes()[0].text,
              u"The duration of selected audio files is more than 80 minutes. This selection won't "
              u"fit any CD-R/RW.\n\nPlease edit your selection and invoke Larkspin again.");
    EXPECT_EQ(bench.ui.Boxes()[0].icon, BoxIcon::Stop);
    bench.host.audioBytes = 846'720'000;
    bench.ui.audio.bCancelled = true;
    EXPECT_EQ(bench.RunAudio(), JobEnd::Idle) << "80 minutes exactly come to the dialog";
    EXPECT_EQ(bench.ui.Headers().size(), 1U);
    bench.host.exclusive = true;
    EXPECT_EQ(bench.RunAudio(), JobEnd::Exit);
    bench.ui.audio.bCancelled = false;
    bench.ui.audio.nDriveIndex = 7;
    EXPECT_EQ(bench.RunAudio(), JobEnd::Idle);
    EXPECT_EQ(bench.host.clears, 0);
}

TEST(AudioJob, SourcesThatWillNotDo) {
    JobBench bench;
    const std::u16string good = bench.AddWav("good.wav", Payload(302 * 2352, 1));
    const std::u16string text = bench.AddFile("read.me", Payload(10, 2));
    const std::u16string broken = bench.AddFile("broken.wav", Payload(10, 3));
    bench.host.queue = {good, text};
    EXPECT_EQ(bench.RunAudio(), JobEnd::Exit);
    ASSERT_EQ(bench.ui.Boxes().size(), 1U);
    EXPECT_EQ(bench.ui.Boxes()[0].text,
              u"Error: cannot write " + text +
                  u". It's not an audio or this format is not supported.");
    bench.host.queue = {good, broken};
    EXPECT_EQ(bench.RunAudio(), JobEnd::Exit);
    ASSERT_EQ(bench.ui.Boxes().size(), 2U);
    EXPECT_EQ(bench.ui.Boxes()[1].title, u"Brackwater");
    EXPECT_EQ(bench.ui.Boxes()[1].icon, BoxIcon::Stop);
    EXPECT_FALSE(bench.ui.Boxes()[1].text.empty());
    EXPECT_FALSE(bench.WasEjected());
    EXPECT_EQ(bench.host.clears, 0);
}

TEST(AudioJob, SevenThousandBlocksOfGrace) {
    for (const int32_t blocks : {8000, 8001}) {
        JobBench bench("cd-r", 1000);
        bench.host.queue = {bench.AddWav("a.wav", FileBytes(size_t(blocks) * 2352))};
        EXPECT_EQ(bench.RunAudio(), JobEnd::Exit);
        ASSERT_EQ(bench.ui.Texts().size(), 1U);
        if (blocks == 8001) {
            EXPECT_TRUE(bench.ui.Texts()[0].starts_with(
                u"The duration of selected audio files exceeds disk capacity by 1:33 (min:sec)"));
            EXPECT_EQ(bench.host.clears, 0);
        } else {
            // The drive is asked, and this one takes no more than it says.
            EXPECT_TRUE(bench.ui.Texts()[0].starts_with(u"Internal error #")) << blocks;
            EXPECT_EQ(bench.host.clears, 1);
        }
    }
}

TEST(AudioJob, DiscsThatWillNotDo) {
    JobBench bench("cd-r");
    bench.Finalize();
    bench.host.queue = {bench.AddWav("a.wav", Payload(302 * 2352, 1))};
    EXPECT_EQ(bench.RunAudio(), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(), Texts{kNotForAudio});

    JobBench rewritable("cd-rw");
    rewritable.Finalize();
    rewritable.host.queue = {rewritable.AddWav("a.wav", Payload(302 * 2352, 1))};
    rewritable.ui.onBox = [](const FakeUi::Box& box) { return box.text == kNotBlankText; };
    EXPECT_EQ(rewritable.RunAudio(), JobEnd::Exit);
    EXPECT_EQ(rewritable.ui.Texts(), Texts{kNotBlankText});
    EXPECT_EQ(rewritable.AudioTrack(1), Payload(302 * 2352, 1));
}

TEST(AudioJob, CopiesUntilTheUserHasEnough) {
    JobBench bench;
    const FileBytes pcm = Payload(302 * 2352, 1);
    bench.host.queue = {bench.AddWav("a.wav", pcm)};
    bench.ui.audio.nCopies = 3;
    bench.ui.onBox = [&](const FakeUi::Box& box) {
        if (box.text == NextCopyText(1, 3)) {
            EXPECT_EQ(bench.AudioTrack(1), pcm);
            bench.InsertNew("cd-r");
            return true;
        }
        return false;
    };
    EXPECT_EQ(bench.RunAudio(), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(), (Texts{NextCopyText(1, 3), NextCopyText(2, 3)}));
    EXPECT_EQ(bench.AudioTrack(1), pcm);
    EXPECT_EQ(bench.ejects, 2);
}

TEST(AudioJob, ACancelEndsTheCopies) {
    JobBench bench;
    bench.host.queue = {bench.AddWav("a.wav", Payload(2000 * 2352, 1))};
    bench.ui.audio.nCopies = 2;
    bench.ui.onProgress = [&](JobKind kind, int percent) {
        if (percent == 50) {
            bench.ui.Cancel(kind);
        }
    };
    EXPECT_EQ(bench.RunAudio(), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(), Texts{});
    EXPECT_EQ(bench.ui.Statuses(JobKind::Audio).back(), u"Writing track 1...");
    EXPECT_TRUE(bench.WasEjected());
    EXPECT_FALSE(bench.drive.IsDoorLocked());
}

// --- erase ---

TEST(EraseJob, BlanksAndEjects) {
    for (const EraseMode mode : {EraseMode::Quick, EraseMode::Full}) {
        JobBench bench("cd-rw");
        bench.Finalize();
        bench.ui.erase.mode = mode;
        bench.drive.SetSpeed({.longOperationMs = 5000});
        EXPECT_EQ(bench.RunErase(), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), Texts{});
        EXPECT_FALSE(bench.ui.EraseSpeeds().empty());
        EXPECT_EQ(bench.ui.Starts(JobKind::Erase), 1);
        EXPECT_TRUE(bench.WasEjected());
        EXPECT_FALSE(bench.drive.IsDoorLocked());
        EXPECT_GE(bench.clock.TotalSleep(), 4900) << "it watched the drive to the end";
        EXPECT_FALSE(bench.IsClosed());
    }
}

TEST(EraseJob, StaysIdleUntilTheDiscIsRight) {
    JobBench bench("cd-r");
    EXPECT_EQ(bench.RunErase(4), JobEnd::Idle);
    int asked = 0;
    bench.ui.onBox = [&](const FakeUi::Box&) { return ++asked < 3; };
    EXPECT_EQ(bench.RunErase(), JobEnd::Idle);
    EXPECT_EQ(bench.ui.Texts(), (Texts{kCannotErase, kCannotErase, kCannotErase}));
    bench.ui.erase.mode = EraseMode::Cancelled;
    EXPECT_EQ(bench.RunErase(), JobEnd::Idle);
    EXPECT_FALSE(bench.WasEjected());
}

TEST(EraseJob, WithoutAPercentageTheBarCreeps) {
    JobBench bench("cd-rw");
    constexpr uint8_t kBlank = 0xA1;
    constexpr uint8_t kReadDiscInfo = 0x51;
    bool blanking = false;
    int polls = 0;
    bench.drive.SetScript([&](const PortRequest& request, uint64_t) {
        blanking = blanking || request.cdb[0] == kBlank;
        // Busy, and the sense-key specific bytes say nothing.
        return blanking && request.cdb[0] == kReadDiscInfo && ++polls <= 25
                   ? std::optional<InjectedAnswer>(FailWith(2, 4, 7))
                   : std::nullopt;
    });
    EXPECT_EQ(bench.RunErase(), JobEnd::Exit);
    EXPECT_TRUE(bench.ui.NoProgressReport());
    EXPECT_EQ(bench.ui.Steps(), 2) << "one on every tenth poll";
}

TEST(EraseJob, ACancelStopsTheWatchingNotTheDrive) {
    JobBench bench("cd-rw");
    bench.Finalize();
    bench.drive.SetSpeed({.longOperationMs = 60'000});
    bench.clock.SetOnSleep([&] { bench.ui.Cancel(JobKind::Erase); });
    EXPECT_EQ(bench.RunErase(), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(), Texts{});
    EXPECT_LT(bench.clock.TotalSleep(), 1000);
}

} // namespace
} // namespace larkspin
