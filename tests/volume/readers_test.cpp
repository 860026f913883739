// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Volumes read back by programs that nobody here wrote: xorriso, bsdtar, 7-Zip and libcdio.
#include "readers_kit.h"
#include "volume_kit.h"

#include <sys/wait.h>

namespace larkspin {
namespace {

// The volume of a tree with every kind of name that matters, in a file.
class Readers : public testing::Test {
  protected:
    Readers() {
        for (const int bytes : {110, 111, 146, 147, 248, 249, 255}) {
            const std::string name = Format("%d ", bytes);
            m_files.AddFile(ToWide("/top/" + name + std::string(bytes - name.size(), 'n')), name);
        }
        // What only some readers can show.
        for (const char* name : {"semi;colon", "stray \xE9\xFF byte", "new\nline"}) {
            m_files.AddFile(ToWide(std::string("/top/") + name), name);
        }
        for (int i = 0; i < 1000; ++i) {
            m_files.AddFile(FormatWide("/top/many/picture %04d.jpeg", i), Format("%d", i));
        }
        const VolumeResult result = MakeVolume(m_files, {u"/top"});
        EXPECT_EQ(result.error, u"");
        WriteFile(m_image, TextOf(result.image));
    }

    SourceFiles m_files = Tree();
    const TempFolder m_folder;
    const std::string m_image = m_folder.Path() + "/volume.iso";
};

TEST_F(Readers, RestoreTheTreeByRockRidge) {
    for (const char* command :
         {"xorriso -osirrox on -indev '%s' -extract / .", "bsdtar -xpf '%s'"}) {
        Contents tree = Extract(Format(command, m_image.c_str()));
        tree.erase(".rr_moved");
        EXPECT_EQ(Difference(tree, m_files.Expected()), "") << command;
    }
    // libcdio takes Joliet for plain UCS-2 and gives a folder up at a surrogate pair.
    const std::string list =
        RunCommand("LC_ALL=C.UTF-8 iso-info -f --no-header --no-joliet -i '" + m_image + "' 2>&1")
            .output;
    for (const auto& [path, contents] : m_files.Expected()) {
        EXPECT_TRUE(!path.starts_with("top/many/") || list.find("/" + path) != std::string::npos)
            << path;
    }
    EXPECT_EQ(Extract("iso-read -i '" + m_image + "' -e '/top/size 1000003' -o copy").at("copy"),
              std::string(1'000'003, 's'));
}

TEST_F(Readers, FindNothingToComplainOfAndAllAttributes) {
    const std::string check =
        RunCommand("xorriso -indev '" + m_image + "' -pvd_info -find / -exec report_lba 2>&1")
            .output;
    EXPECT_EQ(check.find("WARNING"), std::string::npos) << check;
    EXPECT_EQ(check.find("SORRY"), std::string::npos) << check;
    // A folder's link count: its subfolders and two. The year stands for the whole date.
    const std::string list =
        RunCommand("TZ=UTC bsdtar -tvnf '" + m_image + "' top top/many top/plain").output;
    for (const char* line : {"dr-xr-xr-x  4 0      0 ", "dr-xr-xr-x  2 0      0 ",
                             "-r-xr-xr-x  1 0      0          17 Sep  9  2001 top/plain"}) {
        EXPECT_NE(list.find(line), std::string::npos) << list;
    }
}

TEST_F(Readers, ShowTheJolietTree) {
    const std::string image = ReadFile(m_image);
    const Contents expected = JolietContents(IsoReader({image.begin(), image.end()}));
    CommandResult bsdtar; // warns of the stray bytes
    EXPECT_EQ(
        Difference(Extract("bsdtar -xf '" + m_image + "' --options 'iso9660:!rockridge'", &bsdtar),
                   expected),
        "");
    EXPECT_EQ(Difference(Extract("7z x -y '" + m_image + "'"), expected), "");
}

TEST(Lab, WritesTheSameBytesTwice) {
    const TempFolder folder;
    fs::create_directories(folder.Path() + "/top/empty folder");
    WriteFile(folder.Path() + "/top/stray \xE9\xFF byte", "stray");
    const std::string command = std::string(LARKSPIN_LAB) +
                                " volume --date 1700000000 "
                                "--volume-id TITLE --session-start 5000 ";
    const std::string image = Extract(command + "--output a '" + folder.Path() + "/top'").at("a");
    EXPECT_TRUE(image == RunCommand("cd '" + folder.Path() + "' && " + command + "top").output);
    EXPECT_EQ(image.substr(16 * 2048 + 40, 6), "TITLE ");
    const IsoReader reader({image.begin(), image.end()}, 5000);
    EXPECT_EQ(RockRidgeContents(reader), (Contents{{"top", "folder"},
                                                   {"top/empty folder", "folder"},
                                                   {"top/stray \xE9\xFF byte", "stray"}}));
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
        {"--dvd-video /etc/hostname", 0, "so that nothing is laid out for players (1):\nVIDEO_TS"},
        {"--frob x", 2, "there is no option \"--frob\""},
        {"/no/such/file", 1, "Not found (1):\n/no/such/file"},
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
