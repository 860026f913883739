// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Data jobs that add to a disc, begun by them or by another program: what programs that know
// nothing of Larkspin then find on it, session by session.
#include "faulty_files.h"
#include "job_bench.h"
#include "jobs/job_frame.h"
#include "platform/byte_pipe.h"
#include "volume/iso_gen.h"
#include "volume/readers_kit.h"

namespace larkspin {
namespace {

using Tree = std::map<std::string, std::string>;

class AppendJob : public testing::Test {
  protected:
    // Adds a file to the source folder and to what the disc should hold with its next session.
    void Add(JobBench& bench, const std::string& name, const Bytes& bytes) {
        bench.AddFile(name, bytes);
        expected[name] = std::string(bytes.begin(), bytes.end());
        for (fs::path up = fs::path(name).parent_path(); !up.empty(); up = up.parent_path()) {
            expected[up.native()] = "folder";
        }
    }

    // Runs a program in the bench's folder that must be content.
    static std::string Run(const JobBench& bench, const std::string& command) {
        const CommandResult run =
            RunCommand("cd '" + bench.folder.Path() + "' && LC_ALL=C " + command + " 2>&1");
        EXPECT_EQ(run.status, 0) << command << "\n" << run.output;
        return run.output;
    }

    // What a program brings from the disc into the folder it runs in.
    static Tree Restore(const std::string& command) {
        Tree found = Extract(command);
        found.erase(".rr_moved");
        return found;
    }

#ifdef LARKSPIN_FAKESR_LIBRARY
    // A program with the bench's disc at /dev/sr0.
    static std::string OnDrive(const JobBench& bench, const std::string& command) {
        return "LARKSPIN_FAKESR=" + bench.disc + " LD_PRELOAD=" LARKSPIN_FAKESR_LIBRARY " " +
               command;
    }
    static void ExpectSessions(const JobBench& bench, const std::vector<Tree>& sessions) {
        EXPECT_EQ(std::stoul(Run(bench, OnDrive(bench, "xorriso -indev /dev/sr0 -toc 2>&1 | "
                                                       "grep -c 'ISO session  :'"))),
                  sessions.size());
        const auto restore = [&](const std::string& load) {
            return Restore(
                OnDrive(bench, "xorriso -osirrox on " + load + " -indev /dev/sr0 -extract / ."));
        };
        for (size_t i = 0; i < sessions.size(); ++i) {
            SCOPED_TRACE(i + 1);
            EXPECT_EQ(Difference(restore(Format("-load session %zu", i + 1)), sessions[i]), "");
        }
        EXPECT_EQ(Difference(restore(""), sessions.back()), "");
    }
#endif

