// The image job, row by row: what is written, what is refused, and what the user is told.
#include "job_bench.h"
#include "support/memory_files.h"

#include <cstdlib>

namespace larkspin {
namespace {

constexpr size_t kSector = 2048;

constexpr const char16_t* kUnidentified =
    u"The disk type cannot be identified.\n\nShould Larkspin ignore this and proceed with "
    u"writing?\n\nIf you're unsure say \"No\".";
constexpr const char16_t* kWasteDvd =
    u"You are going to write DVD disk, but image size is small enough to fit CD-R/RW disk.\n\n"
    u"Should Larkspin ignore this and proceed with writing anyway?";
constexpr const char16_t* kWasteLayer =
    u"You are going to write Double Layer disk, but image size is small enough to fit single layer "
    u"disk. You're going to waste your expensive Double Layer disk.\n\n"
    u"Should Larkspin ignore this and proceed with writing anyway?";
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
Bytes ReadBack(JobBench& bench, size_t sectors) {
    EXPECT_TRUE(bench.drive.Insert(bench.disc));
    bench.Drive().ReadDiskInfo(); // takes the news of another disc
    constexpr size_t kAtOnce = 16;
    Bytes bytes(sectors * kSector);
    for (size_t at = 0; at < sectors; at += kAtOnce) {
        const auto count = static_cast<uint32_t>(std::min(kAtOnce, sectors - at));
        EXPECT_TRUE(
            bench.Drive().ReadBlocks(&bytes[at * kSector], count, static_cast<uint32_t>(at)))
            << "sector " << at;
    }
    return bytes;
}

TEST(ImageJob, WholeSectorsOnly) {
    for (const size_t bytes :
         {300 * kSector, 302 * kSector + 1, 303 * kSector - 1, 320 * kSector, 321 * kSector + 77}) {
        SCOPED_TRACE(bytes);
        JobBench bench;
        Bytes image = Payload(bytes, 1);
        const std::u16string path = bench.AddFile("image.iso", image);
        EXPECT_EQ(bench.RunImage(path), JobEnd::Exit);
        image.resize(bytes / kSector * kSector);
        EXPECT_EQ(bench.ui.Texts(), Texts{});
        EXPECT_EQ(bench.ui.Statuses(JobKind::Image),
                  (Texts{kLeadIn, u"Writing data...", u"Writing lead-out..."}));
        EXPECT_EQ(bench.ui.Progress(JobKind::Image), 100);
        EXPECT_EQ(bench.Track(), image);
        EXPECT_TRUE(bench.WasEjected());
        EXPECT_TRUE(bench.IsClosed());
    }
}

// A track has four seconds at least (Red Book). The job leaves it to the drive what becomes of a
// shorter one: a strict drive refuses it before anything is on the disc.
TEST(ImageJob, ShortImagesAreUpToTheDrive) {
    for (const size_t bytes : {size_t{0}, size_t{1}, kSector - 1, kSector, kSector + 1,
                               15 * kSector, 17 * kSector + 5, 299 * kSector}) {
        SCOPED_TRACE(bytes);
        Bytes image = Payload(bytes, 1);
        JobBench bench;
        EXPECT_EQ(bench.RunImage(bench.AddFile("image", image)), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), Texts{kNotStarted});
        EXPECT_FALSE(bench.WasEjected());
        // Not a sector is lost: the next image goes on the same disc.
        const Bytes next = Payload(300 * kSector, 2);
        EXPECT_EQ(bench.RunImage(bench.AddFile("next", next)), JobEnd::Exit);
        EXPECT_EQ(ReadBack(bench, 300), next);

        // A drive that takes any session is sent the image's whole sectors.
        JobBench tolerant;
        Bytes sent;
        tolerant.onCommand = [&](const PortRequest& request) -> std::optional<InjectedAnswer> {
            constexpr uint8_t kBelowZero = 0xFF; // the pre-gap
            if (request.cdb[0] == mmc::kWrite10 && request.cdb[2] != kBelowZero) {
                const auto* data = static_cast<const uint8_t*>(request.data);
                sent.insert(sent.end(), data, data + request.length);
            }
            return request.cdb[0] == mmc::kWrite10 || request.cdb[0] == mmc::kSendCueSheet
                       ? std::optional<InjectedAnswer>(InjectedAnswer())
                       : std::nullopt;
        };
        EXPECT_EQ(tolerant.RunImage(tolerant.AddFile("image", image)), JobEnd::Exit);
        EXPECT_EQ(tolerant.ui.Texts(), Texts{});
        EXPECT_TRUE(tolerant.WasEjected());
        image.resize(bytes / kSector * kSector);
        EXPECT_EQ(sent, image);
        EXPECT_GT(tolerant.commands[mmc::kSynchronizeCache], 0);
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
        Bytes info(34);                                   // an empty disc
        std::fill_n(info.begin() + 16, 8, uint8_t{0xFF}); // whose lead-outs are not known
        bench.AnswerCommand(mmc::kReadDiscInformation, info);
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
}

TEST(ImageJob, AnImageThatChangesBehindTheDialog) {
    constexpr int kDeleted = -1;
    constexpr int kFolder = -2;
    const struct {
        int bytes; // what it has then, or what it is
        Texts texts;
        size_t sectors; // that are on the disc
    } cases[] = {{kDeleted, {kImageGone}, 0},
                 {kFolder, {kImageGone}, 0},
                 {400 * kSector + 5, {kImageShorter}, 400},
                 {401 * kSector, {kImageShorter}, 401},
                 {0, {kImageShorter}, 0},
                 {900 * kSector, {}, 800}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.bytes);
        JobBench bench;
        Bytes image = Payload(800 * kSector, 1);
        const std::u16string path = bench.AddFile("image", image);
        bench.ui.onDialog = [&] {
            if (test.bytes >= 0) {
                fs::resize_file(bench.Source() / "image", static_cast<uintmax_t>(test.bytes));
                return;
            }
            fs::remove(bench.Source() / "image");
            if (test.bytes == kFolder) {
                fs::create_directory(bench.Source() / "image");
            }
        };
        EXPECT_EQ(bench.RunImage(path), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), test.texts);
        EXPECT_EQ(bench.WasEjected(), test.texts != Texts{kImageGone});
        image.resize(test.sectors * kSector);
        Bytes written = bench.Track();
        written.resize(std::min(written.size(), image.size()));
        EXPECT_EQ(written, image);
    }
}

