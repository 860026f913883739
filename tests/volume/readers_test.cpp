// Volumes read back by programs that nobody here wrote: xorriso, bsdtar, 7-Zip and libcdio.
#include "platform/files.h"
#include "platform/text.h"
#include "readers_kit.h"
#include "volume_kit.h"

#include <chrono>
#include <gtest/gtest.h>
#include <sys/wait.h>

namespace larkspin {
namespace {

constexpr int kMany = 1000; // names in one folder

// A tree on disk with every kind of name that matters, and its volume in a file.
class Readers : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        s_pShared = std::make_unique<Shared>();
        const fs::path top = s_pShared->folder.Path() + "/source/top";
        fs::create_directories(top / "empty folder");
        fs::create_directories(top / "many");
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
        for (int i = 0; i < kMany; ++i) {
            WriteFile(top / "many" / Format("picture %04d.jpeg", i), Format("%d", i));
        }
        // Names that only some readers can show.
        WriteFile(top / "stray \xE9\xFF byte", "stray");
        WriteFile(top / "new\nline", "line");
        fs::last_write_time(top / "plain",
                            fs::file_time_type(std::chrono::file_clock::from_sys(
                                std::chrono::sys_seconds(std::chrono::seconds(1'000'000'000)))));
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

TEST_F(Readers, RestoreTheTreeByRockRidge) {
    const char* const commands[] = {"xorriso -osirrox on -indev '%s' -extract / .",
                                    "bsdtar -xpf '%s'"};
    for (const char* command : commands) {
        auto tree = Extract(Format(command, Image().c_str()));
        tree.erase(".rr_moved");
        EXPECT_EQ(Difference(tree, TreeOf(Source())), "") << command;
    }
}

TEST_F(Readers, FindNothingToComplainOfAndAllAttributes) {
    const std::string check =
        RunCommand("xorriso -indev '" + Image() + "' -pvd_info -find / -exec report_lba 2>&1")
            .output;
    EXPECT_EQ(check.find("WARNING"), std::string::npos) << check;
    EXPECT_EQ(check.find("SORRY"), std::string::npos) << check;
    // A folder's link count: its subfolders and two. The year stands for the whole date.
    const std::string list =
        RunCommand("TZ=UTC bsdtar -tvnf '" + Image() + "' top 'top/empty folder' top/plain").output;
    for (const char* line : {"dr-xr-xr-x  5 0      0 ", "dr-xr-xr-x  2 0      0 ",
                             "-r-xr-xr-x  1 0      0          17 Sep  9  2001 top/plain"}) {
        EXPECT_NE(list.find(line), std::string::npos) << list;
    }
}

// What Joliet shows: names of at most 103 units, '_' for what it forbids, and Latin-1 for bytes
// that are no UTF-8.
std::map<std::string, std::string> JolietView(const fs::path& source) {
    std::map<std::string, std::string> view;
    for (const auto& [path, contents] : TreeOf(source)) {
        std::string shown;
        for (const fs::path& part : fs::path(path)) {
            std::u16string name = ToWide(part.native()).substr(0, 103);
            for (char16_t& unit : name) {
                unit = unit < 0x20 || unit == u';' ? u'_' : unit;
                unit -= unit >= 0xDC80 && unit <= 0xDCFF ? 0xDC00 : 0;
            }
            shown += shown.empty() ? "" : "/";
            shown += ToNative(name);
        }
        view[shown] = contents;
    }
    return view;
}

TEST_F(Readers, ShowTheJolietTree) {
    CommandResult bsdtar; // warns of the stray bytes
    EXPECT_EQ(
        Difference(Extract("bsdtar -xf '" + Image() + "' --options 'iso9660:!rockridge'", &bsdtar),
                   JolietView(Source())),
        "");
    EXPECT_EQ(Difference(Extract("7z x -y '" + Image() + "'"), JolietView(Source())), "");
}

// By Rock Ridge: libcdio takes Joliet for plain UCS-2 and gives a folder up at a surrogate pair.
TEST_F(Readers, LibcdioListsAndReads) {
    const std::string list =
        RunCommand("LC_ALL=C.UTF-8 iso-info -f --no-header --no-joliet -i '" + Image() + "' 2>&1")
            .output;
    EXPECT_NE(list.find("/top/日本語.txt"), std::string::npos) << list;
    for (int i = 0; i < kMany; ++i) {
        EXPECT_NE(list.find(Format("/top/many/picture %04d.jpeg", i)), std::string::npos);
    }
    EXPECT_EQ(Extract("iso-read -i '" + Image() + "' -e '/top/size 1000003' -o copy").at("copy"),
              ReadFile(Source() / "top/size 1000003"));
}

TEST_F(Readers, TheLabWritesTheSameBytesTwice) {
    const std::string command = std::string(LARKSPIN_LAB) +
                                " volume --date 1700000000 "
                                "--volume-id TITLE --session-start 5000 ";
    const std::string top = (Source() / "top").native();
    const std::string image = Extract(command + "--output a '" + top + "'").at("a");
    EXPECT_TRUE(image == RunCommand("cd '" + Source().native() + "' && " + command + "top").output);
    EXPECT_EQ(image.substr(16 * 2048 + 40, 6), "TITLE ");
    const IsoReader reader({image.begin(), image.end()}, 5000);
    EXPECT_EQ(reader.RockRidgeTree().size(), TreeOf(Source()).size() + 1); // .rr_moved
}

TEST(Lab, TellsItsFailures) {
    const struct {
        const char* arguments;
        int status;
        const char* text;
    } cases[] = {
        {"", 2, "no PATH given"},
        {"--date soon x", 2, "--date needs a number, not \"soon\""},
        {"--session-start", 2, "--session-start needs a value"},
        {"--frob x", 2, "there is no option \"--frob\""},
        {"/no/such/file", 1, "Cannot add file to disk: /no/such/file."},
        {"--output /no/such/folder/x /etc/hostname", 1, "cannot open"},
        {"--output /dev/full /etc/hostname", 1, "cannot write the volume: No space left"},
        {"--help", 0, "usage: larkspin-lab volume"},
        {"--boot-info-table /etc/hostname", 2, "--boot-info-table needs a --boot in front of it"},
        {"--boot x --boot-emulation disk /etc/hostname", 2,
         "none, floppy or hard-disk, not \"disk\""},
        {"--boot x --boot-load-size 65536 /etc/hostname", 2, "--boot-load-size needs a number"},
        {"--boot x /etc/hostname", 1, "Internal error #952."},
        {"--generic-boot /no/such/file /etc/hostname", 1, "Cannot open boot image."},
        {"--boot hostname --boot-emulation floppy /etc/hostname", 1, "Bad boot image."},
    };
    for (const auto& c : cases) {
        const CommandResult run =
            RunCommand(std::string(LARKSPIN_LAB) + " volume " + c.arguments + " 2>&1");
        EXPECT_EQ(WEXITSTATUS(run.status), c.status) << c.arguments;
        EXPECT_NE(run.output.find(c.text), std::string::npos) << run.output;
    }
}

} // namespace
} // namespace larkspin