    Tree expected;
};

class AppendToEachKind : public AppendJob, public testing::WithParamInterface<const char*> {};

TEST_P(AppendToEachKind, ThreeSessionsShowEverything) {
    JobBench bench(GetParam());
    std::vector<Tree> sessions;
    const auto burn = [&](const std::vector<std::string>& names) {
        bench.Burn(names);
        sessions.push_back(expected);
    };
    Add(bench, "folder/kept", Payload(100'000, 1));
    Add(bench, "folder/changed", Payload(3000, 2));
    Add(bench, "folder/1/2/3/4/5/6/7/8/deep", Payload(4000, 3));
    ASSERT_NO_FATAL_FAILURE(burn({"folder"}));
    Add(bench, "folder/changed", Payload(3001, 4));
    Add(bench, "folder/added with a name of its own", Payload(5000, 5));
    ASSERT_NO_FATAL_FAILURE(burn({"folder"}));
    fs::remove_all(bench.Source() / "folder");
    Add(bench, "folder/1/2/3/4/5/6/7/8/deeper", Payload(6000, 6));
    Add(bench, "single", Payload(7000, 7));
    ASSERT_NO_FATAL_FAILURE(burn({"folder", "single"}));

    if (!fs::exists(bench.disc + "/track-02.iso")) { // one volume, and a plain file to all readers
        const std::string image = bench.disc + "/track-01.iso";
        EXPECT_EQ(Difference(Restore("7z x " + image), expected), "");
        EXPECT_EQ(Difference(Restore("xorriso -osirrox on -indev stdio:" + image + " -extract / ."),
                             expected),
                  "");
        return;
    }
    // The size counts from sector 0: kernels refuse Rock Ridge data behind it.
    const Bytes last = bench.Track(3);
    const uint32_t size = LoadLe32(&last[16 * 2048 + 80]);
    const uint32_t start = LoadLe32(&last[16 * 2048 + 140]) - 20; // less the way to the path table
    EXPECT_GT(size, start + 170);
    EXPECT_LE(size, start + last.size() / 2048);
#ifdef LARKSPIN_FAKESR_LIBRARY
    ExpectSessions(bench, sessions);
#endif
}

INSTANTIATE_TEST_SUITE_P(Kinds, AppendToEachKind,
                         testing::Values("cd-r", "cd-rw", "dvd-r", "dvd-rw", "dvd+r", "dvd+r-dl",
                                         "dvd+rw", "bd-r", "bd-re", "dvd-rw-ow", "dvd-ram"));

// A session that the user cancelled, or that a source cut short, names files that never came to the
// disc. The next one goes on without them, and says so.
TEST(CutSession, IsFollowedByOneThatTellsWhatIsMissing) {
    const Bytes old = Payload(100'000, 1);
    const Bytes lost = Payload(6'000'000, 2);
    for (const char* kind : {"dvd+r", "bd-r", "dvd-r", "dvd-rw", "cd-r", "cd-rw"}) {
        for (const bool cancels : {true, false}) {
            const bool isCd = std::string_view(kind).starts_with("cd");
            if (isCd && cancels) {
                continue; // stays open
            }
            SCOPED_TRACE(Format("%s, %d", kind, cancels));
            FaultyFiles files;
            JobBench bench(kind, 0, files);
            bench.AddFile("old", old);
            ASSERT_NO_FATAL_FAILURE(bench.Burn({"old"}));
            bench.host.queue = {bench.AddFile("a", Payload(900'000, 3)),
                                bench.AddFile("lost", lost)};
            int words = 0;
            if (cancels) {
                bench.ui.onProgress = [&](JobKind kindOfJob, int) {
                    if (++words == 60) {
                        bench.ui.Cancel(kindOfJob);
                    }
                };
            } else {
                files.unopenable = bench.host.queue.back();
            }
            EXPECT_EQ(bench.RunData(), JobEnd::Exit);
            files.unopenable.clear();
            bench.ui.onProgress = nullptr;
            bench.Reload();
            const size_t boxes = bench.ui.Boxes().size();
            bench.ui.onBox = [](const FakeUi::Box&) { return true; };
            // A drive that reads zeros out of the gap between two sessions.
            const auto end = static_cast<uint32_t>(bench.Drive().ReadLastLeadOut());
            bench.onCommand = [&](const PortRequest& request) -> std::optional<InjectedAnswer> {
                if (isCd || request.cdb[0] != mmc::kRead10 || LoadBe32(&request.cdb[2]) < end) {
                    return std::nullopt;
                }
                std::fill_n(static_cast<uint8_t*>(request.data), request.length, uint8_t{0});
                return InjectedAnswer();
            };
            const Bytes third = Payload(70'000, 4);
            bench.host.queue = {bench.AddFile("third", third)};
            EXPECT_EQ(bench.RunData(), JobEnd::Exit);
            ASSERT_EQ(bench.ui.Boxes().size(), boxes + 1);
            // The end of the file before may be missing too.
            const std::u16string told = bench.ui.Boxes().back().text;
            EXPECT_NE(told.find(u"Files on the disk that are not complete ("), told.npos);
            EXPECT_NE(told.find(u"\nlost\n"), told.npos) << ToNative(told);
            bench.onCommand = nullptr;
            EXPECT_TRUE(Holds(bench.Track(1), old));
            EXPECT_TRUE(Holds(bench.Track(3), third));
            bench.Reload();
            bench.host.queue = {bench.AddFile("fourth", third)};
            EXPECT_EQ(bench.RunData(), JobEnd::Exit);
            EXPECT_EQ(bench.ui.Boxes().size(), boxes + 1) << "nothing is missing any more";
        }
    }
}

// A session that the drive tells too little of is whole if there is data behind what it tells.
TEST(CutSession, IsNoneOnlyBecauseTheDriveTellsOfTooLittle) {
    for (const char* kind : {"cd-r", "dvd-r", "dvd+r", "bd-r"}) {
        for (const int percent : {4, 50}) { // up to which it tells of it; the folders come then
            SCOPED_TRACE(Format("%s, %d", kind, percent));
            JobBench bench(kind);
            bench.AddFile("old", Payload(100'000, 1));
            ASSERT_NO_FATAL_FAILURE(bench.Burn({"old"}));
            bench.AddFile("second", Payload(900'000, 2));
            ASSERT_NO_FATAL_FAILURE(bench.Burn({"second"}));
            const auto sectors = static_cast<int32_t>(bench.Track(2).size() / 2048);
            const int32_t told = bench.Drive().ReadLastLeadOut() - sectors * (100 - percent) / 100;
            bench.onCommand = [told](const PortRequest& request) -> std::optional<InjectedAnswer> {
                if (request.cdb[0] != mmc::kReadToc || request.cdb[6] != 0xAA) {
                    return std::nullopt;
                }
                Bytes toc = {0, 10, 1, 2, 0, 0x14, 0xAA, 0, 0, 0, 0, 0};
                StoreBe32(&toc[8], static_cast<uint32_t>(told));
                std::copy(toc.begin(), toc.end(), static_cast<uint8_t*>(request.data));
                return InjectedAnswer();
            };
            bench.AddFile("third", Payload(70'000, 3));
            ASSERT_NO_FATAL_FAILURE(bench.Burn({"third"}));
            EXPECT_TRUE(Holds(bench.Track(3), {'S', 'E', 'C', 'O', 'N', 'D'}));
        }
    }
}

// On a disc that is written in place there is none before it: the user decides.
TEST(CutSession, InPlaceWithoutItsFoldersIsWrittenOverIfTheUserWants) {
    for (const char* kind : {"dvd+rw", "dvd-ram", "bd-re"}) {
        JobBench bench(kind);
        bench.AddFile("old", Payload(100'000, 1));
        ASSERT_NO_FATAL_FAILURE(bench.Burn({"old"}));
        Bytes track = bench.Track();
        const size_t root = LoadLe32(&track[16 * 2048 + 158]) * size_t{2048};
        std::fill_n(track.begin() + static_cast<std::ptrdiff_t>(root), 2048, 0);
        WriteFileBytes(bench.disc + "/track-01.iso", track);
        bench.Reload();
        const Bytes next = Payload(70'000, 4);
        bench.host.queue = {bench.AddFile("next", next)};
        for (const bool yes : {false, true}) {
            bench.ui.onBox = [&](const FakeUi::Box&) { return yes; };
            const int writes = bench.commands[mmc::kWrite10];
            EXPECT_EQ(bench.RunData(), JobEnd::Exit);
            EXPECT_EQ(bench.ui.Texts(), Texts(yes ? 2 : 1, kNotBlankText));
            EXPECT_EQ(bench.commands[mmc::kWrite10] > writes, yes);
            EXPECT_EQ(bench.host.queue.empty(), yes);
            bench.Reload();
        }
        EXPECT_TRUE(Holds(bench.Track(), next));
    }
}

// One that was cut off before its folders were on the disc, or has zeros in their place, gives way
// to the session before it, if there is one.
TEST(CutSession, WithoutItsFoldersGivesWayToTheOneBefore) {
    const Bytes old = Payload(100'000, 1);
    const Bytes third = Payload(70'000, 4);
    const std::u16string left = u"Files on the disk that are not complete (1):\nlost\n";
    enum Kind { kSecond, kSecondAgain, kFirst, kZeros };
    for (const char* kind : {"dvd+r", "bd-r", "dvd-r", "cd-r"}) {
        for (const Kind cut : {kSecond, kSecondAgain, kFirst, kZeros}) {
            SCOPED_TRACE(Format("%s, %d", kind, cut));
            JobBench bench(kind);
            bench.ui.onBox = [](const FakeUi::Box&) { return true; }; // closes what is open
            bench.AddFile("old", old);
            if (cut != kFirst) {
                ASSERT_NO_FATAL_FAILURE(bench.Burn({"old"}));
            }
            for (int i = 0; i < 300; ++i) {
                bench.AddFile(Format("many/%0180d", i), {});
            }
            const std::u16string lost = bench.AddFile("lost", Payload(5000, 2));
            bench.host.queue = {ToWide((bench.Source() / "many").string()), lost};
            const int writes = bench.commands[mmc::kWrite10];
            bench.onCommand = [&](const PortRequest&) -> std::optional<InjectedAnswer> {
                if (cut != kZeros && bench.commands[mmc::kWrite10] == writes + 3) {
                    bench.ui.Cancel(JobKind::Data);
                }
                return std::nullopt;
            };
            EXPECT_EQ(bench.RunData(), JobEnd::Exit);
            bench.onCommand = nullptr;
            if (cut == kZeros) {
                Bytes track = bench.Track(2);
                const uint32_t start = LoadLe32(&track[16 * 2048 + 140]) - 20;
                const uint32_t root = LoadLe32(&track[16 * 2048 + 158]) - start;
                std::fill(track.begin() + root * 2048, track.end(), 0);
                WriteFileBytes(bench.disc + "/track-02.iso", track);
            }
            bench.Reload();
            const size_t boxes = bench.ui.Boxes().size();
            bench.host.queue = {bench.AddFile("third", third)};
            if (cut == kSecondAgain) {
                bench.host.queue.push_back(lost);
            }
            EXPECT_EQ(bench.RunData(), JobEnd::Exit);
            const std::u16string notice = bench.ui.Texts().back();
            EXPECT_NE(notice.find(u"The last session on the disk was interrupted"), notice.npos)
                << ToNative(notice);
            EXPECT_EQ(notice.find(left) != std::u16string::npos, cut == kSecond || cut == kFirst)
                << ToNative(notice);
            const bool asksToClose = std::string_view(kind) == "cd-r" && cut != kZeros;
            EXPECT_EQ(bench.ui.Boxes().size(), boxes + (asksToClose ? 2 : 1));
            const Bytes last = bench.Track(cut == kFirst ? 2 : 3);
            EXPECT_TRUE(Holds(last, third));
            bench.Reload();
            bench.host.queue = {bench.AddFile("fourth", third)};
            EXPECT_EQ(bench.RunData(), JobEnd::Exit);
            EXPECT_EQ(bench.ui.Texts().back(), notice) << "nothing is missing any more";
            const Bytes fourth = bench.Track(cut == kFirst ? 3 : 4);
            EXPECT_EQ(Holds(fourth, {'O', 'L', 'D'}), cut != kFirst);
            EXPECT_TRUE(Holds(fourth, {'T', 'H', 'I', 'R', 'D'}));
        }
    }
}

constexpr const char16_t* kOpenText =
    u"The last session on the disk is not finished: its writing was interrupted, or another "
    u"program has left it open. Nothing can be added before it is closed.\n\n"
    u"Should Larkspin close it and go on?\n\n"
    u"Earlier sessions are kept. Of the one that was interrupted, files that are not complete are "
    u"left out.";

// A session that a killed program, or a cancel on a CD, has left open is called so. It is closed
// only if the user wants that, and then the disc goes on.
TEST(OpenSession, IsClosedIfTheUserWantsAndTheDiscGoesOn) {
    constexpr int kKilled = 60;
    constexpr int kCancelled = 0;
    const Bytes old = Payload(100'000, 1);
    const Bytes lost = Payload(6'000'000, 2);
    const Bytes third = Payload(70'000, 4);
    for (const char* kind : {"cd-r", "cd-rw", "dvd-r", "dvd-rw", "dvd+r", "bd-r"}) {
        const bool isCd = std::string_view(kind).starts_with("cd");
        for (const int writes : {kCancelled, kKilled}) {
            if (writes == kCancelled && !isCd) {
                continue; // closed by the job
            }
            SCOPED_TRACE(Format("%s, %d", kind, writes));
            JobBench bench(kind);
            bench.AddFile("old", old);
            ASSERT_NO_FATAL_FAILURE(bench.Burn({"old"}));
            bench.host.queue = {bench.AddFile("a", Payload(900'000, 3)),
                                bench.AddFile("lost", lost)};
            const int before = bench.commands[mmc::kWrite10];
            if (writes != kCancelled) {
                bench.onCommand = [&](const PortRequest&) -> std::optional<InjectedAnswer> {
                    return bench.commands[mmc::kWrite10] - before > writes
                               ? std::optional(FailWith(2, 0x3A, 0))
                               : std::nullopt;
                };
                bench.mayStayLocked = true;
            } else {
                bench.ui.onProgress = [&](JobKind job, int percent) {
                    if (percent > 20) {
                        bench.ui.Cancel(job);
                    }
                };
            }
            EXPECT_EQ(bench.RunData(), JobEnd::Exit);
            bench.onCommand = nullptr;
            bench.ui.onProgress = nullptr;
            bench.Reload();
            EXPECT_EQ(bench.DiscStatus() & 0x0F, 0x05) << "disc and session incomplete";
            bench.Reload();

            const int wrote = bench.commands[mmc::kWrite10];
            const int clears = bench.host.clears;
            bench.commands[mmc::kCloseTrackSession] = 0;
            bench.host.queue = {bench.AddFile("third", third)};
            EXPECT_EQ(bench.RunData(), JobEnd::Exit); // No
            EXPECT_EQ(bench.ui.Boxes().back().text, kOpenText);
            EXPECT_EQ(bench.ui.Boxes().back().buttons, BoxButtons::YesNoGuarded);
            EXPECT_EQ(bench.commands[mmc::kWrite10], wrote);
            EXPECT_EQ(bench.commands[mmc::kCloseTrackSession], 0);
            EXPECT_EQ(bench.host.clears, clears);

            size_t boxes = bench.ui.Boxes().size();
            int asked = 0;
            bench.ui.onBox = [&](const FakeUi::Box& box) {
                return ++asked < 3 && box.buttons != BoxButtons::Ok;
            };
            bench.onCommand = [&](const PortRequest& request) {
                return request.cdb[0] == mmc::kCloseTrackSession
                           ? std::optional(FailWith(3, 0x72, 0))
                           : std::nullopt;
            };
            EXPECT_EQ(bench.RunData(), JobEnd::Exit);
            EXPECT_EQ(asked, 3) << "the same question again, until the user has had enough";
            EXPECT_TRUE(bench.ui.Texts()[boxes + 1].starts_with(
                u"The drive could not close the session that was interrupted"));
            EXPECT_EQ(bench.host.clears, clears);
            bench.onCommand = nullptr;

            boxes = bench.ui.Boxes().size();
            asked = 0;
            EXPECT_EQ(bench.RunData(), JobEnd::Exit); // Yes
            ASSERT_EQ(bench.ui.Boxes().size(), boxes + 2);
            EXPECT_EQ(bench.ui.Texts()[boxes], kOpenText);
            EXPECT_NE(bench.ui.Texts().back().find(
                          u"Files on the disk that are not complete (1):\nlost\n"),
                      std::u16string::npos)
                << ToNative(bench.ui.Texts().back());
            EXPECT_TRUE(Holds(bench.Track(1), old));
            EXPECT_TRUE(Holds(bench.Track(3), third));
            EXPECT_TRUE(bench.IsClosed());
        }
    }
}

// Every reader picks another descriptor, and all are to show what was added.
TEST_F(AppendJob, AllReadersFindTheNewFileOnADiscWrittenInPlace) {
    const std::string boot = "-b boot.bin -no-emul-boot -c boot.cat ";
    for (const std::string& options :
         {"-R " + boot, "-R -J " + boot, std::string("-R -J"), std::string("-R"), std::string()}) {
        SCOPED_TRACE(options);
        expected.clear();
        JobBench bench("dvd+rw");
        Add(bench, "boot.bin", Payload(2048, 1));
        Add(bench, "old/name of a file", Payload(90'000, 2));
        const std::string image = bench.folder.Path() + "/old.iso";
        if (options.empty()) { // a UDF bridge
            CCDWriterISOGen generator(PosixFiles(), bench.clock);
            generator.Options().udf = true;
            BytePipe pipe(size_t{16} << 20);
            generator.MakeVolume(
                {(bench.Source() / "boot.bin").u16string(), (bench.Source() / "old").u16string()},
                pipe, 0, 0, {});
            pipe.CloseWrite();
            Bytes bytes(size_t{16} << 20);
            bytes.resize(pipe.ReadFully(bytes.data(), bytes.size()));
            WriteFileBytes(image, bytes);
        } else {
            Run(bench, "xorriso -as mkisofs -quiet " + options + " -o old.iso source");
        }
        bench.ui.onBox = [](const FakeUi::Box&) { return true; };
        ASSERT_EQ(bench.RunImage(ToWide(image)), JobEnd::Exit);
        bench.Reload();
        if (options.find("-c boot.cat") != std::string::npos) {
            const Bytes catalog = ReadFileBytes(image);
            const size_t at = LoadLe32(&catalog[17 * 2048 + 0x47]) * size_t{2048};
            expected["boot.cat"].assign(&catalog[at], &catalog[at + 2048]);
        }
        Add(bench, "new file", Payload(70'000, 3));
        bench.host.queue = {ToWide((bench.Source() / "new file").string())};
        const Texts before = bench.ui.Texts();
        ASSERT_EQ(bench.RunData(), JobEnd::Exit);
        EXPECT_EQ(bench.ui.Texts(), before);
        const std::string disc = bench.disc + "/track-01.iso";
        Tree shown = Restore("7z x -x'!*BOOT*' " + disc);
        std::erase_if(shown, [](const auto& file) { return file.first[0] == '['; });
        EXPECT_EQ(Difference(shown, expected), "");
        EXPECT_EQ(Difference(Restore("bsdtar -xf " + disc), expected), "");
        const std::string open = "xorriso -osirrox on -indev stdio:" + disc;
        EXPECT_EQ(Difference(Restore(open + " -extract / ."), expected), "");
        EXPECT_EQ(Run(bench, open + " -report_el_torito plain").find("boot.bin") !=
                      std::string::npos,
                  options.find("-b ") != std::string::npos);
        EXPECT_NE(Run(bench, "iso-info -f --no-header " + disc).find("new file"),
                  std::string::npos);
    }
}

#ifdef LARKSPIN_FAKESR_LIBRARY

TEST_F(AppendJob, OldAndNewAreFoundOnADiscThatXorrisoBegan) {
    JobBench bench("cd-r");
    Add(bench, "old/deep/first", Payload(300'000, 1));
    Add(bench, "old/" + std::string(200, 'n'), Payload(50, 2)); // has a continuation area
    Add(bench, "old/changed", Payload(3000, 3));
    const Tree before = expected;
    Run(bench, OnDrive(bench, "xorriso -joliet on -outdev /dev/sr0 -volid BEGUN -map source /"));
    fs::remove_all(bench.Source() / "old");
    bench.Reload();

    Add(bench, "old/changed", Payload(4000, 4));
    Add(bench, "old/deep/second", Payload(5000, 5));
    Add(bench, "new/third", Payload(6000, 6));
    ASSERT_NO_FATAL_FAILURE(bench.Burn({"old", "new"}));
    ExpectSessions(bench, {before, expected});
}

#endif

} // namespace
} // namespace larkspin
