// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The image job, row by row: what is written, what is refused, and what the user is told.
#include "job_bench.h"
#include "support/memory_files.h"

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
constexpr const char16_t* kNotStarted = u"Internal error #563. Unable to initiate recording.";
constexpr const char16_t* kReadFailed =
    u"Internal error #564. Reading of image failed. Writing process aborted.";
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
    JobBench bench;
    for (const size_t bytes :
         {size_t{0}, size_t{1}, kSector - 1, 17 * kSector + 5, 299 * kSector}) {
        SCOPED_TRACE(bytes);
        EXPECT_EQ(bench.RunImage(bench.AddFile("image", Payload(bytes, 1))), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts().back(), kNotStarted);
        EXPECT_FALSE(bench.WasEjected());
    }
    // Not a sector is lost: the next image goes on the same disc.
    const Bytes next = Payload(300 * kSector, 2);
    EXPECT_EQ(bench.RunImage(bench.AddFile("next", next)), JobEnd::Exit);
    EXPECT_EQ(bench.Track(), next);
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
        Texts texts;
        bool written;
    } cases[] = {
        {false, 400 * kSector, {kUnidentified}, false},
        {true, 400 * kSector, {kUnidentified}, true},
        {true, kBeyondAnyLeadOut, {kUnidentified, kNotStarted}, false},
    };
    for (const auto& test : cases) {
        JobBench bench;
        Bytes info(34);                                   // an empty disc
        std::fill_n(info.begin() + 16, 8, uint8_t{0xFF}); // whose lead-outs are not known
        bench.AnswerCommand(mmc::kReadDiscInformation, info);
        bench.ui.onBox = [&](const FakeUi::Box& box) {
            EXPECT_TRUE(box.text != kUnidentified || box.buttons == BoxButtons::YesNoGuarded);
            return test.goOn;
        };
        EXPECT_EQ(bench.RunImage(AddSparse(bench, test.bytes)), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), test.texts);
        EXPECT_EQ(bench.WasEjected(), test.written);
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
    } cases[] = {{kDeleted, {kImageGoneText}, 0},
                 {kFolder, {kImageGoneText}, 0},
                 {400 * kSector + 5, {kImageShorter}, 400},
                 {401 * kSector, {kImageShorter}, 401},
                 {0, {kImageShorter}, 0},
                 {900 * kSector, {}, 800}};
    for (const char* kind : {"cd-r", "dvd+rw", "bd-re"}) {
        for (const auto& test : cases) {
            SCOPED_TRACE(Format("%s, %d", kind, test.bytes));
            JobBench bench(kind);
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
            EXPECT_EQ(bench.WasEjected(), test.texts != Texts{kImageGoneText});
            image.resize(test.sectors * kSector);
            Bytes written = bench.Track();
            written.resize(std::min(written.size(), image.size()));
            EXPECT_EQ(written, image);
        }
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

std::u16string WasteBd(const std::u16string& smaller) {
    return u"You are going to write Blu-ray disk, but image size is small enough to fit " +
           smaller + u" disk.\n\nShould Larkspin ignore this and proceed with writing anyway?";
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
        {"bd-r", 359'999, {WasteBd(u"CD-R/RW")}},
        {"bd-r", 360'000, {WasteBd(u"DVD")}},
        {"bd-r", kSingleLayer, {}},
        {"bd-re", 400, {}},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(Format("%s, %d", test.kind, static_cast<int>(test.sectors)));
        JobBench bench(test.kind);
        bench.ui.onBox = [](const FakeUi::Box& box) {
            return box.buttons == BoxButtons::YesNoGuarded;
        };
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

} // namespace
} // namespace larkspin
