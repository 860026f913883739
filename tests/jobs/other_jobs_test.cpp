// The audio, image and erase jobs, row by row.
#include "job_bench.h"

namespace larkspin {
namespace {

using Texts = std::vector<std::u16string>;

constexpr const char16_t* kNotBlank =
    u"The disk in the drive is not blank.\n\nShould Larkspin erase it for you?\n\n"
    u"If you say \"Yes\" all data on this disk will be LOST.";
constexpr const char16_t* kNotForAudio =
    u"The disk is not suitable for creating audio disk. It's not empty and cannot be erased.\n\n"
    u"Please insert another disk and press \"OK\".";
constexpr const char16_t* kNotForImage =
    u"The disk is not suitable for image burning. It's not empty and cannot be erased.\n\n"
    u"Please insert another disk and press \"OK\".";
constexpr const char16_t* kCannotErase =
    u"Cannot erase this disk in this drive. Please insert RW-disk to erase and press \"OK\".";

std::u16string NextCopyText(int written, int copies) {
    return FormatWide("Written %d of %d disks, %d disks left.\n\n"
                      "Please insert next disk and press \"OK\".",
                      written, copies, copies - written);
}

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
    rewritable.ui.onBox = [](const FakeUi::Box& box) { return box.text == kNotBlank; };
    EXPECT_EQ(rewritable.RunAudio(), JobEnd::Exit);
    EXPECT_EQ(rewritable.ui.Texts(), Texts{kNotBlank});
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

// --- image ---

TEST(ImageJob, WholeSectorsOnly) {
    for (const size_t bytes :
         {size_t{302 * 2048}, size_t{302 * 2048 + 1}, size_t{303 * 2048 - 1}}) {
        SCOPED_TRACE(bytes);
        JobBench bench;
        FileBytes image = Payload(bytes, 1);
        const std::u16string path = bench.AddFile("image.iso", image);
        EXPECT_EQ(bench.RunImage(path), JobEnd::Exit);
        image.resize(302 * 2048);
        EXPECT_EQ(bench.ui.Texts(), Texts{});
        EXPECT_EQ(bench.ui.Statuses(JobKind::Image),
                  (Texts{u"Writing lead-in...", u"Writing data...", u"Writing lead-out..."}));
        EXPECT_EQ(bench.ui.Progress(JobKind::Image), 100);
        EXPECT_TRUE(HoldsAtSector(bench.Track(), image));
        EXPECT_TRUE(bench.WasEjected());
        EXPECT_FALSE(bench.drive.IsDoorLocked());
        EXPECT_TRUE(bench.IsClosed());
    }
}

TEST(ImageJob, HeadLineNamesTheDiscThatIsNeeded) {
    const struct {
        uint64_t bytes;
        std::u16string header;
    } cases[] = {
        {0, u"Image to write contains 0 bytes of data."},
        {737'280'000, u"Image to write contains 703.12 Mb of data."},
        {737'280'001, u"Image to write contains 703.13 Mb of data. DVD required."},
        {4'689'920'001, u"Image to write contains 4.37 Gb of data. Double Layer DVD required."},
        {8'519'680'001, u"Image to write contains 7.93 Gb of data. BluRay disc required."},
    };
    for (const auto& test : cases) {
        JobBench bench;
        bench.ui.image.bCancelled = true;
        const std::u16string path = bench.AddFile("image", {});
        std::filesystem::resize_file(bench.Source() / "image", test.bytes);
        EXPECT_EQ(bench.RunImage(path), JobEnd::Exit) << "also when it is cancelled";
        EXPECT_EQ(bench.ui.Headers(), Texts{test.header});
    }
}

TEST(ImageJob, ImagesThatAreNone) {
    JobBench bench;
    bench.AddFile("folder/x", {});
    for (const std::string name : {"folder", "missing"}) {
        EXPECT_EQ(bench.RunImage(ToWide((bench.Source() / name).string())), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts().back(), u"Internal error #561. Unable to open image file.");
    }
    bench.ui.image.nDriveIndex = 3;
    EXPECT_EQ(bench.RunImage(bench.AddFile("image", Payload(4096, 1))), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts().size(), 2U) << "a drive that isn't there is left in silence";
}

TEST(ImageJob, AnImageThatGoesOrShrinksOnTheWay) {
    {
        JobBench bench;
        const std::u16string path = bench.AddFile("image", Payload(400 * 2048, 1));
        bench.ui.onDialog = [&] { std::filesystem::remove(bench.Source() / "image"); };
        EXPECT_EQ(bench.RunImage(path), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), Texts{u"Internal error #562. Unable to open image file."});
        EXPECT_FALSE(bench.WasEjected());
        EXPECT_FALSE(bench.drive.IsDoorLocked());
    }
    {
        JobBench bench;
        const std::u16string path = bench.AddFile("image", Payload(800 * 2048, 1));
        bench.ui.onDialog = [&] {
            std::filesystem::resize_file(bench.Source() / "image", 400 * 2048 + 5);
        };
        EXPECT_EQ(bench.RunImage(path), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(),
                  Texts{u"The image file ended before all of it was written. The disk is not "
                        u"complete."});
    }
}

TEST(ImageJob, DiscsThatWillNotDo) {
    JobBench closed("cd-r");
    closed.Finalize();
    const std::u16string path = closed.AddFile("image", Payload(400 * 2048, 1));
    EXPECT_EQ(closed.RunImage(path), JobEnd::Exit);
    EXPECT_EQ(closed.ui.Texts().back(), kNotForImage);

    JobBench small("cd-r", 1000);
    EXPECT_EQ(small.RunImage(small.AddFile("image", FileBytes(2025 * 2048))), JobEnd::Exit);
    EXPECT_EQ(small.ui.Texts(),
              Texts{u"The image size exceeds disk capacity by 2Mb and cannot be written.\n\n"
                    u"Please insert another disk and press \"OK\"."});

    JobBench rewritable("cd-rw");
    rewritable.Finalize();
    const FileBytes image = Payload(400 * 2048, 2);
    rewritable.ui.onBox = [](const FakeUi::Box&) { return true; };
    EXPECT_EQ(rewritable.RunImage(rewritable.AddFile("image", image)), JobEnd::Exit);
    EXPECT_EQ(rewritable.ui.Texts(), Texts{kNotBlank});
    EXPECT_TRUE(HoldsAtSector(rewritable.Track(), image));
}

TEST(ImageJob, CopiesAndACancelBetweenThem) {
    JobBench bench;
    const FileBytes image = Payload(400 * 2048, 1);
    const std::u16string path = bench.AddFile("image", image);
    bench.ui.image.nCopies = 33; // held at 20
    bench.ui.onBox = [&](const FakeUi::Box&) {
        EXPECT_TRUE(HoldsAtSector(bench.Track(), image));
        bench.InsertNew("cd-r");
        return true;
    };
    bench.ui.onProgress = [&](JobKind kind, int percent) {
        if (percent == 100 && bench.ejects == 2) {
            bench.ui.Cancel(kind);
        }
    };
    EXPECT_EQ(bench.RunImage(path), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(), (Texts{NextCopyText(1, 20), NextCopyText(2, 20)}));
    EXPECT_EQ(bench.ejects, 3);
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
