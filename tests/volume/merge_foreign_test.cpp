// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Discs that other programs began: a session is added, and independent readers must find all of
// both, with old data as it was.
#include "merge_kit.h"
#include "readers_kit.h"

namespace larkspin {
namespace {

class ForeignDisc : public testing::Test {
  protected:
    fs::path Source() const { return fs::path(m_folder.Path()) / "source"; }
    void AddSource(const std::string& name, const std::string& text) {
        fs::create_directories((Source() / name).parent_path());
        WriteFile(Source() / name, text);
    }
    std::string Output(const std::string& command) {
        return RunCommand("cd '" + m_folder.Path() + "' && LC_ALL=C " + command + " 2>&1").output;
    }

    // A tree of the depths that matter, with names of these lengths.
    void MakeTree(const std::vector<int>& lengths) {
        for (const int bytes : lengths) {
            const std::string name = Format("%d ", bytes); // Joliet shows 103 units
            AddSource(name + std::string(bytes - name.size(), 'n'), name);
        }
        AddSource(kDeep + "/here.txt", "here");
        AddSource("readme.txt", "read me");
        AddSource("big", std::string(70'000, 'b'));
        fs::create_symlink("readme.txt", Source() / "link");
    }

    // Makes the disc with a program of which `command` is the line.
    void Begin(const std::string& command) {
        const CommandResult run =
            RunCommand("cd '" + m_folder.Path() + "' && rm -f disc.iso && " + command + " 2>&1");
        ASSERT_EQ(run.status, 0) << run.output;
        const std::string bytes = ReadFile(m_folder.Path() + "/disc.iso");
        m_disc = MemoryDisc({bytes.begin(), bytes.end()});
        m_disc.bytes.resize((bytes.size() + 2047) / 2048 * 2048);
    }
    void BeginImage(const std::string& options) {
        Begin("xorriso -as mkisofs -quiet " + options + " -o disc.iso source");
    }

    // Adds files, then writes the disc as one volume.
    void Append(const Contents& added = {{"added.txt", "added"}, {"level1/a.txt", "below"}}) {
        SourceFiles files;
        for (const auto& [name, text] : added) {
            files.AddFile(ToWide("/" + name), text);
            AddSource(name, text);
        }
        m_disc.Append(files);
        WriteFile(m_folder.Path() + "/disc.iso", TextOf(m_disc.Grown()));
    }

    // What a program restores from the image must be the source with all that was added.
    void ExpectAll(const std::string& extract) {
        const std::string image = m_folder.Path() + "/disc.iso";
        Contents found = Extract(Format(extract.c_str(), image.c_str()));
        found.erase(".rr_moved");
        found.erase("rr_moved");
        EXPECT_EQ(Difference(found, TreeOf(Source())), "") << extract;
    }

    static inline const std::string kDeep =
        "level1/level2/level3/level4/level5/level6/level7/level8/level9";
    static inline const std::string kBoth = "-R -J -joliet-long ";
    static constexpr const char* kXorriso = "xorriso -osirrox on -indev '%s' -extract / .";
    TempFolder m_folder;
    MemoryDisc m_disc;
};

TEST_F(ForeignDisc, XorrisoWithRockRidgeAndJoliet) {
    MakeTree({40, 150, 230});
    const std::string shortName = "a." + std::string(200, 'x'); // short in the ISO tree
    AddSource(shortName, "fills its record");
    // Deep folders where they are, or relocated to a folder that is marked as relocated itself.
    for (const char* options : {"", "-rr_reloc_dir rr_moved ", "-rr_reloc_dir .rr_moved "}) {
        SCOPED_TRACE(options);
        ASSERT_NO_FATAL_FAILURE(BeginImage(kBoth + options));
        Append();
        ExpectAll(kXorriso);
        EXPECT_NE(Output("7z t disc.iso").find("Everything is Ok"), std::string::npos);
        // Joliet shows the deep folders at their places too, and the relocation directory nowhere.
        const Contents joliet = JolietContents(m_disc.Reader());
        EXPECT_EQ(joliet.at(kDeep + "/here.txt"), "here");
        EXPECT_FALSE(joliet.contains("rr_moved") || joliet.contains(".rr_moved"));
        // The old name gets digits, for which its record has no room. The deep folder comes again,
        // and with it a relocation directory of this program, which that of the other joins.
        Append({{"a.xxx", "takes the ISO name"}, {kDeep + "/more.txt", "more"}});
        ExpectAll(kXorriso);
        EXPECT_EQ(RockRidgeContents(m_disc.Reader()).at("a.xxx"), "takes the ISO name");
        for (int session = 0; session < 3; ++session) {
            Append();
        }
        ExpectAll(kXorriso);
    }
}

// libarchive reads no continuation area that lies in front of the directory or behind the file.
TEST_F(ForeignDisc, LibarchiveReadsNamesThatFitTheirRecords) {
    MakeTree({40, 85, 111, 137});
    ASSERT_NO_FATAL_FAILURE(BeginImage(kBoth));
    Append();
    ExpectAll("bsdtar -xf '%s'");
}

// Volumes without Rock Ridge show their ISO names, or give names by a table in each folder. A table
// stays as long as it names all that is in the folder.
TEST_F(ForeignDisc, IsoNamesAndTranslationTables) {
    AddSource("LEVEL1/A.TXT", "a");
    AddSource("B.TXT", "b");
    AddSource("C.TXT", "c");
    const Contents plain = {{"LEVEL1", "folder"}, {"LEVEL1/A.TXT", "a"}, {"C.TXT", "c"},
                            {"b text", "new"},    {"B.TXT", "B new"},    {"b.txt", "small b"}};
    for (const char* options : {"--norock", "--norock -omit-version-number"}) {
        ASSERT_NO_FATAL_FAILURE(BeginImage(std::string("-iso-level 1 ") + options));
        m_disc.Append({{u"/b text", "new"}, {u"/B.TXT", "B new"}, {u"/b.txt", "small b"}});
        EXPECT_EQ(JolietContents(m_disc.Reader()), plain) << options;
    }
    const struct {
        const char* options;
        const char* version; // of ISO names
        bool isNaming;
    } cases[] = {
        {"--norock", ";1", true},
        {"--norock -omit-version-number", "", true},
        {"", ";1", false}, // its names come first
    };
    for (const auto& c : cases) {
        const std::string table = Format("F A.TXT%s        \ta long name.text\n", c.version);
        AddSource("LEVEL1/TRANS.TBL", table);
        AddSource("TRANS.TBL", Format("D LEVEL1     \tsome folder\nno line of the table\n\n"
                                      "F C.TXT%s    \tsee/../not.text\nF B.TXT%s    \tb text",
                                      c.version, c.version) +
                                   std::string("\0F NONE.TXT \tnothing\n", 21));
        ASSERT_NO_FATAL_FAILURE(BeginImage(std::string("-iso-level 1 ") + c.options));
        m_disc.Append({{u"/b text", "new"}});
        const Contents named = {{"some folder", "folder"},
                                {"some folder/a long name.text", "a"},
                                {"some folder/TRANS.TBL", table},
                                {"b text", "new"},
                                {"C.TXT", "c"}};
        const Contents unnamed = {
            {"LEVEL1", "folder"}, {"LEVEL1/A.TXT", "a"}, {"LEVEL1/TRANS.TBL", table},
            {"b text", "new"},    {"B.TXT", "b"},        {"C.TXT", "c"}};
        EXPECT_EQ(JolietContents(m_disc.Reader()), c.isNaming ? named : unnamed) << c.options;
    }
}

TEST_F(ForeignDisc, SectionsStayOneFile) {
    AddSource("A.BIN", std::string(4096, 'A') + "B");
    m_disc = DiscOfTwins(0x80);
    Append();
    for (const char* extract : {kXorriso, "bsdtar -xf '%s'", "7z x '%s'"}) {
        ExpectAll(extract);
    }
}

TEST_F(ForeignDisc, AccessControlListsAndAttributesStay) {
    AddSource("owned", "owned");
    AddSource("level1/in", "in");
    ASSERT_NO_FATAL_FAILURE(
        Begin("xorriso -outdev disc.iso -padding 0 -acl on -xattr on -map source / "
              "-setfacl 'u:1234:rwx,g:77:r--' /owned /level1/in -- "
              "-setfattr user.note 'kept' /owned --"));
    Append();
    ExpectAll(kXorriso);
    const std::string show = "xorriso -acl on -xattr on -indev disc.iso ";
    for (const char* path : {"/owned", "/level1/in"}) {
        const std::string acl = Output(show + "-getfacl " + path + " --");
        EXPECT_NE(acl.find("user:1234:rwx"), std::string::npos) << acl;
    }
    EXPECT_NE(Output(show + "-getfattr /owned --").find("kept"), std::string::npos);
}

} // namespace
} // namespace larkspin
