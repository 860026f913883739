// Data jobs that add to a disc, begun by them or by another program: what programs that know
// nothing of Larkspin then find on it, session by session.
#include "job_bench.h"
#include "volume/readers_kit.h"

namespace larkspin {
namespace {

using Tree = std::map<std::string, std::string>;

class AppendPrograms : public testing::Test {
  protected:
    // Adds a file to the source folder and to what the disc should hold with its next session.
    void Add(JobBench& bench, const std::string& name, const FileBytes& bytes) {
        bench.AddFile(name, bytes);
        expected[name] = std::string(bytes.begin(), bytes.end());
        for (fs::path up = fs::path(name).parent_path(); !up.empty(); up = up.parent_path()) {
            expected[up.native()] = "folder";
        }
    }

    // Three sessions of the kinds of change there are; what each should hold.
    std::vector<Tree> BurnThree(JobBench& bench) {
        std::vector<Tree> sessions;
        const auto burn = [&](const std::vector<std::string>& names) {
            bench.Burn(names);
            sessions.push_back(expected);
        };
        Add(bench, "folder/kept", Payload(100'000, 1));
        Add(bench, "folder/changed", Payload(3000, 2));
        Add(bench, "folder/1/2/3/4/5/6/7/8/deep", Payload(4000, 3));
        burn({"folder"});
        Add(bench, "folder/changed", Payload(3001, 4));
        Add(bench, "folder/added with a name of its own", Payload(5000, 5));
        burn({"folder"});
        fs::remove_all(bench.Source() / "folder");
        Add(bench, "folder/1/2/3/4/5/6/7/8/deeper", Payload(6000, 6));
        Add(bench, "single", Payload(7000, 7));
        burn({"folder", "single"});
        return sessions;
    }

    // Runs a program in the bench's folder that must be content.
    static std::string Run(const JobBench& bench, const std::string& command) {
        const CommandResult run =
            RunCommand("cd '" + bench.folder.Path() + "' && LC_ALL=C " + command + " 2>&1");
        EXPECT_EQ(run.status, 0) << command << "\n" << run.output;
        return run.output;
    }

    // What a program brings from the disc into the folder "out".
    static Tree Restore(const JobBench& bench, const std::string& command) {
        const fs::path out = fs::path(bench.folder.Path()) / "out";
        fs::create_directory(out);
        Run(bench, command);
        MakeWritable(out);
        Tree found = TreeOf(out);
        found.erase(".rr_moved");
        fs::remove_all(out);
        return found;
    }

    Tree expected;
};

// A DVD that is written in place is one volume, and a plain file to all readers.
class GrownVolume : public AppendPrograms, public testing::WithParamInterface<const char*> {};

TEST_P(GrownVolume, HoldsAllForAllReaders) {
    JobBench bench(GetParam());
    const Tree last = BurnThree(bench).back();
    const std::string image = bench.disc + "/track-01.iso";
    EXPECT_EQ(
        Difference(Restore(bench, "bsdtar --options 'iso9660:!rockridge' -C out -xf " + image),
                   last),
        "");
    // By Rock Ridge libarchive takes a file that lies in front of the directories before it has
    // found the true place of the relocated folder around it.
    Tree byRockRidge;
    const std::string moved = ".rr_moved/";
    for (const auto& [path, contents] : Restore(bench, "bsdtar -C out -xf " + image)) {
        const bool isMoved = path.starts_with(moved);
        byRockRidge[isMoved ? "folder/1/2/3/4/5/6/" + path.substr(moved.size()) : path] = contents;
    }
    EXPECT_EQ(Difference(byRockRidge, last), "");
    EXPECT_EQ(Difference(Restore(bench, "7z x -oout " + image), last), "");
    EXPECT_EQ(
        Difference(Restore(bench, "xorriso -osirrox on -indev stdio:" + image + " -extract / out"),
                   last),
        "");
    const std::string list = Run(bench, "iso-info --no-header -f -i " + image);
    for (const auto& [path, contents] : last) {
        EXPECT_NE(list.find("/" + path), std::string::npos) << path << " in:\n" << list;
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, GrownVolume, testing::Values("dvd+rw", "dvd-rw-ow", "dvd-ram"));

#ifdef LARKSPIN_FAKESR_LIBRARY

// A program with the bench's disc at /dev/sr0.
std::string OnDrive(const JobBench& bench, const std::string& command) {
    return "LARKSPIN_FAKESR=" + bench.disc + " LD_PRELOAD=" LARKSPIN_FAKESR_LIBRARY " " + command;
}

int Count(const std::string& text, const std::string& what) {
    int count = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
        ++count;
    }
    return count;
}

constexpr const char* kRestore = "xorriso -osirrox on %s -indev /dev/sr0 -extract / out";

TEST_F(AppendPrograms, ReadEachOfThreeSessions) {
    for (const char* kind : {"cd-r", "dvd+r"}) {
        SCOPED_TRACE(kind);
        expected.clear();
        JobBench bench(kind);
        const std::vector<Tree> sessions = BurnThree(bench);
        ASSERT_EQ(sessions.size(), 3U);
        const std::string toc = Run(bench, OnDrive(bench, "xorriso -indev /dev/sr0 -toc"));
        EXPECT_EQ(Count(toc, "ISO session  :"), 3) << toc;
        for (int session = 1; session <= 3; ++session) {
            SCOPED_TRACE(session);
            const std::string load = Format("-load session %d", session);
            EXPECT_EQ(Difference(Restore(bench, OnDrive(bench, Format(kRestore, load.c_str()))),
                                 sessions[static_cast<size_t>(session) - 1]),
                      "");
        }
        EXPECT_EQ(Difference(Restore(bench, OnDrive(bench, Format(kRestore, ""))), sessions[2]),
                  "");
    }
}

TEST_F(AppendPrograms, FindOldAndNewOnADiscThatXorrisoBegan) {
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
    const std::string toc = Run(bench, OnDrive(bench, "xorriso -indev /dev/sr0 -toc"));
    EXPECT_EQ(Count(toc, "ISO session  :"), 2) << toc;
    EXPECT_EQ(Difference(Restore(bench, OnDrive(bench, Format(kRestore, ""))), expected), "");
    EXPECT_EQ(
        Difference(Restore(bench, OnDrive(bench, Format(kRestore, "-load session 1"))), before),
        "");
}

#endif

} // namespace
} // namespace larkspin
