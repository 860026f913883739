// The data, image and erase jobs on each kind of DVD.
#include "job_bench.h"

#include <chrono>
#include <cstdlib>
#include <map>

namespace larkspin {
namespace {

using Texts = std::vector<std::u16string>;

constexpr uint8_t kWrite = 0x2A;
constexpr uint8_t kFlush = 0x35;
constexpr uint8_t kReadDiscInfo = 0x51;
constexpr uint8_t kReserve = 0x53;
constexpr uint8_t kClose = 0x5B;

// Bytes 0 to 7 of READ DISC INFORMATION, with the disc back in the drive.
FileBytes DiscInformation(JobBench& bench) {
    EXPECT_TRUE(bench.drive.Insert(bench.disc));
    const std::vector<uint8_t> cdb = {kReadDiscInfo, 0, 0, 0, 0, 0, 0, 0, 8, 0};
    FileBytes data(8);
    PortRequest request;
    request.cdb = cdb;
    request.direction = PortDirection::In;
    request.data = data.data();
    request.length = static_cast<uint32_t>(data.size());
    while (bench.drive.Execute(request).sense[2] == 6) {
    }
    return data;
}

// State of the disc and of its last session, and 16 if it is erasable.
int DiscStatus(JobBench& bench) {
    return DiscInformation(bench)[2];
}

constexpr int kBlank = 0x00;
constexpr int kAppendable = 0x01;
constexpr int kSessionOpen = 0x05;
constexpr int kComplete = 0x0E;
constexpr int kErasable = 0x10;

struct Kind {
    const char* name;
    int blank;   // state of a new disc
    int written; // and with a volume on it
    bool inPlace;
};

constexpr Kind kKinds[] = {
    {"dvd-r", kBlank, kAppendable, false},
    {"dvd-rw", kErasable | kBlank, kErasable | kAppendable, false},
    {"dvd+r", kBlank, kAppendable, false},
    {"dvd+r-dl", kBlank, kAppendable, false},
    {"dvd+rw", kErasable | kBlank, kErasable | kComplete, true},
    {"dvd-ram", kErasable | kBlank, kErasable | 0x0F, true},
    {"dvd-rw-ow", kErasable | kComplete, kErasable | kComplete, true},
};

// Says yes to all; nobody minds a disc that is larger than needed.
void SayYes(JobBench& bench) {
    bench.ui.onBox = [](const FakeUi::Box&) { return true; };
}

// True if the track begins with these bytes and is filled up with zeros to whole chunks.
bool IsImage(const FileBytes& track, const FileBytes& image) {
    return track.size() == (image.size() + 32'767) / 32'768 * 32'768 &&
           std::equal(image.begin(), image.end(), track.begin()) &&
           std::all_of(track.begin() + static_cast<std::ptrdiff_t>(image.size()), track.end(),
                       [](uint8_t byte) { return byte == 0; });
}

void ExpectExtracted(JobBench& bench, const std::string& extract) {
    const std::filesystem::path out = std::filesystem::path(bench.folder.Path()) / "out";
    std::filesystem::create_directory(out);
    const std::string line = "cd '" + out.string() + "' && " + extract + " && diff -r '" +
                             bench.Source().string() + "' '" + out.string() + "' >&2";
    EXPECT_EQ(std::system(line.c_str()), 0) << line;
}

TEST(DvdData, AVolumeOnEachKindAndAnotherBehindIt) {
    for (const Kind& kind : kKinds) {
        SCOPED_TRACE(kind.name);
        JobBench bench(kind.name);
        EXPECT_EQ(DiscStatus(bench), kind.blank);
        bench.host.queue = {bench.AddFile("first.bin", Payload(200'001, 1))};
        EXPECT_EQ(bench.RunData(), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), Texts{});
        EXPECT_EQ(bench.ui.Statuses(JobKind::Data),
                  (Texts{u"Initializing...", u"Writing data...", u"Finalizing disk..."}));
        EXPECT_GE(bench.ui.Progress(JobKind::Data), 90) << "all but the last chunk";
        EXPECT_TRUE(bench.WasEjected());
        EXPECT_FALSE(bench.drive.IsDoorLocked());
        EXPECT_EQ(DiscStatus(bench), kind.written);
        ExpectExtracted(bench, "bsdtar -xf '" + bench.disc + "/track-01.iso'");
        bench.host.queue = {bench.AddFile("second.bin", Payload(300'001, 2))};
        EXPECT_EQ(bench.RunData(), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), Texts{});
        EXPECT_EQ(DiscStatus(bench), kind.written);
        if (kind.inPlace) {
            ExpectExtracted(bench, "bsdtar -xf '" + bench.disc + "/track-01.iso'");
            continue;
        }
        // The disc as a reader sees it: the second session where its track begins.
        int32_t start = 0;
        bench.Drive().ReadDiskInfo(); // takes the news of another disc
        ASSERT_EQ(bench.Drive().ReadMultiSessionStart(&start), 0);
        const std::string tracks = bench.disc + "/track-0";
        const std::string image = bench.folder.Path() + "/image";
        ExpectExtracted(bench, "dd status=none conv=sparse if='" + tracks + "1.iso' of='" + image +
                                   "' && dd status=none bs=2048 conv=notrunc seek=" +
                                   std::to_string(start) + " if='" + tracks + "2.iso' of='" +
                                   image + "' && xorriso -report_about FAILURE -load sbsector " +
                                   std::to_string(start) + " -osirrox on -indev 'stdio:" + image +
                                   "' -extract / . && chmod u+w .");
    }
}

TEST(DvdData, TwoLayersOfTheDashFamilyAreNoDiscForTheJob) {
    // Its profile is none of those that are written as a DVD, and it is no CD either.
    JobBench bench("dvd-r-dl");
    bench.host.queue = {bench.AddFile("a", Payload(5000, 1))};
    EXPECT_EQ(bench.RunData(), JobEnd::Exit);
    EXPECT_FALSE(bench.ui.Texts().empty());
    EXPECT_EQ(DiscStatus(bench), kBlank);
}

TEST(DvdImage, EachLengthOnEachKind) {
    for (const Kind& kind : kKinds) {
        for (const size_t blocks : {32U, 33U, 47U, 48U, 49U}) {
            SCOPED_TRACE(Format("%s, %d blocks", kind.name, static_cast<int>(blocks)));
            JobBench bench(kind.name);
            SayYes(bench);
            const FileBytes image = Payload(blocks * 2048, static_cast<uint32_t>(blocks));
            EXPECT_EQ(bench.RunImage(bench.AddFile("image", image)), JobEnd::Exit);
            EXPECT_TRUE(IsImage(bench.Track(), image));
            EXPECT_EQ(DiscStatus(bench), kind.written);
            EXPECT_EQ(DiscInformation(bench)[7] & 3,
                      std::string_view(kind.name) == "dvd+rw" ? 1 : 0)
                << "the background format was stopped";
        }
        // What is too short to hold a volume is not begun.
        JobBench bench(kind.name);
        SayYes(bench);
        EXPECT_EQ(bench.RunImage(bench.AddFile("image", Payload(2048, 1))), JobEnd::Exit);
        EXPECT_EQ(bench.Track(), FileBytes());
        EXPECT_EQ(DiscStatus(bench), kind.blank);
    }
}

TEST(DvdImage, AHundredMegabytesOnEachKind) {
    constexpr size_t bytes = size_t{100} << 20;
    const FileBytes image = Payload(bytes + 2048, 7);
    for (const Kind& kind : kKinds) {
        SCOPED_TRACE(kind.name);
        JobBench bench(kind.name);
        SayYes(bench);
        const std::u16string path = bench.AddFile("image", image);
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(bench.RunImage(path), JobEnd::Exit);
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
        RecordProperty(kind.name, Format("%.0f MB/s", 100 / time.count()));
        EXPECT_TRUE(IsImage(bench.Track(), image));
    }
}

TEST(DvdData, AMinimallyBlankedDiscIsWrittenInOneGo) {
    JobBench bench("dvd-rw");
    EXPECT_EQ(bench.RunErase(), JobEnd::Exit);
    ASSERT_TRUE(bench.drive.Insert(bench.disc));
    std::map<uint8_t, int> commands;
    bench.drive.SetScript([&](const PortRequest& request, uint64_t) {
        ++commands[request.cdb[0]];
        return std::optional<InjectedAnswer>();
    });
    const FileBytes payload = Payload(150'000, 2);
    bench.host.queue = {bench.AddFile("new", payload)};
    EXPECT_EQ(bench.RunData(), JobEnd::Exit);
    bench.drive.SetScript(nullptr);
    EXPECT_EQ(bench.ui.Texts(), Texts{});
    EXPECT_EQ(commands[kReserve], 1) << "the size is known";
    EXPECT_EQ(commands[kClose], 0) << "the last flush closes the disc";
    EXPECT_GE(commands[kFlush], 1);
    EXPECT_TRUE(HoldsAtSector(bench.Track(), payload));
    EXPECT_EQ(DiscStatus(bench), kErasable | kComplete);

    // It is full now: the job offers to erase it, and writes in one go again.
    SayYes(bench);
    bench.host.queue = {bench.AddFile("new", Payload(150'000, 3))};
    EXPECT_EQ(bench.RunData(), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts().size(), 1U);
    EXPECT_TRUE(HoldsAtSector(bench.Track(), Payload(150'000, 3)));
    EXPECT_EQ(DiscStatus(bench), kErasable | kComplete);
}

TEST(DvdData, AQuickFormattedDiscGrowsAndItsSessionIsClosed) {
    JobBench bench("dvd-rw");
    const std::vector<uint8_t> cdb = {0x04, 0x11, 0, 0, 0, 0};
    FileBytes list = {0, 0, 0, 8, 0, 0, 0, 0, 0x15 << 2, 0, 0, 16}; // quick format
    PortRequest request;
    request.cdb = cdb;
    request.direction = PortDirection::Out;
    request.data = list.data();
    request.length = static_cast<uint32_t>(list.size());
    while (bench.drive.Execute(request).sense[2] == 6) {
    }
    EXPECT_EQ(DiscStatus(bench), kErasable | kSessionOpen);
    bench.host.queue = {bench.AddFile("first.bin", Payload(100'000, 1))};
    EXPECT_EQ(bench.RunData(), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(), Texts{});
    EXPECT_EQ(DiscStatus(bench), kErasable | kComplete);
    // The second volume outgrows what is formatted by now.
    bench.host.queue = {bench.AddFile("second.bin", Payload(900'000, 2))};
    EXPECT_EQ(bench.RunData(), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts(), Texts{});
    EXPECT_EQ(DiscStatus(bench), kErasable | kComplete);
    ExpectExtracted(bench, "bsdtar -xf '" + bench.disc + "/track-01.iso'");
}

TEST(DvdData, ASlowDriveIsWaitedFor) {
    // 2.4x on a buffer of 512 KB: every block once, and no more commands than the waits need.
    for (const char* kind : {"dvd+r", "dvd-r", "dvd+rw", "dvd-ram"}) {
        SCOPED_TRACE(kind);
        JobBench bench(kind);
        bench.drive.SetSpeed({.bufferKB = 512, .speedFactor = 1.0, .longOperationMs = 500});
        bench.ui.data.dSpeed = 2.4;
        const FileBytes payload = Payload(8'000'000, 1);
        bench.host.queue = {bench.AddFile("big", payload)};
        uint64_t writes = 0;
        bench.drive.SetScript([&](const PortRequest& request, uint64_t) {
            writes += request.cdb[0] == kWrite ? 1 : 0;
            return std::optional<InjectedAnswer>();
        });
        EXPECT_EQ(bench.RunData(), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), Texts{});
        EXPECT_TRUE(HoldsAtSector(bench.Track(), payload));
        const uint64_t chunks = bench.Track().size() / 32'768;
        EXPECT_LE(writes, 2 * chunks) << "about one wait for half a buffer";
        const int64_t leastMs = static_cast<int64_t>(payload.size()) / 3324;
        EXPECT_GE(bench.clock.TotalSleep(), leastMs - 200) << "the disc takes its time";
        EXPECT_LE(bench.clock.TotalSleep(), 2 * leastMs + 20'000);
    }
}

TEST(DvdData, AFailedWriteIsToldAndTheSessionClosed) {
    for (const Kind& kind : kKinds) {
        SCOPED_TRACE(kind.name);
        JobBench bench(kind.name);
        bench.host.queue = {bench.AddFile("big", Payload(1'000'000, 1))};
        int writes = 0;
        bench.drive.SetScript([&](const PortRequest& request, uint64_t) {
            return request.cdb[0] == kWrite && ++writes == 5
                       ? std::optional<InjectedAnswer>(FailWith(3, 0x0C, 0))
                       : std::nullopt;
        });
        EXPECT_EQ(bench.RunData(), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), Texts{u"Stopped: write error"});
        EXPECT_TRUE(bench.WasEjected());
        EXPECT_FALSE(bench.drive.IsDoorLocked());
        bench.drive.SetScript(nullptr);
        // Two layers of the plus family: the failure leaves nothing marked as written, so that
        // nothing is closed.
        const bool isLeftOpen = std::string_view(kind.name) == "dvd+r-dl";
        EXPECT_EQ(DiscStatus(bench), isLeftOpen ? kSessionOpen : kind.written);
    }
}

TEST(DvdData, ACancelInEachPhaseLeavesAClosedDisc) {
    for (const Kind& kind : kKinds) {
        for (const std::u16string status :
             {u"Initializing...", u"Writing data...", u"Finalizing disk..."}) {
            SCOPED_TRACE(Format("%s, %s", kind.name, ToNative(status).c_str()));
            JobBench bench(kind.name);
            bench.host.queue = {bench.AddFile("big", Payload(1'000'000, 1))};
            bench.ui.onStatus = [&](JobKind job, const std::u16string& text) {
                if (text == status) {
                    bench.ui.Cancel(job);
                }
            };
            EXPECT_EQ(bench.RunData(), JobEnd::Exit);
            EXPECT_EQ(bench.ui.Texts(), Texts{});
            EXPECT_TRUE(bench.WasEjected());
            EXPECT_FALSE(bench.drive.IsDoorLocked());
            EXPECT_EQ(DiscStatus(bench),
                      status == u"Finalizing disk..." ? kind.written : kind.blank);
        }
        JobBench bench(kind.name);
        bench.host.queue = {bench.AddFile("big", Payload(1'000'000, 1))};
        bench.ui.onProgress = [&](JobKind job, int percent) {
            if (percent >= 50) {
                bench.ui.Cancel(job);
            }
        };
        EXPECT_EQ(bench.RunData(), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), Texts{});
        EXPECT_FALSE(bench.drive.IsDoorLocked());
        EXPECT_EQ(DiscStatus(bench), kind.written) << kind.name << " in the middle";
    }
}

// --- erasing ---

TEST(DvdErase, PlusRwIsOverwritten) {
    constexpr uint32_t capacity = 2048;
    for (const EraseMode mode : {EraseMode::Quick, EraseMode::Full}) {
        SCOPED_TRACE(static_cast<int>(mode));
        JobBench bench("dvd+rw", capacity);
        bench.host.queue = {bench.AddFile("a", Payload(1'000'000, 1))};
        EXPECT_EQ(bench.RunData(), JobEnd::Exit);
        const FileBytes before = bench.Track();
        ASSERT_TRUE(bench.drive.Insert(bench.disc));
        bench.ui.erase.mode = mode;
        EXPECT_EQ(bench.RunErase(), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), Texts{}) << "the end of the disc is the end of a full erase";
        EXPECT_TRUE(bench.WasEjected());
        EXPECT_FALSE(bench.drive.IsDoorLocked());
        FileBytes expected = before;
        if (mode == EraseMode::Full) {
            expected.assign(size_t{capacity} * 2048, 0);
        } else {
            std::fill_n(expected.begin(), 65'536, uint8_t{0});
        }
        EXPECT_TRUE(bench.Track() == expected);
        EXPECT_EQ(DiscInformation(bench)[7] & 3, mode == EraseMode::Full ? 3 : 1);
    }
}

TEST(DvdErase, OnlyAQuickEraseComplainsOfTheEnd) {
    for (const EraseMode mode : {EraseMode::Quick, EraseMode::Full}) {
        SCOPED_TRACE(static_cast<int>(mode));
        JobBench bench("dvd+rw", 2048);
        bench.ui.erase.mode = mode;
        int writes = 0;
        bool wasClosed = false;
        bench.drive.SetScript([&](const PortRequest& request, uint64_t) {
            wasClosed = wasClosed || request.cdb[0] == kClose;
            return request.cdb[0] == kWrite && ++writes == 2
                       ? std::optional<InjectedAnswer>(FailWith(3, 0x0C, 0))
                       : std::nullopt;
        });
        EXPECT_EQ(bench.RunErase(), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(),
                  mode == EraseMode::Full ? Texts{} : Texts{u"Stopped: write error."});
        EXPECT_TRUE(wasClosed) << "the finisher that the failure skipped";
        EXPECT_TRUE(bench.WasEjected());
    }
}

TEST(DvdErase, DvdRwIsBlankedFromBothWaysOfRecording) {
    for (const char* kind : {"dvd-rw", "dvd-rw-ow"}) {
        for (const EraseMode mode : {EraseMode::Quick, EraseMode::Full}) {
            SCOPED_TRACE(Format("%s, %d", kind, static_cast<int>(mode)));
            JobBench bench(kind);
            bench.host.queue = {bench.AddFile("a", Payload(100'000, 1))};
            EXPECT_EQ(bench.RunData(), JobEnd::Exit);
            ASSERT_TRUE(bench.drive.Insert(bench.disc));
            bench.drive.SetSpeed({.longOperationMs = 3000});
            bench.ui.erase.mode = mode;
            const int64_t before = bench.clock.TotalSleep();
            EXPECT_EQ(bench.RunErase(), JobEnd::Exit);
            EXPECT_EQ(bench.ui.Texts(), Texts{});
            EXPECT_GE(bench.clock.TotalSleep() - before, 2900) << "it watched the drive to the end";
            EXPECT_GE(bench.ui.Progress(JobKind::Erase), 90);
            EXPECT_EQ(DiscStatus(bench), kErasable | kBlank);
            EXPECT_EQ(bench.Track(), FileBytes());
            bench.drive.SetSpeed({});
            bench.host.queue = {bench.AddFile("a", Payload(100'000, 2))};
            EXPECT_EQ(bench.RunData(), JobEnd::Exit);
            EXPECT_TRUE(HoldsAtSector(bench.Track(), Payload(100'000, 2)));
            EXPECT_EQ(DiscStatus(bench),
                      kErasable | (mode == EraseMode::Quick ? kComplete : kAppendable))
                << "a quick blank leaves one go only";
        }
    }
}

TEST(DvdErase, ACancelStopsAFullErase) {
    JobBench bench("dvd+rw");
    bench.ui.erase.mode = EraseMode::Full;
    int writes = 0;
    bench.drive.SetScript([&](const PortRequest& request, uint64_t) {
        if (request.cdb[0] == kWrite && ++writes == 10) {
            bench.ui.Cancel(JobKind::Erase);
        }
        return std::optional<InjectedAnswer>();
    });
    EXPECT_EQ(bench.RunErase(), JobEnd::Exit);
    EXPECT_EQ(writes, 10);
    EXPECT_EQ(bench.ui.Texts(), Texts{});
    EXPECT_FALSE(bench.drive.IsDoorLocked());
    EXPECT_EQ(DiscInformation(bench)[7] & 3, 1) << "the format was stopped";
}

} // namespace
} // namespace larkspin
