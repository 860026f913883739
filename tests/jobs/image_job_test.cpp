// The image job, row by row: what is written, what is refused, and what the user is told.
#include "job_bench.h"
#include "job_texts.h"
#include "support/memory_files.h"

#include <cstdlib>

namespace larkspin {
namespace {

namespace fs = std::filesystem;

constexpr size_t kSector = 2048;
constexpr int32_t kFirstFrame = 150; // the user's data begins at 00:02:00

constexpr const char16_t* kNotForImage =
    u"The disk is not suitable for image burning. It's not empty and cannot be erased.\n\n"
    u"Please insert another disk and press \"OK\".";
constexpr const char16_t* kUnidentified =
    u"The disk type cannot be identified.\n\nShould Larkspin ignore this and proceed with "
    u"writing?\n\nIf you're unsure say \"No\".";
constexpr const char16_t* kNoImage = u"Internal error #561. Unable to open image file.";
constexpr const char16_t* kImageGone = u"Internal error #562. Unable to open image file.";
constexpr const char16_t* kNotStarted = u"Internal error #563. Unable to initiate recording.";
constexpr const char16_t* kReadFailed =
    u"Internal error #564. Reading of image failed. Writing process aborted.";
constexpr const char16_t* kWriteFailed =
    u"Internal error #565. Writing process failed. Process aborted.";
constexpr const char16_t* kImageShorter =
    u"The image file ended before all of it was written. The disk is not complete.";
constexpr const char16_t* kLeadIn = u"Writing lead-in...";

constexpr uint8_t kWrite = 0x2A;
constexpr uint8_t kSynchronizeCache = 0x35;
constexpr uint8_t kReadDiscInfo = 0x51;
constexpr uint8_t kCloseSession = 0x5B;
constexpr uint8_t kSendCueSheet = 0x5D;

std::u16string TooLargeText(int megabytes) {
    return FormatWide("The image size exceeds disk capacity by %dMb and cannot be written.\n\n"
                      "Please insert another disk and press \"OK\".",
                      megabytes);
}

// An image of zeros that takes no room; its path.
std::u16string AddSparse(JobBench& bench, uint64_t bytes) {
    const std::u16string path = bench.AddFile("image", {});
    fs::resize_file(bench.Source() / "image", bytes);
    return path;
}

// What a reader of the disc gets from its first sector on, after the disc went in again.
FileBytes ReadBack(JobBench& bench, size_t sectors) {
    EXPECT_TRUE(bench.drive.Insert(bench.disc));
    bench.Drive().ReadDiskInfo(); // takes the news of another disc
    constexpr size_t kAtOnce = 16;
    FileBytes bytes(sectors * kSector);
    for (size_t at = 0; at < sectors; at += kAtOnce) {
        const auto count = static_cast<uint32_t>(std::min(kAtOnce, sectors - at));
        EXPECT_TRUE(
            bench.Drive().ReadBlocks(&bytes[at * kSector], count, static_cast<uint32_t>(at)))
            << "sector " << at;
    }
    return bytes;
}

// A drive that takes any session at once, and keeps what it was sent of it.
class TolerantDrive {
  public:
    explicit TolerantDrive(JobBench& bench) {
        bench.drive.SetScript(
            [this](const PortRequest& request, uint64_t) { return Answer(request); });
    }

    FileBytes cueSheet;
    FileBytes pregap;
    FileBytes data;
    bool ended = false;

