#include "job_bench.h"

#include <chrono>
#include <cstdlib>
#include <system_error>

namespace larkspin {
namespace {

using Texts = std::vector<std::u16string>;

constexpr const char16_t* kNotSuitable =
    u"The disk is not suitable for writing. It is finalized or doesn't have enough free space and "
    u"cannot be erased.\n\nPlease insert another disk and press \"OK\".";
constexpr const char16_t* kTooMuch = u"Too much data for conventional CD-R/RW.\n\n"
                                     u"Please insert a writable DVD disk and press \"OK\".";
constexpr const char16_t* kCapacity =
    u"Disk capacity is not enough to write so much data. You should probably try writing to a "
    u"DVD.\n\nPlease insert another disk and press \"OK\".";
constexpr const char16_t* kErase =
    u"The disk in the drive is not blank and doesn't have enough space for data.\n\n"
    u"Should Larkspin erase it for you?\n\n"
    u"If you say \"Yes\" all data on this disk will be LOST.";

// The files of this process, with something wrong about one of them.
class FaultyFiles final : public IFileSystem {
  public:
    std::u16string unopenable;                         // can't be opened
    std::function<void(const std::u16string&)> onOpen; // before each opening
    std::pair<std::u16string, uint64_t> sized;         // claims this size

    bool Status(const std::u16string& path, FileStatus* status) override {
        const bool found = PosixFiles().Status(path, status);
        if (found && path == sized.first) {
            status->size = sized.second;
        }
        return found;
    }
    bool IsReadable(const std::u16string& path) override { return PosixFiles().IsReadable(path); }
    bool Enumerate(const std::u16string& folder, std::vector<std::u16string>* names) override {
        return PosixFiles().Enumerate(folder, names);
    }
    std::unique_ptr<ISequentialFile> OpenSequential(const std::u16string& path) override {
        if (onOpen) {
            onOpen(path);
        }
        return path == unopenable ? nullptr : PosixFiles().OpenSequential(path);
    }
    std::unique_ptr<IMappedFile> Map(const std::u16string& path) override {
        return PosixFiles().Map(path);
    }
};

TEST(DataJob, WritesTheQueueToABlankCd) {
    JobBench bench;
    bench.AddFile("folder/deep/b.bin", Payload(123'457, 1));
    bench.AddFile("folder/a.txt", Payload(5, 2));
    bench.AddFile("folder/empty", {});
    const std::u16string single = bench.AddFile("Single Ünit \xff.dat", Payload(65'536, 3));
    bench.host.queue = {ToWide((bench.Source() / "folder").string()), single};
    EXPECT_EQ(bench.RunData(), JobEnd::Exit);

    EXPECT_EQ(bench.ui.Texts(), Texts{});
    EXPECT_EQ(bench.ui.Headers(), Texts{u"data header"});
    EXPECT_EQ(bench.ui.Statuses(JobKind::Data),
              (Texts{u"Initializing...", u"Writing data...", u"Writing lead-in and lead-out..."}));
    EXPECT_EQ(bench.ui.Progress(JobKind::Data), 100);
    EXPECT_EQ(bench.ui.DiskTypes(), std::vector<uint32_t>{9});
    EXPECT_EQ(bench.host.settingsLoads, 1);
    EXPECT_EQ(bench.host.clears, 1);
    EXPECT_TRUE(bench.WasEjected());
    EXPECT_FALSE(bench.drive.IsDoorLocked());

    // An independent reader gets every file back.
    const std::filesystem::path out = std::filesystem::path(bench.folder.Path()) / "out";
    std::filesystem::create_directory(out);
    ASSERT_EQ(std::system(("bsdtar -xf '" + bench.disc + "/track-01.iso' -C '" + out.string() +
                           "' && cp -r '" + bench.Source().string() + "/Single Ünit \xff.dat' '" +
                           bench.folder.Path() + "/expected' && diff -r '" +
                           bench.Source().string() + "' '" + out.string() + "' >&2")
                              .c_str()),
              0);
    EXPECT_TRUE(bench.IsClosed());
}

TEST(DataJob, AShortVolumeIsPaddedTo300Sectors) {
    JobBench bench;
    bench.host.queue = {bench.AddFile("empty", {})};
    EXPECT_EQ(bench.RunData(), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(), Texts{});
    const FileBytes track = bench.Track();
    EXPECT_EQ(track.size(), 300U * 2048);
    EXPECT_TRUE(
        std::all_of(track.end() - 100 * 2048, track.end(), [](uint8_t byte) { return byte == 0; }));
    EXPECT_TRUE(bench.IsClosed());
}

TEST(DataJob, LeavesBeforeTheDisc) {
    struct Case {
        const char* name;
        bool cancelled;
        bool exclusive;
        uint32_t drive;
        JobEnd end;
    };
    for (const Case& test :
         {Case{"cancelled", true, false, 0, JobEnd::Idle},
          Case{"cancelled by a feeding program's user", true, true, 0, JobEnd::Exit},
          Case{"a drive that isn't there", false, false, 5, JobEnd::Idle}}) {
        SCOPED_TRACE(test.name);
        JobBench bench;
        bench.host.queue = {bench.AddFile("a", Payload(10, 1))};
        bench.host.exclusive = test.exclusive;
        bench.ui.data.bCancelled = test.cancelled;
        bench.ui.data.nDriveIndex = test.drive;
        EXPECT_EQ(bench.RunData(), test.end);
        EXPECT_EQ(bench.ui.Texts(), Texts{});
        EXPECT_EQ(bench.host.clears, 0) << "the queue is kept";
        EXPECT_FALSE(bench.WasEjected());
    }
}

TEST(DataCheck, PromptsUntilTheDiscFitsOrTheUserGivesUp) {
    struct Case {
        const char* name;
        const char* kind;
        uint32_t capacity;
        uint64_t bytes; // that the one file claims
        bool finalize;
        const char16_t* text;
        BoxButtons buttons;
    };
    constexpr uint64_t kSector = 2048;
    for (const Case& test :
         {Case{"no disc for so much", "cd-r", 0, 360'000 * kSector + 1, false, kTooMuch,
               BoxButtons::OkCancel},
          Case{"a small blank disc", "cd-r", 1000, 1001 * kSector, false, kCapacity,
               BoxButtons::OkCancel},
          Case{"a closed CD-R", "cd-r", 0, 1000, true, kNotSuitable, BoxButtons::OkCancel},
          Case{"a closed CD-RW", "cd-rw", 0, 1000, true, kErase, BoxButtons::YesNo},
          Case{"a closed CD-RW and too much for any CD", "cd-rw", 0, 360'001 * kSector, true,
               kNotSuitable, BoxButtons::OkCancel}}) {
        SCOPED_TRACE(test.name);
        JobBench bench(test.kind, test.capacity);
        if (test.finalize) {
            bench.Finalize();
        }
        FaultyFiles files;
        JobEnv env{bench.host, bench.ui, bench.drives, files, bench.clock};
        const std::u16string file = bench.AddFile("claims", Payload(10, 1));
        files.sized = {file, test.bytes};
        bench.host.queue = {file};
        int asked = 0;
        bench.ui.onBox = [&](const FakeUi::Box& box) {
            EXPECT_EQ(box.text, test.text);
            EXPECT_EQ(box.buttons, test.buttons);
            EXPECT_EQ(box.title, u"Larkspin 1.4");
            EXPECT_EQ(box.icon, BoxIcon::None);
            // OK with the same disc brings the same box; the erase question would erase.
            return ++asked < 3 && test.buttons == BoxButtons::OkCancel;
        };
        EXPECT_EQ(bench.Run([&] { return DataJob(env); }), JobEnd::Exit);
        EXPECT_EQ(asked, test.buttons == BoxButtons::OkCancel ? 3 : 1);
        EXPECT_EQ(bench.host.clears, 0);
        EXPECT_FALSE(bench.WasEjected());
    }
}

TEST(DataCheck, AnotherDiscPutsThingsRight) {
    JobBench bench("cd-r");
    bench.Finalize();
    const FileBytes bytes = Payload(5000, 1);
    bench.host.queue = {bench.AddFile("a", bytes)};
    bench.ui.onBox = [&](const FakeUi::Box&) {
        bench.InsertNew("cd-r");
        return true;
    };
    EXPECT_EQ(bench.RunData(), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(), Texts{kNotSuitable});
    EXPECT_TRUE(HoldsAtSector(bench.Track(), bytes));
}

TEST(DataCheck, AVolumeThatOutgrowsItsEstimateIsRefusedBeforeTheDiscIsTouched) {
    JobBench bench("cd-r", 1000);
    bench.host.queue = {bench.AddFile("a", Payload(999 * 2048, 1))};
    EXPECT_EQ(bench.RunData(), JobEnd::Exit);
    ASSERT_EQ(bench.ui.Texts().size(), 1U);
    EXPECT_TRUE(bench.ui.Texts()[0].starts_with(
        u"The size of selected files exceeds disk capacity by 0Mb."));
    EXPECT_TRUE(bench.Track().empty());
    EXPECT_FALSE(bench.drive.IsDoorLocked());
}

TEST(InJobErase, BlanksTheDiscAndGoesOn) {
    JobBench bench("cd-rw");
    bench.Finalize();
    const FileBytes bytes = Payload(5000, 1);
    bench.host.queue = {bench.AddFile("a", bytes)};
    bench.drive.SetSpeed({.longOperationMs = 3000});
    bench.ui.onBox = [](const FakeUi::Box&) { return true; };
    EXPECT_EQ(bench.RunData(), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(), Texts{kErase});
    EXPECT_EQ(bench.ui.Starts(JobKind::Erase), 1);
    EXPECT_TRUE(HoldsAtSector(bench.Track(), bytes));
    EXPECT_EQ(bench.ui.DiskTypes().back(), 10U);
}

TEST(InJobErase, ACancelWhileTheDriveGoesOnGivesUp) {
    JobBench bench("cd-rw");
    bench.Finalize();
    bench.host.queue = {bench.AddFile("a", Payload(5000, 1))};
    bench.drive.SetSpeed({.longOperationMs = 60'000});
    bench.ui.onBox = [](const FakeUi::Box&) { return true; };
    bench.clock.SetOnSleep([&] { bench.ui.Cancel(JobKind::Erase); });
    EXPECT_EQ(bench.RunData(), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(), Texts{kErase});
    EXPECT_EQ(bench.host.clears, 0) << "nothing was written";
    EXPECT_FALSE(bench.WasEjected());
}

TEST(DataJob, ACancelAtAnyMomentLeavesTheDiscAsItStands) {
    // Cancel at the n-th word that the job says, until a run says no n-th word.
    bool cancelled = true;
    for (int moment = 1; cancelled; ++moment) {
        SCOPED_TRACE(moment);
        JobBench bench;
        bench.host.queue = {bench.AddFile("a", Payload(3'000'000, 1))};
        int words = 0;
        cancelled = false;
        bool closing = false;
        const auto word = [&] {
            if (++words == moment) {
                bench.ui.Cancel(JobKind::Data);
                cancelled = true;
            }
        };
        bench.ui.onStatus = [&](JobKind, const std::u16string& text) {
            closing = closing || text.starts_with(u"Writing lead-in");
            word();
        };
        bench.ui.onProgress = [&](JobKind, int) { word(); };
        EXPECT_EQ(bench.RunData(), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), Texts{}) << "a cancel is no failure";
        EXPECT_FALSE(bench.drive.IsDoorLocked());
        EXPECT_TRUE(bench.WasEjected());
        EXPECT_EQ(bench.IsClosed(), closing);
        ASSERT_LT(moment, 1000);
    }
}

// A folder that takes minutes to look through, once the estimate has been made.
class SlowFiles final : public IFileSystem {
  public:
    std::atomic<bool> slow = false;

    bool Status(const std::u16string& path, FileStatus* status) override {
        if (slow) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return PosixFiles().Status(path.substr(0, path.find(u"/name")), status);
    }
    bool IsReadable(const std::u16string&) override { return true; }
    bool Enumerate(const std::u16string&, std::vector<std::u16string>* names) override {
        names->resize(slow ? 1'000'000 : 0, u"name");
        return true;
    }
    std::unique_ptr<ISequentialFile> OpenSequential(const std::u16string&) override {
        return nullptr;
    }
    std::unique_ptr<IMappedFile> Map(const std::u16string&) override { return nullptr; }
};

TEST(DataJob, ALongScanDoesNotHoldUpACancel) {
    JobBench bench;
    SlowFiles files;
    JobEnv env{bench.host, bench.ui, bench.drives, files, bench.clock};
    bench.host.queue = {ToWide(bench.folder.Path())};
    env.startThread = [&](std::function<void()> body) {
        files.slow = true;
        bench.ui.Cancel(JobKind::Data);
        return std::thread(std::move(body));
    };
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(bench.Run([&] { return DataJob(env); }), JobEnd::Exit);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
    EXPECT_EQ(bench.ui.Texts(), Texts{});
    EXPECT_TRUE(bench.Track().empty());
    EXPECT_TRUE(bench.WasEjected());
}

TEST(DataJob, GeneratorFailures) {
    {
        JobBench bench;
        bench.host.queue = {bench.AddFile("a", Payload(10, 1))};
        bench.env.startThread = [](std::function<void()>) -> std::thread {
            throw std::system_error(
                std::make_error_code(std::errc::resource_unavailable_try_again));
        };
        EXPECT_EQ(bench.RunData(), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), Texts{u"Internal error #175."});
        EXPECT_FALSE(bench.WasEjected());
    }
    {
        JobBench bench;
        bench.host.queue = {}; // emptied between the request and the copy
        EXPECT_EQ(bench.RunData(), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), (Texts{u"Internal error #176.", u"No files to write."}))
            << "the number, and at the end the reason";
        EXPECT_FALSE(bench.WasEjected());
        EXPECT_TRUE(bench.Track().empty());
    }
    {
        JobBench bench;
        FaultyFiles files;
        JobEnv env{bench.host, bench.ui, bench.drives, files, bench.clock};
        const std::u16string gone = bench.AddFile("z", Payload(40'000, 1));
        bench.host.queue = {bench.AddFile("a", Payload(10, 2)), gone};
        files.unopenable = gone;
        EXPECT_EQ(bench.Run([&] { return DataJob(env); }), JobEnd::Exit);
        ASSERT_EQ(bench.ui.Texts().size(), 1U);
        EXPECT_TRUE(bench.ui.Texts()[0].starts_with(
            u"Disk creation failed with following error:\n\nCannot open \""));
        EXPECT_TRUE(bench.WasEjected());
        EXPECT_TRUE(bench.IsClosed()) << "with what was written";
    }
}

// On media that are written in place the old volume stays the one that is found until the new one
// is whole.
TEST(DataJob, AVolumeThatWasCutShortDoesNotReplaceTheOldOne) {
    JobBench bench("dvd+rw");
    const auto insertAgain = [&bench] {
        ASSERT_TRUE(bench.drive.Insert(bench.disc));
        bench.Drive().ReadDiskInfo(); // takes the news of another disc
        bench.Drive().ReadDiskInfo();
    };
    const auto descriptors = [&bench] {
        FileBytes blocks(size_t{16} * 2048);
        EXPECT_TRUE(bench.Drive().ReadBlocks(blocks.data(), 16, 16));
        return blocks;
    };
    bench.host.queue = {bench.AddFile("old", Payload(100'000, 1))};
    EXPECT_EQ(bench.RunData(), JobEnd::Exit);
    ASSERT_EQ(bench.ui.Texts(), Texts{});
    ASSERT_NO_FATAL_FAILURE(insertAgain());
    const FileBytes before = descriptors();

    FaultyFiles files;
    JobEnv env{bench.host, bench.ui, bench.drives, files, bench.clock};
    const std::u16string gone = bench.AddFile("z", Payload(40'000, 2));
    bench.host.queue = {bench.AddFile("a", Payload(500'000, 3)), gone};
    files.unopenable = gone;
    EXPECT_EQ(bench.Run([&] { return DataJob(env); }), JobEnd::Exit);
    ASSERT_EQ(bench.ui.Texts().size(), 1U);
    EXPECT_TRUE(bench.ui.Texts()[0].starts_with(u"Cannot open \""));
    ASSERT_NO_FATAL_FAILURE(insertAgain());
    EXPECT_TRUE(descriptors() == before);
}

// A drive that was left in session-at-once mode counts a blank disc from its pre-gap on.
TEST(DataJob, ANextAddressBeforeTheDiscMeansABlankOne) {
    JobBench bench;
    const FileBytes bytes = Payload(900'000, 1);
    bench.host.queue = {bench.AddFile("a", bytes)};
    bench.drive.SetScript(
        [](const PortRequest& request, uint64_t) -> std::optional<InjectedAnswer> {
            constexpr uint8_t kReadTrackInformation = 0x52;
            if (request.cdb[0] != kReadTrackInformation) {
                return std::nullopt;
            }
            FileBytes track(36);
            track[6] = 0x40;                          // blank
            track[7] = 1;                             // the next address is valid:
            track[12] = track[13] = track[14] = 0xFF; // -150
            track[15] = 0x6A;
            std::copy_n(track.begin(), std::min<size_t>(request.length, track.size()),
                        static_cast<uint8_t*>(request.data));
            return InjectedAnswer{};
        });
    EXPECT_EQ(bench.RunData(), JobEnd::Exit);
    bench.drive.SetScript(nullptr);
    EXPECT_EQ(bench.ui.Texts(), Texts{});
    EXPECT_TRUE(HoldsAtSector(bench.Track(), bytes));
    EXPECT_TRUE(bench.IsClosed());
}

TEST(DataJob, TheTitleGoesOnTheDisc) {
    JobBench bench;
    bench.ui.data.strTitle = u"Ünit 1";
    bench.host.queue = {bench.AddFile("a", Payload(10, 1))};
    bench.RunData();
    const FileBytes track = bench.Track();
    ASSERT_GT(track.size(), 18U * 2048);
    const std::string id(track.begin() + 16 * 2048 + 40, track.begin() + 16 * 2048 + 72);
    EXPECT_EQ(id.substr(0, id.find_last_not_of(' ') + 1), "_NIT_1");
}

} // namespace
} // namespace larkspin
