// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "faulty_files.h"
#include "job_bench.h"
#include "jobs/busy_drive.h"
#include "volume/readers_kit.h"

#include <chrono>
#include <new>
#include <sys/stat.h>
#include <system_error>

namespace larkspin {
namespace {

TEST(DataJob, WritesTheQueueToABlankCd) {
    JobBench bench;
    bench.AddFile("folder/deep/b.bin", Payload(123'457, 1));
    bench.AddFile("folder/a.txt", Payload(5, 2));
    bench.AddFile("folder/empty", {});
    const std::u16string single = bench.AddFile("Single Ünit \xff.dat", Payload(65'536, 3));
    bench.host.queue = {ToWide((bench.Source() / "folder").string()), single};
    bench.ui.data.strTitle = u"Ünit 1";
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

    // An independent reader gets every file back.
    EXPECT_EQ(
        Difference(Extract("bsdtar -xf " + bench.disc + "/track-01.iso"), TreeOf(bench.Source())),
        "");
    const Bytes track = bench.Track();
    const std::string id(track.begin() + 16 * 2048 + 40, track.begin() + 16 * 2048 + 72);
    EXPECT_EQ(id.substr(0, id.find_last_not_of(' ') + 1), "_NIT_1");
    const Bytes wide = {0, 0xDC, 0, 'n', 0, 'i', 0, 't', 0, ' ', 0, '1'};
    EXPECT_TRUE(std::equal(wide.begin(), wide.end(), track.begin() + 17 * 2048 + 40)) << "Joliet";
    EXPECT_TRUE(bench.IsClosed());
}

// The estimate of the disc check knows nothing of the volume's own sectors.
TEST(DataJob, AVolumeIsMeasuredBeforeTheDiscIsTouched) {
    JobBench bench;
    bench.AddFile("a", Payload(999 * 2048, 1));
    ASSERT_NO_FATAL_FAILURE(bench.Burn({"a"}));
    const size_t sectors = bench.Track().size() / 2048;
    for (const size_t capacity : {sectors, sectors - 1}) {
        bench.host.queue = {ToWide((bench.Source() / "a").string())};
        bench.InsertNew("cd-r", static_cast<uint32_t>(capacity));
        bench.ejects = 0;
        EXPECT_EQ(bench.RunData(), JobEnd::Exit);
        const bool fits = capacity == sectors;
        EXPECT_EQ(bench.ui.Texts(), fits ? Texts{} : Texts{kDataTooLargeText});
        EXPECT_EQ(bench.Track().size(), fits ? capacity * 2048 : 0);
        EXPECT_EQ(bench.WasEjected(), fits);
    }
    // A sector short of the least that a track must have.
    bench.InsertNew("cd-r");
    bench.host.queue = {bench.AddFile("a", Payload((299 - (sectors - 999)) * 2048, 1))};
    EXPECT_EQ(bench.RunData(), JobEnd::Exit);
    EXPECT_EQ(bench.Track().size(), size_t{300} * 2048);
}

// A cancel of the erasing does not stop the drive, so that the disc can't be used.
TEST(DataJob, ACancelWhileTheDriveErasesGivesUp) {
    JobBench bench("cd-rw");
    bench.Finalize();
    bench.host.queue = {bench.AddFile("a", Payload(5000, 1))};
    bench.drive.SetSpeed({.longOperationMs = 60'000});
    bench.ui.onBox = [](const FakeUi::Box&) { return true; };
    bench.clock.SetOnSleep([&] { bench.ui.Cancel(JobKind::Erase); });
    EXPECT_EQ(bench.RunData(), JobEnd::Exit);
    EXPECT_EQ(bench.ui.Texts().size(), 1U) << "the question alone";
    EXPECT_EQ(bench.ui.Starts(JobKind::Erase), 1);
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
        EXPECT_TRUE(bench.WasEjected());
        EXPECT_EQ(bench.IsClosed(), closing);
        ASSERT_LT(moment, 1000);
    }
}

// Nothing is asked of the disc before the user has seen it, and nothing is told twice.
TEST(DataJob, WhatIsLeftOutIsToldBeforeTheFirstBlock) {
    for (const char* kind : {"cd-r", "dvd+rw", "bd-re"}) {
        SCOPED_TRACE(kind);
        JobBench bench(kind);
        const std::u16string pipe = ToWide((bench.Source() / "d/pipe").string());
        const std::u16string late = bench.AddFile("d/late", Payload(5000, 1));
        ASSERT_EQ(::mkfifo((bench.Source() / "d/pipe").c_str(), 0600), 0);
        bench.host.queue = {pipe};
        EXPECT_EQ(bench.RunData(), JobEnd::Idle);
        bench.host.queue = {u"/gone", ToWide((bench.Source() / "d").string()),
                            bench.AddFile("a", Payload(100'000, 1))};
        EXPECT_EQ(bench.RunData(), JobEnd::Idle);
        EXPECT_FALSE(bench.commands.contains(mmc::kWrite10) ||
                     bench.commands.contains(mmc::kFormatUnit) ||
                     bench.commands.contains(mmc::kModeSelect10));
        // What happens after that look is told too.
        bench.env.startThread = [&](std::function<void()> body) {
            fs::remove(late);
            fs::create_directory_symlink(bench.Source(), late);
            return std::thread(std::move(body));
        };
        bench.ui.onBox = [&](const FakeUi::Box& box) {
            return box.text.find(u"/gone") != std::u16string::npos;
        };
        EXPECT_EQ(bench.RunData(), JobEnd::Idle);
        EXPECT_FALSE(bench.commands.contains(mmc::kWrite10));
        EXPECT_EQ(bench.host.clears, 0);
        bench.ui.onBox = [](const FakeUi::Box&) { return true; };
        EXPECT_EQ(bench.RunData(), JobEnd::Exit);
        EXPECT_EQ(bench.DiscStatus() & 3, kind[0] == 'c' ? 1 : 2);

        const std::u16string first =
            u"Not everything that you have picked can be written as it is.\n\n"
            u"Not found (1):\n/gone\n\nNeither files nor folders (1):\n" +
            pipe;
        const std::u16string next = u"Not everything that you have picked can be written as it "
                                    u"is.\n\nEmpty on the disc, for they lead out to a folder "
                                    u"around themselves (1):\n" +
                                    late;
        const Texts begins = {u"Nothing of what you have picked can be written.\n\n"
                              u"Neither files nor folders (1):\n" +
                                  pipe,
                              first, first, next, first};
        const Texts texts = bench.ui.Texts();
        for (size_t i = 0; i < std::max(texts.size(), begins.size()); ++i) {
            EXPECT_TRUE(texts.at(i).starts_with(begins.at(i))) << ToNative(texts[i]);
        }
    }
}

// The scan would take minutes.
TEST(DataJob, ALongScanDoesNotHoldUpTheEnd) {
    FaultyFiles files;
    JobBench bench("cd-r", 0, files);
    bench.AddFile("a", {});
    bench.host.queue = {ToWide(bench.Source().string())};
    bench.env.startThread = [&](std::function<void()> body) {
        files.onEnumerate = [](std::vector<std::u16string>* names) {
            names->resize(1'000'000, u"a");
        };
        files.onStatus = [] { std::this_thread::sleep_for(std::chrono::milliseconds(1)); };
        bench.host.leaving = true;
        return std::thread(std::move(body));
    };
    // Nor does the first count; it says what it does, and ends when the program is to end.
    for (const bool quits : {false, true}) {
        files.onStatus = [&] { bench.clock.Advance(100); };
        bench.ui.onStatus = [&](JobKind, const std::u16string& text) {
            EXPECT_TRUE(text.starts_with(u"Counting files... ")) << ToNative(text);
            bench.host.leaving = quits;
            quits ? void() : bench.ui.Cancel(JobKind::Data);
        };
        for (int i = 0; i < 10; ++i) {
            bench.AddFile(Format("%d", i), {});
        }
        EXPECT_EQ(bench.RunData(), JobEnd::Idle);
        EXPECT_EQ(bench.ui.Statuses(JobKind::Data).size(), quits ? 2U : 1U);
    }
    bench.host.leaving = false;
    bench.ui.onStatus = {};
    files.onStatus = {};
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(bench.RunData(), JobEnd::Exit);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
    EXPECT_EQ(bench.ui.Texts(), Texts{});
    EXPECT_TRUE(bench.Track().empty());
    EXPECT_TRUE(bench.WasEjected());
}

TEST(DataJob, FailuresOnBothWays) {
    const auto noThread = [](JobBench& bench, FaultyFiles&) {
        bench.env.startThread = [](std::function<void()>) -> std::thread {
            throw std::system_error(
                std::make_error_code(std::errc::resource_unavailable_try_again));
        };
    };
    const auto nothing = [](JobBench& bench, FaultyFiles&) { bench.host.queue.clear(); };
    const auto noMemoryToScan = [](JobBench& bench, FaultyFiles& files) {
        bench.env.startThread = [&](std::function<void()> body) {
            files.onStatus = [] { throw std::bad_alloc(); };
            return std::thread(std::move(body));
        };
    };
    const auto noFile = [](JobBench& bench, FaultyFiles& files) {
        files.unopenable = bench.host.queue.back();
    };
    const auto grows = [](JobBench& bench, FaultyFiles& files) {
        files.onOpen = [&bench] { bench.AddFile("z", Payload(50'000, 2)); };
    };
    const struct {
        const char* name;
        const char* kind;
        std::function<void(JobBench&, FaultyFiles&)> fault;
        Texts texts; // or their beginnings
        bool ejected;
        int status; // of the disc
    } cases[] = {
        {"no thread", "cd-r", noThread, {u"Internal error #175."}, false, 0},
        {"no thread", "dvd+r", noThread, {u"Internal error #175."}, false, 0},
        // The number, and at the end the reason.
        {"emptied", "cd-r", nothing, {u"Internal error #176.", u"No files to write."}, false, 0},
        {"emptied", "dvd+r", nothing, {u"Internal error #176.", u"No files to write."}, false, 0},
        {"memory", "cd-r", noMemoryToScan, {u"Internal error #176.", u"Out of memory"}, false, 0},
        // Closed with what was written.
        {"file",
         "cd-r",
         noFile,
         {u"Disk creation failed with following error:\n\nCannot open \""},
         true,
         1},
        {"file",
         "dvd+r",
         noFile,
         {u"Disk creation failed with following error:\n\nCannot open \""},
         true,
         1},
        {"grown", "cd-r", grows, {u"File /"}, true, 1},
        {"grown", "dvd+r", grows, {u"File /"}, true, 1},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(Format("%s, %s", test.name, test.kind));
        FaultyFiles files;
        JobBench bench(test.kind, 0, files);
        bench.host.queue = {bench.AddFile("a", Payload(1'500'000, 1)),
                            bench.AddFile("z", Payload(40'000, 2))};
        test.fault(bench, files);
        EXPECT_EQ(bench.RunData(), JobEnd::Exit);
        const Texts texts = bench.ui.Texts();
        ASSERT_EQ(texts.size(), test.texts.size());
        for (size_t i = 0; i < texts.size(); ++i) {
            EXPECT_TRUE(texts[i].starts_with(test.texts[i])) << ToNative(texts[i]);
        }
        EXPECT_EQ(bench.WasEjected(), test.ejected);
        EXPECT_EQ(bench.DiscStatus(), test.status);
    }
}

// On media that are written in place the old volume stays the one that is found until the new one
// is whole.
TEST(DataJob, ADriveThatRefusesTheSettingsWritesNothing) {
    for (const int speedSettings : {0, 1}) { // before the first refusal
        JobBench bench;
        bench.host.queue = {bench.AddFile("a", Payload(1000, 1))};
        bench.onCommand = [&](const PortRequest& request) {
            return request.cdb[0] == mmc::kModeSelect10 &&
                           bench.commands[mmc::kSetCdSpeed] == speedSettings
                       ? std::optional(FailWith(5, 0x26, 0))
                       : std::nullopt;
        };
        EXPECT_EQ(bench.RunData(), JobEnd::Exit);
        ASSERT_EQ(bench.ui.Texts().size(), 1U);
        EXPECT_TRUE(bench.ui.Texts()[0].starts_with(u"The drive does not take the settings"));
        EXPECT_EQ(bench.commands[mmc::kWrite10] + bench.host.clears + bench.ejects, 0);
    }
}

TEST(Jobs, GiveTheDriveTheSpeedAndTheSettingsOfTheUser) {
    const struct {
        JobKind job;
        const char* kind;
        double speed;
        uint32_t kilobytes; // a second, as the drive is told
    } cases[] = {
        {JobKind::Data, "cd-r", 4, 708},    {JobKind::Audio, "cd-r", 8, 1416},
        {JobKind::Image, "cd-r", 16, 2832}, {JobKind::Data, "dvd+r", 2.4, 3324},
        {JobKind::Data, "bd-r", 2, 8991}, // 1x is 4,495.5
    };
    for (const auto& test : cases) {
        for (const bool isProtected : {false, true}) {
            SCOPED_TRACE(
                Format("%d on %s, %d", static_cast<int>(test.job), test.kind, isProtected));
            JobBench bench(test.kind);
            bench.host.underrunProtection = isProtected;
            bench.host.speedControl = !isProtected;
            bench.ui.data.dSpeed = bench.ui.audio.dSpeed = bench.ui.image.dSpeed = test.speed;
            uint32_t told = 0;
            std::optional<bool> protection; // bit BUFE of the write parameters
            bench.onCommand = [&](const PortRequest& request) -> std::optional<InjectedAnswer> {
                const auto* data = static_cast<const uint8_t*>(request.data);
                if (request.cdb[0] == mmc::kSetCdSpeed) {
                    told = LoadBe16(&request.cdb[4]);
                } else if (request.cdb[0] == mmc::kSetStreaming) {
                    told = LoadBe32(data + 20);
                } else if (request.cdb[0] == mmc::kModeSelect10 && (data[8] & 0x3F) == 5) {
                    protection = (data[8 + 2] & 0x40) != 0;
                }
                return std::nullopt;
            };
            const Bytes bytes = Payload(300 * 2352 * 4, 1);
            const bool isAudio = test.job == JobKind::Audio;
            bench.RunOne(test.job, isAudio ? bench.AddWav("a.wav", bytes)
                                           : bench.AddFile("a.iso", Bytes(600 * 2048)));
            EXPECT_EQ(bench.ui.Texts(), Texts{});
            EXPECT_EQ(told, test.kilobytes);
            if (test.job != JobKind::Data) { // which is always written with it
                EXPECT_EQ(protection, isProtected);
            }
        }
    }
}

TEST(Jobs, GiveANewBdReTheFormatThatItsDriveOffers) {
    JobBench bench("bd-re");
    Bytes sent;
    bench.onCommand = [&](const PortRequest& request) -> std::optional<InjectedAnswer> {
        if (request.cdb[0] == mmc::kFormatUnit) {
            const auto* data = static_cast<const uint8_t*>(request.data);
            sent.assign(data + 4, data + request.length);
        }
        return std::nullopt;
    };
    bench.RunOne(JobKind::Data, bench.AddFile("a", Payload(5000, 1)));
    // 11,826,176 blocks; type 00h, with the spare area of 12,288 clusters.
    EXPECT_EQ(sent, (Bytes{0, 0xB4, 0x74, 0, 0, 0, 0x30, 0}));
}

TEST(DataJob, ADriveThatStaysBusyIsAskedAbout) {
    for (const auto& [kind, opcode, isStopped] : {std::tuple("cd-r", mmc::kWrite10, false),
                                                  {"cd-r", mmc::kSynchronizeCache, false},
                                                  {"dvd+r", mmc::kWrite10, true},
                                                  {"dvd+r", mmc::kTestUnitReady, false}}) {
        SCOPED_TRACE(Format("%s, %d", kind, int{opcode}));
        JobBench bench(kind);
        bench.host.queue = {bench.AddFile("a", Payload(500'000, 1))};
        bench.onCommand = [&, busy = opcode](const PortRequest& request) {
            return request.cdb[0] == busy && bench.commands[mmc::kWrite10] > 3
                       ? std::optional(FailWith(2, 0x04, 0x08))
                       : std::nullopt;
        };
        bench.ui.onBox = [&](const FakeUi::Box& box) {
            bench.clock.Advance(5000); // a user thinks
            return box.buttons == BoxButtons::YesNoGuarded && bench.ui.Boxes().size() == 2;
        };
        EXPECT_EQ(bench.RunData(), JobEnd::Exit);
        const Texts texts = bench.ui.Texts();
        ASSERT_EQ(texts.size(), isStopped ? 4U : 3U);
        EXPECT_TRUE(texts[1].starts_with(u"The drive has been busy for minutes"));
        EXPECT_EQ(texts.back(), kGivenUp);
    }
}

TEST(DataJob, AVolumeThatWasCutShortDoesNotReplaceTheOldOne) {
    FaultyFiles files;
    JobBench bench("dvd+rw", 0, files);
    const auto descriptors = [&bench] {
        bench.Reload();
        Bytes blocks(size_t{16} * 2048);
        EXPECT_TRUE(bench.Drive().ReadBlocks(blocks.data(), 16, 16));
        return blocks;
    };
    bench.AddFile("old", Payload(100'000, 1));
    ASSERT_NO_FATAL_FAILURE(bench.Burn({"old"}));
    const Bytes before = descriptors();

    bench.host.queue = {bench.AddFile("a", Payload(1'500'000, 3)),
                        bench.AddFile("z", Payload(40'000, 2))};
    files.unopenable = bench.host.queue.back();
    EXPECT_EQ(bench.RunData(), JobEnd::Exit);
    ASSERT_EQ(bench.ui.Texts().size(), 1U);
    EXPECT_TRUE(bench.ui.Texts()[0].starts_with(u"Disk creation failed with"));
    EXPECT_TRUE(descriptors() == before);
}

// A drive that was left in session-at-once mode counts a blank disc from its pre-gap on.
TEST(DataJob, ANextAddressBeforeTheDiscMeansABlankOne) {
    JobBench bench;
    const Bytes bytes = Payload(900'000, 1);
    bench.host.queue = {bench.AddFile("a", bytes)};
    Bytes track(36);
    track[6] = 0x40;                          // blank
    track[7] = 1;                             // the next address is valid:
    track[12] = track[13] = track[14] = 0xFF; // -150
    track[15] = 0x6A;
    bench.AnswerCommand(mmc::kReadTrackInformation, track);
    EXPECT_EQ(bench.RunData(), JobEnd::Exit);
    bench.onCommand = nullptr;
    EXPECT_EQ(bench.ui.Texts(), Texts{});
    EXPECT_TRUE(Holds(bench.Track(), bytes));
    EXPECT_TRUE(bench.IsClosed());
}

} // namespace
} // namespace larkspin