  private:
    std::optional<InjectedAnswer> Answer(const PortRequest& request) {
        const auto* sent = static_cast<const uint8_t*>(request.data);
        const auto keep = [&](FileBytes& bytes) {
            bytes.insert(bytes.end(), sent, sent + request.length);
        };
        switch (request.cdb[0]) {
        case kSendCueSheet:
            keep(cueSheet);
            return InjectedAnswer();
        case kWrite:
            keep(request.cdb[2] == 0xFF ? pregap : data); // blocks below 0
            return InjectedAnswer();
        case kSynchronizeCache:
        case kCloseSession:
            ended = true;
            return InjectedAnswer();
        default:
            return std::nullopt;
        }
    }
};

TEST(ImageJob, WholeSectorsOnly) {
    for (const size_t bytes :
         {300 * kSector, 302 * kSector + 1, 303 * kSector - 1, 320 * kSector, 321 * kSector + 77}) {
        SCOPED_TRACE(bytes);
        JobBench bench;
        FileBytes image = Payload(bytes, 1);
        const std::u16string path = bench.AddFile("image.iso", image);
        EXPECT_EQ(bench.RunImage(path), JobEnd::Exit);
        image.resize(bytes / kSector * kSector);
        EXPECT_EQ(bench.ui.Texts(), Texts{});
        EXPECT_EQ(bench.ui.Statuses(JobKind::Image),
                  (Texts{kLeadIn, u"Writing data...", u"Writing lead-out..."}));
        EXPECT_EQ(bench.ui.Progress(JobKind::Image), 100);
        EXPECT_EQ(bench.Track(), image);
        EXPECT_TRUE(bench.WasEjected());
        EXPECT_FALSE(bench.drive.IsDoorLocked());
        EXPECT_TRUE(bench.IsClosed());
    }
}

// A track has four seconds at least (Red Book). The job leaves it to the drive what becomes of a
// shorter one: a strict drive refuses it before anything is on the disc.
TEST(ImageJob, ShortImagesAreUpToTheDrive) {
    for (const size_t bytes : {size_t{0}, size_t{1}, kSector - 1, kSector, kSector + 1,
                               15 * kSector, 17 * kSector + 5, 299 * kSector}) {
        SCOPED_TRACE(bytes);
        const size_t sectors = bytes / kSector;
        FileBytes image = Payload(bytes, 1);
        {
            JobBench bench;
            EXPECT_EQ(bench.RunImage(bench.AddFile("image", image)), JobEnd::Exit);
            EXPECT_EQ(bench.ui.Texts(), Texts{kNotStarted});
            EXPECT_FALSE(bench.WasEjected());
            EXPECT_FALSE(bench.drive.IsDoorLocked());
            // Not a sector is lost: the next image goes on the same disc.
            const FileBytes next = Payload(300 * kSector, 2);
            EXPECT_EQ(bench.RunImage(bench.AddFile("next", next)), JobEnd::Exit);
            EXPECT_EQ(ReadBack(bench, 300), next);
        }
        JobBench bench;
        TolerantDrive drive(bench);
        EXPECT_EQ(bench.RunImage(bench.AddFile("image", image)), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), Texts{});
        EXPECT_TRUE(bench.WasEjected());
        ASSERT_EQ(drive.cueSheet.size(), 32U);
        const auto leadOut = static_cast<int32_t>(sectors) + kFirstFrame;
        EXPECT_EQ(
            FileBytes(drive.cueSheet.end() - 3, drive.cueSheet.end()),
            (FileBytes{0, static_cast<uint8_t>(leadOut / 75), static_cast<uint8_t>(leadOut % 75)}));
        EXPECT_EQ(drive.pregap, FileBytes(kFirstFrame * kSector));
        image.resize(sectors * kSector);
        EXPECT_EQ(drive.data, image);
        EXPECT_TRUE(drive.ended);
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
        {4'689'920'000, u"Image to write contains 4.37 Gb of data. DVD required."},
        {4'689'920'001, u"Image to write contains 4.37 Gb of data. Double Layer DVD required."},
        {8'519'680'000, u"Image to write contains 7.93 Gb of data. Double Layer DVD required."},
        {8'519'680'001, u"Image to write contains 7.93 Gb of data. BluRay disc required."},
    };
    for (const auto& test : cases) {
        JobBench bench;
        bench.ui.image.bCancelled = true;
        EXPECT_EQ(bench.RunImage(AddSparse(bench, test.bytes)), JobEnd::Exit)
            << "also when it is cancelled";
        EXPECT_EQ(bench.ui.Headers(), Texts{test.header});
        EXPECT_EQ(bench.ui.Starts(JobKind::Image), 0);
    }
}

TEST(ImageJob, CapacityIsComparedUpToACertainSize) {
    const struct {
        uint32_t capacity;
        uint64_t sectors;
        std::optional<int> excess; // megabytes, where the disc is refused
    } cases[] = {
        {360'000, 360'000, std::nullopt},
        {360'000, 360'001, 0},
        {399'999, 400'510, 0},
        {399'999, 400'511, 1},
        {399'999, 400'000, 0},
        {400'000, 400'001, std::nullopt},
        {400'000, 5'000'000, std::nullopt},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(Format("%d sectors on %d", static_cast<int>(test.sectors),
                            static_cast<int>(test.capacity)));
        JobBench bench("cd-r", test.capacity);
        bench.ui.onStatus = [&](JobKind kind, const std::u16string& text) {
            if (text == kLeadIn) {
                bench.ui.Cancel(kind); // it came through the checks
            }
        };
        EXPECT_EQ(bench.RunImage(AddSparse(bench, test.sectors * kSector)), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), test.excess ? Texts{TooLargeText(*test.excess)} : Texts{});
        EXPECT_EQ(bench.ui.Starts(JobKind::Image), test.excess ? 0 : 1);
        EXPECT_EQ(bench.WasEjected(), !test.excess);
    }
}

TEST(ImageJob, ADiscOfUnknownCapacityIsUpToTheUser) {
    // From this size on a lead-out has more minutes than its byte holds.
    constexpr uint64_t kBeyondAnyLeadOut = (uint64_t{266} * 60 * 75) * kSector;
    const struct {
        bool goOn;
        uint64_t bytes;
        Texts then;
    } cases[] = {
        {false, 400 * kSector, {}},
        {true, 400 * kSector, {}},
        {true, kBeyondAnyLeadOut, {kNotStarted}},
    };
    for (const auto& test : cases) {
        JobBench bench;
        bench.drive.SetScript(
            [&](const PortRequest& request, uint64_t) -> std::optional<InjectedAnswer> {
                if (request.cdb[0] != kReadDiscInfo || request.length < 24) {
                    return std::nullopt;
                }
                auto* info = static_cast<uint8_t*>(request.data);
                std::fill_n(info, request.length, uint8_t{0}); // an empty disc
                std::fill_n(info + 16, 8, uint8_t{0xFF});      // whose lead-outs are not known
                return InjectedAnswer();
            });
        bench.ui.onBox = [&](const FakeUi::Box& box) {
            EXPECT_TRUE(box.text != kUnidentified || box.buttons == BoxButtons::YesNo);
            return test.goOn;
        };
        EXPECT_EQ(bench.RunImage(AddSparse(bench, test.bytes)), JobEnd::Exit);
        Texts expected{kUnidentified};
        expected.insert(expected.end(), test.then.begin(), test.then.end());
        EXPECT_EQ(bench.ui.Texts(), expected);
        EXPECT_EQ(bench.WasEjected(), test.goOn && test.then.empty());
    }
}

TEST(ImageJob, ImagesThatAreNone) {
    JobBench bench;
    bench.AddFile("folder/x", {});
    for (const std::string name : {"folder", "missing"}) {
        EXPECT_EQ(bench.RunImage(ToWide((bench.Source() / name).string())), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts().back(), kNoImage);
    }
    EXPECT_EQ(bench.ui.Headers(), Texts{});
    bench.ui.image.nDriveIndex = 3;
    EXPECT_EQ(bench.RunImage(bench.AddFile("image", Payload(4096, 1))), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts().size(), 2U) << "a drive that isn't there is left in silence";
}

TEST(ImageJob, AnImageThatChangesBehindTheDialog) {
    const auto resize = [](const fs::path& image, uint64_t bytes) {
        fs::resize_file(image, bytes);
    };
    const struct {
        const char* name;
        std::function<void(const fs::path&)> change;
        Texts texts;
        size_t sectors; // that are on the disc
    } cases[] = {
        {"deleted", [](const fs::path& image) { fs::remove(image); }, {kImageGone}, 0},
        {"a folder now",
         [](const fs::path& image) {
             fs::remove(image);
             fs::create_directory(image);
         },
         {kImageGone},
         0},
        {"shrunk within a sector",
         [&](const fs::path& image) { resize(image, 400 * kSector + 5); },
         {kImageShorter},
         400},
        {"shrunk to whole sectors",
         [&](const fs::path& image) { resize(image, 401 * kSector); },
         {kImageShorter},
         401},
        {"emptied", [&](const fs::path& image) { resize(image, 0); }, {kImageShorter}, 0},
        {"grown", [&](const fs::path& image) { resize(image, 900 * kSector); }, {}, 800},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        JobBench bench;
        FileBytes image = Payload(800 * kSector, 1);
        const std::u16string path = bench.AddFile("image", image);
        bench.ui.onDialog = [&] { test.change(bench.Source() / "image"); };
        EXPECT_EQ(bench.RunImage(path), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), test.texts);
        EXPECT_EQ(bench.WasEjected(), test.texts != Texts{kImageGone});
        EXPECT_FALSE(bench.drive.IsDoorLocked());
        image.resize(test.sectors * kSector);
        FileBytes written = bench.Track();
        written.resize(std::min(written.size(), image.size()));
        EXPECT_EQ(written, image);
    }
}

TEST(ImageJob, AReadFaultEndsIt) {
    for (const size_t failsAt : {size_t{0}, kSector, 399 * kSector}) {
        SCOPED_TRACE(failsAt);
        JobBench bench;
        MemoryFiles files(Payload(400 * kSector, 1));
        files.m_nFailsAt = failsAt;
        files.m_nMost = kSector - 1; // a read may bring less than was asked for
        JobEnv env{bench.host, bench.ui, bench.drives, files, bench.clock};
        bench.ui.image.nCopies = 2;
        EXPECT_EQ(bench.Run([&] { return ImageJob(env, u"/image"); }), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), Texts{kReadFailed});
        EXPECT_FALSE(bench.WasEjected());
        EXPECT_FALSE(bench.drive.IsDoorLocked());
    }
    JobBench bench;
    MemoryFiles files(Payload(400 * kSector, 1));
    files.m_nMost = kSector - 1;
    JobEnv env{bench.host, bench.ui, bench.drives, files, bench.clock};
    EXPECT_EQ(bench.Run([&] { return ImageJob(env, u"/image"); }), JobEnd::Exit);
    EXPECT_EQ(bench.Track(), files.m_bytes);
}

TEST(ImageJob, AWriteFaultEndsItAndTheCacheIsEmptied) {
    JobBench bench;
    int writes = 0;
    int synchronized = 0;
    bench.drive.SetScript(
        [&](const PortRequest& request, uint64_t) -> std::optional<InjectedAnswer> {
            synchronized += writes > 0 && request.cdb[0] == kSynchronizeCache ? 1 : 0;
            const bool isData = request.cdb[0] == kWrite && request.cdb[2] != 0xFF;
            return isData && ++writes == 3
                       ? std::optional<InjectedAnswer>(FailWith(3, 0x0C, 0)) // WRITE ERROR
                       : std::nullopt;
        });
    bench.ui.image.nCopies = 2;
    EXPECT_EQ(bench.RunImage(bench.AddFile("image", Payload(400 * kSector, 1))), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(), Texts{kWriteFailed});
    EXPECT_EQ(writes, 3) << "nothing goes to a disc after that";
    EXPECT_EQ(synchronized, 1);
    EXPECT_FALSE(bench.WasEjected());
}

TEST(ImageJob, DiscsThatWillNotDo) {
    JobBench closed("cd-r");
    closed.Finalize();
    const std::u16string path = closed.AddFile("image", Payload(400 * kSector, 1));
    int asked = 0;
    closed.ui.onBox = [&](const FakeUi::Box& box) {
        EXPECT_EQ(box.buttons, BoxButtons::OkCancel);
        return ++asked < 3; // the same disc brings the same box
    };
    EXPECT_EQ(closed.RunImage(path), JobEnd::Exit);
    EXPECT_EQ(closed.ui.Texts(), (Texts{kNotForImage, kNotForImage, kNotForImage}));
    EXPECT_FALSE(closed.WasEjected());

    JobBench small("cd-r", 1000);
    EXPECT_EQ(small.RunImage(small.AddFile("image", FileBytes(2025 * kSector))), JobEnd::Exit);
    EXPECT_EQ(small.ui.Texts(), Texts{TooLargeText(2)});
    EXPECT_FALSE(small.WasEjected());

    JobBench kept("cd-rw");
    kept.Finalize();
    const FileBytes before = kept.Track();
    EXPECT_EQ(kept.RunImage(kept.AddFile("image", Payload(400 * kSector, 2))), JobEnd::Exit);
    EXPECT_EQ(kept.ui.Texts(), Texts{kNotBlankText});
    EXPECT_EQ(kept.Track(), before) << "No leaves the disc as it is";
}

TEST(ImageJob, CopiesOneAfterTheOther) {
    JobBench bench;
    const FileBytes image = Payload(400 * kSector, 1);
    const std::u16string path = bench.AddFile("image", image);
    bench.ui.image.nCopies = 3;
    std::vector<std::string> discs{bench.disc};
    bench.ui.onBox = [&](const FakeUi::Box& box) {
        EXPECT_EQ(box.buttons, BoxButtons::OkCancel);
        EXPECT_EQ(box.icon, box.text == kNotForImage ? BoxIcon::None : BoxIcon::Question);
        if (box.text == NextCopyText(1, 3)) {
            EXPECT_TRUE(bench.drive.Insert(discs[0])); // not another disc at all
        } else {
            bench.InsertNew("cd-r");
            discs.push_back(bench.disc);
        }
        return true;
    };
    EXPECT_EQ(bench.RunImage(path), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(), (Texts{NextCopyText(1, 3), kNotForImage, NextCopyText(2, 3)}));
    EXPECT_EQ(bench.ejects, 3);
    ASSERT_EQ(discs.size(), 3U);
    for (const std::string& disc : discs) {
        EXPECT_EQ(ReadFileBytes(disc + "/track-01.iso"), image);
    }
}

TEST(ImageJob, CopiesEndWithTheUserOrTheImage) {
    const struct {
        const char* name;
        std::function<bool(JobBench&)> onPrompt;
        bool cancelSecond;
        Texts texts;
        int ejects;
    } cases[] = {
        {"the prompt is cancelled",
         [](JobBench&) { return false; },
         false,
         {NextCopyText(1, 20)},
         1},
        {"the second copy is cancelled",
         [](JobBench& bench) {
             bench.InsertNew("cd-r");
             return true;
         },
         true,
         {NextCopyText(1, 20)},
         2},
        {"the image is gone",
         [](JobBench& bench) {
             bench.InsertNew("cd-r");
             fs::remove(bench.Source() / "image");
             return true;
         },
         false,
         {NextCopyText(1, 20), kImageGone},
         1},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        JobBench bench;
        const std::u16string path = bench.AddFile("image", Payload(400 * kSector, 1));
        bench.ui.image.nCopies = 33; // held at 20
        bench.ui.onBox = [&](const FakeUi::Box& box) {
            return box.text == NextCopyText(1, 20) && test.onPrompt(bench);
        };
        bench.ui.onProgress = [&](JobKind kind, int percent) {
            if (test.cancelSecond && bench.ejects == 1 && percent >= 50) {
                bench.ui.Cancel(kind);
            }
        };
        EXPECT_EQ(bench.RunImage(path), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), test.texts);
        EXPECT_EQ(bench.ejects, test.ejects);
        EXPECT_FALSE(bench.drive.IsDoorLocked());
    }
}