TEST(ImageJob, AReadFaultEndsIt) {
    for (const size_t failsAt : {size_t{0}, kSector, 399 * kSector, SIZE_MAX}) {
        SCOPED_TRACE(failsAt);
        MemoryFiles files(Payload(400 * kSector, 1));
        files.m_nMost = kSector - 1; // a read may bring less than was asked for
        files.m_nFailsAt = failsAt;
        JobBench bench("cd-r", 0, files);
        bench.ui.image.nCopies = 2;
        EXPECT_EQ(bench.RunImage(u"/image"), JobEnd::Exit);
        const bool whole = failsAt == SIZE_MAX;
        EXPECT_EQ(bench.ui.Texts(), Texts{whole ? NextCopyText(1, 2) : kReadFailed});
        EXPECT_EQ(bench.WasEjected(), whole);
        EXPECT_EQ(whole && bench.Track() == files.m_bytes, whole);
    }
}

TEST(ImageJob, AWriteFaultEndsItAndTheCacheIsEmptied) {
    JobBench bench;
    bench.ui.image.nCopies = 2;
    bench.FailCommand(mmc::kWrite10, 12, FailWith(3, 0x0C, 0)); // WRITE ERROR behind the pre-gap
    EXPECT_EQ(bench.RunImage(bench.AddFile("image", Payload(400 * kSector, 1))), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(), Texts{kWriteFailed});
    EXPECT_EQ(bench.commands[mmc::kWrite10], 12) << "nothing goes to a disc after that";
    EXPECT_EQ(bench.commands[mmc::kSynchronizeCache], 1);
    EXPECT_FALSE(bench.WasEjected());
}

