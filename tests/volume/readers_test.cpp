// Volumes read back by programs that nobody here wrote: xorriso, bsdtar, 7-Zip and libcdio.
#include "platform/files.h"
#include "platform/text.h"
#include "readers_kit.h"
#include "support/temp_folder.h"
#include "volume_kit.h"

#include <gtest/gtest.h>
#include <set>
#include <sys/stat.h>
#include <sys/wait.h>

namespace larkspin {
namespace {

// A tree on disk with every kind of name that matters, and its volume in a file.
class Readers : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        s_pShared = std::make_unique<Shared>();
        const fs::path top = s_pShared->folder.Path() + "/source/top";
        fs::create_directories(top / "empty folder");
        fs::path deep = top;
        for (int level = 1; level <= 10; ++level) {
            deep /= Format("level %d", level);
            fs::create_directories(deep);
            WriteFile(deep / "here.txt", deep.native());
        }
        for (const int bytes : {84, 85, 110, 111, 146, 147, 248, 249, 255}) {
            std::string name = Format("%d ", bytes);
            WriteFile(top / (name + std::string(bytes - name.size(), 'n')), name);
        }
        for (const char* name :
             {"plain", "Ünit.txt", "日本語.txt", "smile \xF0\x9F\x98\x80.txt", "a b.txt", "a_b.txt",
              "a+b.txt", "semi;colon", ".hidden", "x.tar.gz", "UPPER.TXT", "upper.txt", "q'uote"}) {
            WriteFile(top / name, std::string("contents of ") + name);
        }
        WriteFile(top / "empty", "");
        for (const size_t size : {2047u, 2048u, 2049u, 1'000'003u}) {
            WriteFile(top / Format("size %zu", size), std::string(size, 's') + Format("%zu", size));
        }
        // Names that only some readers can show.
        WriteFile(top / "stray \xE9\xFF byte", "stray");
        WriteFile(top / "new\nline", "line");
        s_pShared->image = s_pShared->folder.Path() + "/volume.iso";
        const VolumeResult result = MakeVolume(PosixFiles(), {ToWide(top.native())});
        ASSERT_EQ(result.error, u"");
        WriteFile(s_pShared->image, TextOf(result.image));
    }
    static void TearDownTestSuite() { s_pShared.reset(); }

    static fs::path Source() { return s_pShared->folder.Path() + "/source"; }
    static std::string Image() { return s_pShared->image; }

    struct Shared {
        TempFolder folder;
        std::string image;
    };
    static std::unique_ptr<Shared> s_pShared;
};
std::unique_ptr<Readers::Shared> Readers::s_pShared;

TEST_F(Readers, XorrisoRestoresTheTree) {
    const TempFolder out;
    const CommandResult run = RunCommand("xorriso -osirrox on -indev '" + Image() +
                                         "' -extract / '" + out.Path() + "/all' 2>&1");
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(run.output.find("SORRY"), std::string::npos) << run.output;
    MakeWritable(out.Path());
    auto tree = TreeOf(out.Path() + "/all");
    EXPECT_EQ(tree.erase(".rr_moved"), 1u);
    EXPECT_EQ(Difference(tree, TreeOf(Source())), "");
    const std::string check =
        RunCommand("xorriso -indev '" + Image() + "' -pvd_info -find / -exec report_lba 2>&1")
            .output;
    EXPECT_EQ(check.find("WARNING"), std::string::npos) << check;
}

TEST_F(Readers, BsdtarRestoresTheTreeWithAttributes) {
    const TempFolder out;
    const CommandResult run =
        RunCommand("cd '" + out.Path() + "' && bsdtar -xpf '" + Image() + "' 2>&1");
    ASSERT_EQ(run.status, 0) << run.output;
    struct stat written = {};
    struct stat source = {};
    ASSERT_EQ(::stat((out.Path() + "/top/plain").c_str(), &written), 0);
    ASSERT_EQ(::stat((Source() / "top/plain").c_str(), &source), 0);
    EXPECT_EQ(written.st_mtime, source.st_mtime);
    EXPECT_EQ(written.st_mode, 0100555u);
    ASSERT_EQ(::stat((out.Path() + "/top/empty folder").c_str(), &written), 0);
    EXPECT_EQ(written.st_mode, 040555u);
    MakeWritable(out.Path());
    auto tree = TreeOf(out.Path());
    tree.erase(".rr_moved");
    EXPECT_EQ(Difference(tree, TreeOf(Source())), "");
    // A folder's link count: its subfolders and two.
    const std::string list =
        RunCommand("bsdtar -tvf '" + Image() + "' 'top/empty folder' top 2>&1").output;
    EXPECT_NE(list.find("dr-xr-xr-x  4 0"), std::string::npos) << list.substr(0, 300);
}