// What other programs make, on each kind of disc, and blank or full before.
TEST(ImageJob, ImagesOfOtherProgramsComeBackByteByByte) {
    const struct {
        const char* kind;
        bool finalized;   // before the job
        size_t questions; // that are answered with Yes: erase it, waste a DVD, waste a second layer
    } discs[] = {{"cd-r", false, 0},  {"cd-rw", false, 0},   {"cd-rw", true, 1},
                 {"dvd-r", false, 1}, {"dvd+r", false, 1},   {"dvd+rw", false, 0},
                 {"dvd+rw", true, 0}, {"dvd+r-dl", false, 2}};
    const struct {
        const char* name;
        std::string command; // with the folder and the image after it
    } makers[] = {
        {"xorriso", "xorriso -as mkisofs -quiet -R -J -V OTHER -o image . >/dev/null 2>&1"},
        {"mkudffs", "truncate -s 3M image && PATH=$PATH:/sbin:/usr/sbin mkudffs --blocksize=2048 "
                    "--label=OTHER image >/dev/null"},
    };
    for (const auto& disc : discs) {
        for (const auto& maker : makers) {
            SCOPED_TRACE(
                Format("%s on %s%s", maker.name, disc.kind, disc.finalized ? ", full" : ""));
            JobBench bench(disc.kind);
            if (disc.finalized) {
                bench.Finalize();
            }
            const std::u16string path = bench.AddFile("image", {});
            bench.AddFile("some/thing.bin", Payload(1'500'000, 7));
            fs::remove(bench.Source() / "image");
            ASSERT_EQ(
                std::system(("cd '" + bench.Source().string() + "' && " + maker.command).c_str()),
                0);
            const FileBytes image = ReadFileBytes(bench.Source() / "image");
            ASSERT_GT(image.size(), 300 * kSector);
            ASSERT_EQ(image.size() % kSector, 0U);
            bench.ui.onBox = [](const FakeUi::Box&) { return true; };
            EXPECT_EQ(bench.RunImage(path), JobEnd::Exit);
            EXPECT_EQ(bench.ui.Texts().size(), disc.questions);
            EXPECT_TRUE(ReadBack(bench, image.size() / kSector) == image);
        }
    }
}