TEST(ImageJob, CopiesOneAfterTheOther) {
    JobBench bench;
    const Bytes image = Payload(400 * kSector, 1);
    const std::u16string path = bench.AddFile("image", image);
    bench.ui.image.nCopies = 3;
    std::vector<std::string> discs{bench.disc};
    bench.ui.onBox = [&](const FakeUi::Box& box) {
        EXPECT_EQ(box.buttons, BoxButtons::OkCancel);
        const bool isNextCopy = box.text.starts_with(u"Written ");
        EXPECT_EQ(box.icon, isNextCopy ? BoxIcon::Question : BoxIcon::None);
        if (box.text == NextCopyText(1, 3)) {
            EXPECT_TRUE(bench.drive.Insert(discs[0])); // not another disc at all
        } else {
            bench.InsertNew("cd-r");
            discs.push_back(bench.disc);
        }
        return true;
    };
    EXPECT_EQ(bench.RunImage(path), JobEnd::Exit);
    const Texts texts = bench.ui.Texts();
    ASSERT_EQ(texts.size(), 3U);
    EXPECT_EQ(texts[0], NextCopyText(1, 3));
    EXPECT_EQ(texts[2], NextCopyText(2, 3));
    EXPECT_EQ(bench.ejects, 3);
    ASSERT_EQ(discs.size(), 3U);
    for (const std::string& disc : discs) {
        EXPECT_EQ(ReadFileBytes(disc + "/track-01.iso"), image);
    }
}

TEST(ImageJob, CopiesEndWithTheUserOrTheImage) {
    const struct {
        const char* name;
        bool again; // says the user after the first
        bool cancel;
        bool isGone;
        Texts texts;
        int ejects;
    } cases[] = {
        {"the prompt is cancelled", false, false, false, {NextCopyText(1, 20)}, 1},
        {"the second copy is cancelled", true, true, false, {NextCopyText(1, 20)}, 2},
        {"the image is gone", true, false, true, {NextCopyText(1, 20), kImageGone}, 1},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        JobBench bench;
        const std::u16string path = bench.AddFile("image", Payload(400 * kSector, 1));
        bench.ui.image.nCopies = 33; // held at 20
        bench.ui.onBox = [&](const FakeUi::Box& box) {
            if (box.text == NextCopyText(1, 20)) {
                bench.InsertNew("cd-r");
                if (test.isGone) {
                    fs::remove(bench.Source() / "image");
                }
            }
            return test.again;
        };
        bench.ui.onProgress = [&](JobKind kind, int percent) {
            if (test.cancel && bench.ejects == 1 && percent >= 50) {
                bench.ui.Cancel(kind);
            }
        };
        EXPECT_EQ(bench.RunImage(path), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), test.texts);
        EXPECT_EQ(bench.ejects, test.ejects);
    }
}