// What Joliet shows: names of at most 103 units, '_' for what it forbids, and Latin-1 for bytes
// that are no UTF-8.
std::map<std::string, std::string> JolietView(const fs::path& source) {
    std::map<std::string, std::string> view;
    for (const auto& [path, contents] : TreeOf(source)) {
        std::string shown;
        std::string_view rest = path;
        while (!rest.empty()) {
            const size_t end = std::min(rest.find('/'), rest.size());
            std::u16string name = ToWide(rest.substr(0, end)).substr(0, 103);
            for (char16_t& unit : name) {
                unit = unit < 0x20 || unit == u';' ? u'_' : unit;
                if (unit >= 0xDC80 && unit <= 0xDCFF) {
                    unit -= 0xDC00;
                }
            }
            if (!shown.empty()) {
                shown += '/';
            }
            shown += ToNative(name);
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
        view[shown] = contents;
    }
    return view;
}

TEST_F(Readers, BsdtarShowsTheJolietTree) {
    const TempFolder out;
    RunCommand("cd '" + out.Path() + "' && LC_ALL=C.UTF-8 bsdtar -xf '" + Image() +
               "' --options 'iso9660:!rockridge' 2>&1");
    MakeWritable(out.Path());
    EXPECT_EQ(Difference(TreeOf(out.Path()), JolietView(Source())), "");
}

TEST_F(Readers, SevenZipShowsTheJolietTree) {
    const TempFolder out;
    const CommandResult run =
        RunCommand("LC_ALL=C.UTF-8 7z x -y -o'" + out.Path() + "' '" + Image() + "' 2>&1");
    ASSERT_EQ(run.status, 0) << run.output;
    MakeWritable(out.Path());
    EXPECT_EQ(Difference(TreeOf(out.Path()), JolietView(Source())), "");
}

// By Rock Ridge: libcdio takes Joliet for plain UCS-2 and gives a folder up at a surrogate pair.
TEST_F(Readers, LibcdioListsAndReads) {
    const CommandResult info =
        RunCommand("LC_ALL=C.UTF-8 iso-info -f --no-header --no-joliet -i '" + Image() + "' 2>&1");
    ASSERT_EQ(info.status, 0) << info.output;
    EXPECT_NE(info.output.find("/top/日本語.txt"), std::string::npos);
    const TempFolder out;
    const std::string copy = out.Path() + "/copy";
    const CommandResult read = RunCommand("LC_ALL=C.UTF-8 iso-read -i '" + Image() +
                                          "' -e '/top/size 1000003' -o '" + copy + "' 2>&1");
    ASSERT_EQ(read.status, 0) << read.output;
    EXPECT_EQ(ReadFile(copy), ReadFile(Source() / "top/size 1000003"));
}

TEST(ReadersOfALargeFolder, SeeEveryName) {
    MemoryFiles files;
    files.AddFolder(u"/many");
    for (int i = 0; i < 3000; ++i) {
        files.AddFile(FormatWide("/many/picture %04d.jpeg", i), Format("%d", i));
    }
    const TempFolder out;
    const std::string image = out.Path() + "/volume.iso";
    WriteFile(image, TextOf(MakeVolume(files, {u"/many"}).image));
    const char* const listings[] = {
        "bsdtar -tf '%s'", "bsdtar -tf '%s' --options 'iso9660:!rockridge'", "7z l -ba '%s'",
        "iso-info -f -i '%s'", "xorriso -indev '%s' -find / 2>&1"};
    for (const char* listing : listings) {
        std::string command = listing;
        command.replace(command.find("%s"), 2, image);
        const std::string output = RunCommand(command).output;
        size_t found = 0;
        for (int i = 0; i < 3000; ++i) {
            found += output.find(Format("many/picture %04d.jpeg", i)) != std::string::npos ? 1 : 0;
        }
        EXPECT_EQ(found, 3000u) << command;
    }
}

TEST_F(Readers, TheLabWritesTheSameBytesTwice) {
    const std::string lab = LARKSPIN_LAB;
    const TempFolder out;
    const std::string command =
        lab + " volume --date 1700000000 --volume-id TITLE --session-start 5000 ";
    const std::string top = (Source() / "top").native();
    EXPECT_EQ(RunCommand(command + "--output '" + out.Path() + "/a' '" + top + "'").status, 0);
    EXPECT_EQ(
        RunCommand("cd '" + Source().native() + "' && " + command + "top > '" + out.Path() + "/b'")
            .status,
        0);
    const std::string image = ReadFile(out.Path() + "/a");
    EXPECT_EQ(image.substr(16 * 2048 + 40, 6), "TITLE ");
    EXPECT_TRUE(image == ReadFile(out.Path() + "/b"));
    const IsoReader reader({image.begin(), image.end()}, 5000);
    EXPECT_EQ(reader.RockRidgeTree().size(), TreeOf(Source()).size() + 1); // .rr_moved
}

TEST_F(Readers, TheLabTellsItsFailures) {
    const struct {
        const char* arguments;
        int status;
        const char* text;
    } cases[] = {
        {"volume", 2, "no PATH given"},
        {"volume --date soon x", 2, "--date needs a number, not \"soon\""},
        {"volume --session-start", 2, "--session-start needs a value"},
        {"volume --frob x", 2, "there is no option \"--frob\""},
        {"volume /no/such/file", 1, "Cannot add file to disk: /no/such/file."},
        {"volume --output /no/such/folder/x /etc/hostname", 1, "cannot open"},
        {"volume --output /dev/full /etc/hostname", 1, "cannot write the volume: No space left"},
        {"volume --help", 0, "usage: larkspin-lab volume"},
    };
    for (const auto& c : cases) {
        const CommandResult run =
            RunCommand(std::string(LARKSPIN_LAB) + " " + c.arguments + " 2>&1");
        EXPECT_EQ(WEXITSTATUS(run.status), c.status) << c.arguments;
        EXPECT_NE(run.output.find(c.text), std::string::npos) << run.output;
    }
}

} // namespace
} // namespace larkspin