// --- an image with UDF, DVD-Video and boot data, on its way from larkspin-lab to a disc ---

bool Runs(const std::string& command) {
    return std::system(command.c_str()) == 0;
}

void PutBig32(FileBytes& bytes, size_t at, uint32_t value) {
    for (size_t i = 0; i < 4; ++i) {
        bytes[at + i] = static_cast<uint8_t>(value >> (8 * (3 - i)));
    }
}

// A video manager alone, whose backup lies nine sectors behind its own two.
FileBytes Manager() {
    constexpr std::string_view kMagic = "DVDVIDEO-VMG";
    FileBytes ifo(2 * kSector);
    std::copy(kMagic.begin(), kMagic.end(), ifo.begin());
    PutBig32(ifo, 12, 12); // last sector of the set
    PutBig32(ifo, 28, 1);  // of the IFO
    PutBig32(ifo, 196, 1); // sector of the table of titles, which is empty
    return ifo;
}

FileBytes Loader() {
    FileBytes loader = Payload(kSector, 3);
    loader[510] = 0x55;
    loader[511] = 0xAA;
    return loader;
}

TEST(ImageJob, AnImageWithAllOptionsReachesADvdWhole) {
    for (const char* kind : {"dvd-r", "dvd+r"}) {
        SCOPED_TRACE(kind);
        JobBench bench(kind);
        bench.ui.onBox = [](const FakeUi::Box&) { return true; }; // the disc is larger than needed
        bench.AddFile("VIDEO_TS/VIDEO_TS.IFO", Manager());
        bench.AddFile("VIDEO_TS/VIDEO_TS.BUP", Manager());
        bench.AddFile("boot/loader", Loader());
        bench.AddFile("data/payload", Payload(300'001, 2));
        const fs::path out = bench.folder.Path() / fs::path("special.iso");
        ASSERT_TRUE(Runs("cd '" + bench.Source().string() +
                         "' && " LARKSPIN_LAB
                         " volume --udf --dvd-video --boot boot/loader --output '" +
                         out.string() + "' VIDEO_TS boot data"));
        const FileBytes image = ReadFileBytes(out);
        const auto holds = [&](size_t sector, std::string_view text) {
            return std::equal(text.begin(), text.end(),
                              image.begin() + static_cast<std::ptrdiff_t>(sector * kSector + 1));
        };
        EXPECT_TRUE(holds(17, "CD001\1EL TORITO SPECIFICATION"));
        FileBytes manager = Manager();
        manager.resize(11 * kSector);
        const FileBytes backup = Manager();
        manager.insert(manager.end(), backup.begin(), backup.end());
        EXPECT_TRUE(HoldsAtSector(image, manager)) << "the backup lies where the set says";

        EXPECT_EQ(bench.RunImage(ToWide(out.string())), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts().size(), 1U);
        const FileBytes disc = ReadBack(bench, image.size() / kSector);
        ASSERT_TRUE(disc == image);

        const fs::path copy = bench.folder.Path() / fs::path("disc.iso");
        WriteFileBytes(copy, disc);
        const fs::path extracted = bench.folder.Path() / fs::path("extracted");
        // -tUDF: by the UDF side alone. The boot catalog is the one file that no source has.
        EXPECT_TRUE(Runs("7z x -tUDF -o'" + extracted.string() + "' '" + copy.string() +
                         "' >/dev/null && rm '" + extracted.string() +
                         "/boot.catalog' && diff -r '" + bench.Source().string() + "' '" +
                         extracted.string() + "' >&2"));
    }
}

} // namespace
} // namespace larkspin