TEST(ImageJob, ADiscThatWouldBeWastedIsUpToTheUser) {
    constexpr uint64_t kSingleLayer = 2'300'000;
    const struct {
        const char* kind;
        uint64_t sectors;
        Texts questions;
    } cases[] = {
        {"dvd-r", 359'999, {kWasteDvd}},
        {"dvd-r", 360'000, {}},
        {"dvd-rw", 400, {}}, // can be erased
        {"dvd+r-dl", 400, {kWasteDvd, kWasteLayer}},
        {"dvd+r-dl", kSingleLayer - 1, {kWasteLayer}},
        {"dvd+r-dl", kSingleLayer, {}},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(Format("%s, %d", test.kind, static_cast<int>(test.sectors)));
        JobBench bench(test.kind);
        bench.ui.onBox = [](const FakeUi::Box& box) { return box.buttons == BoxButtons::YesNo; };
        bench.ui.onStatus = [&](JobKind kind, const std::u16string&) { bench.ui.Cancel(kind); };
        EXPECT_EQ(bench.RunImage(AddSparse(bench, test.sectors * kSector)), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), test.questions);
        EXPECT_EQ(bench.ui.Starts(JobKind::Image), 1);
    }
    for (const bool isThere : {true, false}) {
        JobBench bench("dvd-r");
        const Bytes image = Payload(400 * kSector, 1);
        bench.ui.onBox = [&](const FakeUi::Box& box) {
            const bool ok = box.buttons == BoxButtons::Ok && isThere;
            if (ok) {
                bench.InsertNew("cd-r");
            }
            // When the program goes away every answer is No, and OK is none.
            return ok || bench.ui.Texts().size() > 9;
        };
        EXPECT_EQ(bench.RunImage(bench.AddFile("image", image)), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(),
                  (Texts{kWasteDvd, u"Please insert another disk and press \"OK\"."}));
        EXPECT_EQ(bench.Track(), isThere ? image : Bytes());
    }
}

// What other programs make, and an image of our own with UDF, DVD-Video and boot data, on each kind
// of disc, blank or full before.
TEST(ImageJob, ImagesComeBackByteByByte) {
    const struct {
        const char* kind;
        bool finalized;   // before the job
        size_t questions; // that are answered with Yes: erase it, waste a DVD, waste a second layer
    } discs[] = {{"cd-r", false, 0},  {"cd-rw", false, 0},   {"cd-rw", true, 1},
                 {"dvd-r", false, 1}, {"dvd+r", false, 1},   {"dvd+rw", false, 0},
                 {"dvd+rw", true, 0}, {"dvd+r-dl", false, 2}};
    // Run where the files are; the image goes to $IMAGE.
    const std::string makers[] = {
        "xorriso -as mkisofs -quiet -R -J -V OTHER -o $IMAGE .",
        "truncate -s 3M $IMAGE && PATH=$PATH:/sbin:/usr/sbin mkudffs --blocksize=2048 $IMAGE",
        LARKSPIN_LAB " volume --udf --dvd-video --boot boot/loader --output $IMAGE "
                     "VIDEO_TS boot data && "
                     // The boot catalog is the one file that no source has.
                     "7z x -tUDF -o$IMAGE.out $IMAGE && rm $IMAGE.out/boot.catalog && "
                     "diff -r . $IMAGE.out",
    };
    // A video manager alone, whose backup lies nine sectors behind its own two.
    Bytes manager(2 * kSector);
    std::ranges::copy(std::string_view("DVDVIDEO-VMG"), manager.begin());
    StoreBe32(&manager[12], 12); // last sector of the set
    StoreBe32(&manager[28], 1);  // of the IFO
    StoreBe32(&manager[196], 1); // sector of the table of titles, which is empty
    Bytes loader = Payload(kSector, 3);
    loader[510] = 0x55;
    loader[511] = 0xAA;
    for (const auto& disc : discs) {
        for (const std::string& maker : makers) {
            SCOPED_TRACE(Format("%s on %s", maker.c_str(), disc.kind));
            JobBench bench(disc.kind);
            if (disc.finalized) {
                bench.Finalize();
            }
            bench.AddFile("VIDEO_TS/VIDEO_TS.IFO", manager);
            bench.AddFile("VIDEO_TS/VIDEO_TS.BUP", manager);
            bench.AddFile("boot/loader", loader);
            bench.AddFile("data/payload", Payload(1'500'001, 7));
            const std::string path = bench.folder.Path() + "/image";
            ASSERT_EQ(std::system(("(cd '" + bench.Source().string() + "' && IMAGE='" + path +
                                   "' && " + maker + ") >/dev/null 2>&1")
                                      .c_str()),
                      0);
            const Bytes image = ReadFileBytes(path);
            ASSERT_GT(image.size(), 300 * kSector);
            ASSERT_EQ(image.size() % kSector, 0U);
            bench.ui.onBox = [](const FakeUi::Box&) { return true; };
            EXPECT_EQ(bench.RunImage(ToWide(path)), JobEnd::Exit);
            EXPECT_EQ(bench.ui.Texts().size(), disc.questions);
            EXPECT_TRUE(ReadBack(bench, image.size() / kSector) == image);
        }
    }
}

} // namespace
} // namespace larkspin
