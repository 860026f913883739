// Discs that other programs began: a session is added, and independent readers must find all of
// both, with old data as it was.
#include "merge_kit.h"
#include "platform/text.h"
#include "readers_kit.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

namespace larkspin {
namespace {

class ForeignDisc : public testing::Test {
  protected:
    fs::path Source() const { return fs::path(m_folder.Path()) / "source"; }
    std::string Image() const { return m_folder.Path() + "/disc.iso"; }

    // A tree of the depths that matter, with names of these lengths.
    void MakeTree(const std::vector<int>& lengths) {
        fs::path deep = Source();
        for (int level = 1; level <= 9; ++level) {
            deep /= Format("level%d", level);
            fs::create_directories(deep);
            WriteFile(deep / "here.txt", deep.native());
        }
        for (const int bytes : lengths) {
            const std::string name = Format("%d ", bytes); // Joliet shows 103 units
            WriteFile(Source() / (name + std::string(bytes - name.size(), 'n')), name);
        }
        WriteFile(Source() / "readme.txt", "read me");
        WriteFile(Source() / "big", std::string(70'000, 'b'));
        fs::create_symlink("readme.txt", Source() / "link");
    }

    // Makes the disc with a program of which `command` is the line without its output.
    void Begin(const std::string& command) {
        const CommandResult run =
            RunCommand("cd '" + m_folder.Path() + "' && LC_ALL=C " + command + " 2>&1");
        ASSERT_EQ(run.status, 0) << run.output;
        const std::string bytes = ReadFile(Image());
        m_disc.bytes.assign(bytes.begin(), bytes.end());
        m_disc.bytes.resize((bytes.size() + 2047) / 2048 * 2048);
    }

    // Adds a file at the top and one in a folder, then writes the disc as one volume to Image().
    void Append() {
        MemoryFiles files;
        files.AddFolder(u"/level1");
        files.AddFile(u"/level1/added.txt", "added below");
        files.AddFile(u"/added.txt", "added");
        m_disc.Append(files, {u"/level1", u"/added.txt"});
        WriteFile(Image(), TextOf(m_disc.Grown()));
    }

    std::string Output(const std::string& command) {
        return RunCommand("cd '" + m_folder.Path() + "' && LC_ALL=C " + command + " 2>&1").output;
    }

    // What a program restores from the image, compared with the source and the added files.
    void ExpectAll(const std::string& extract) {
        const std::string out = m_folder.Path() + "/out";
        fs::create_directory(out);
        const CommandResult run =
            RunCommand("cd '" + m_folder.Path() + "' && LC_ALL=C " + extract + " 2>&1");
        EXPECT_EQ(run.status, 0) << run.output;
        MakeWritable(out);
        std::map<std::string, std::string> found = TreeOf(out);
        found.erase(".rr_moved");
        found.erase("rr_moved");
        std::map<std::string, std::string> expected = TreeOf(Source());
        expected["added.txt"] = "added";
        expected["level1/added.txt"] = "added below";
        EXPECT_EQ(Difference(found, expected), "") << extract;
        fs::remove_all(out);
    }

    TempFolder m_folder;
    MemoryDisc m_disc;
};

TEST_F(ForeignDisc, XorrisoWithRockRidgeAndJoliet) {
    MakeTree({40, 150, 230});
    ASSERT_NO_FATAL_FAILURE(
        Begin("xorriso -as mkisofs -quiet -R -J -joliet-long -o disc.iso source"));
    Append();
    ExpectAll("xorriso -osirrox on -indev disc.iso -extract / out");
    EXPECT_EQ(RunCommand("7z t '" + Image() + "' > /dev/null 2>&1").status, 0);
    // Joliet shows the deep folders at their places too, and the relocation directory nowhere.
    const auto joliet = JolietContents(m_disc.Reader());
    EXPECT_EQ(
        joliet.at(u"/level1/level2/level3/level4/level5/level6/level7/level8/level9/here.txt"),
        ReadFile(Source() / "level1/level2/level3/level4/level5/level6/level7/level8/level9/"
                            "here.txt"));
    for (const auto& [path, contents] : joliet) {
        EXPECT_EQ(path.find(u"rr_moved"), std::u16string::npos) << ToNative(path);
    }
    // Again and again, the tree stays.
    for (int session = 0; session < 3; ++session) {
        Append();
    }
    ExpectAll("xorriso -osirrox on -indev disc.iso -extract / out");
}

// libarchive reads no continuation area that lies in front of the directory or behind the file, and
// so no name of an old file that needs one, whoever wrote the later session.
TEST_F(ForeignDisc, LibarchiveReadsNamesThatFitTheirRecords) {
    MakeTree({40});
    ASSERT_NO_FATAL_FAILURE(
        Begin("xorriso -as mkisofs -quiet -R -J -joliet-long -o disc.iso source"));
    Append();
    ExpectAll("bsdtar -xf disc.iso -C out");
}

TEST_F(ForeignDisc, IsoNamesOnly) {
    fs::create_directories(Source() / "LEVEL1");
    WriteFile(Source() / "LEVEL1" / "A.TXT", "a");
    WriteFile(Source() / "B.TXT", "b");
    for (const char* options : {"", "-omit-version-number "}) {
        SCOPED_TRACE(options);
        m_disc = MemoryDisc();
        ASSERT_NO_FATAL_FAILURE(
            Begin(std::string("xorriso -as mkisofs -quiet --norock -iso-level 1 ") + options +
                  "-o disc.iso source"));
        ASSERT_EQ(IsoReader(m_disc.bytes).Directory(IsoReader(m_disc.bytes).Root())[0].signatures,
                  "");
        MemoryFiles files;
        files.AddFile(u"/B.TXT", "B again");
        files.AddFile(u"/b.txt", "small b");
        m_disc.Append(files, {u"/B.TXT", u"/b.txt"});
        WriteFile(Image(), TextOf(m_disc.Grown()));
        const auto joliet = JolietContents(m_disc.Reader());
        EXPECT_EQ(joliet.at(u"/LEVEL1/A.TXT"), "a");
        EXPECT_EQ(joliet.at(u"/B.TXT"), "B again");
        EXPECT_EQ(joliet.at(u"/b.txt"), "small b");
        EXPECT_EQ(joliet.size(), 4U);
        EXPECT_NE(Output("iso-info -f -i disc.iso").find("/b"), std::string::npos);
    }
}

// Volumes without Rock Ridge can give names by a table in each folder. It stays as long as it names
// all that is in the folder.
TEST_F(ForeignDisc, TranslationTablesName) {
    fs::create_directories(Source() / "LEVEL1");
    WriteFile(Source() / "LEVEL1" / "A.TXT", "a");
    WriteFile(Source() / "B.TXT", "b");
    WriteFile(Source() / "C.TXT", "c");
    struct Case {
        const char* options;
        const char* version; // of ISO names
        bool isNaming;
    };
    const std::vector<Case> cases = {
        {"--norock ", ";1", true},
        {"--norock -omit-version-number ", "", true},
        {"", ";1", false}, // its names come first
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.options);
        m_disc = MemoryDisc();
        const std::string table = Format("F A.TXT%s        \ta long name.text\n", c.version);
        WriteFile(Source() / "LEVEL1" / "TRANS.TBL", table);
        WriteFile(Source() / "TRANS.TBL",
                  Format("D LEVEL1     \tsome folder\nno line of the table\n\n"
                         "F C.TXT%s    \tsee/../not.text\nF B.TXT%s    \tb text",
                         c.version, c.version) +
                      std::string("\0F NONE.TXT \tnothing\n", 21));
        ASSERT_NO_FATAL_FAILURE(Begin(std::string("xorriso -as mkisofs -quiet -iso-level 1 ") +
                                      c.options + "-o disc.iso source"));
        MemoryFiles files;
        files.AddFile(u"/b text", "b again");
        m_disc.Append(files, {u"/b text"});
        const std::map<std::u16string, std::string> named = {
            {u"/some folder", "folder"},
            {u"/some folder/a long name.text", "a"},
            {u"/some folder/TRANS.TBL", table},
            {u"/b text", "b again"},
            {u"/C.TXT", "c"}};
        const std::map<std::u16string, std::string> unnamed = {
            {u"/LEVEL1", "folder"},  {u"/LEVEL1/A.TXT", "a"}, {u"/LEVEL1/TRANS.TBL", table},
            {u"/b text", "b again"}, {u"/B.TXT", "b"},        {u"/C.TXT", "c"}};
        EXPECT_EQ(JolietContents(m_disc.Reader()), c.isNaming ? named : unnamed);
    }
}

TEST_F(ForeignDisc, SectionsStayOneFile) {
    fs::create_directories(Source());
    WriteFile(Source() / "A.BIN", std::string(4096, 'A') + "B");
    fs::create_directories(Source() / "level1");
    m_disc = DiscOfTwins(0x80);
    Append();
    ExpectAll("xorriso -osirrox on -indev disc.iso -extract / out");
    ExpectAll("bsdtar -xf disc.iso -C out");
    ExpectAll("7z x -oout disc.iso");
}

TEST_F(ForeignDisc, CompressedFilesStayCompressed) {
    fs::create_directories(Source());
    WriteFile(Source() / "zeros", std::string(300'000, '0'));
    ASSERT_NO_FATAL_FAILURE(
        Begin("xorriso -outdev disc.iso -padding 0 -zisofs default -map source / "
              "-set_filter --zisofs /zeros --"));
    const IsoReader::Record before = IsoReader(m_disc.bytes).RockRidgeTree().at("/zeros");
    ASSERT_NE(before.signatures.find("ZF "), std::string::npos);
    MemoryFiles files;
    files.AddFile(u"/other", "other");
    m_disc.Append(files, {u"/other"});
    const IsoReader::Record after = m_disc.Reader().RockRidgeTree().at("/zeros");
    EXPECT_EQ(after.signatures, before.signatures);
    EXPECT_EQ(after.extent, before.extent);
    EXPECT_EQ(after.size, before.size);
}

TEST_F(ForeignDisc, AccessControlListsAndAttributesStay) {
    fs::create_directories(Source() / "level1");
    WriteFile(Source() / "owned", "owned");
    WriteFile(Source() / "level1/in", "in");
    ASSERT_NO_FATAL_FAILURE(
        Begin("xorriso -outdev disc.iso -padding 0 -acl on -xattr on -map source / "
              "-setfacl 'u:1234:rwx,g:77:r--' /owned /level1/in -- "
              "-setfattr user.note 'kept' /owned --"));
    Append();
    ExpectAll("xorriso -osirrox on -indev disc.iso -extract / out");
    for (const char* path : {"/owned", "/level1/in"}) {
        const std::string acl = Output(
            std::string("xorriso -acl on -xattr on -indev disc.iso -getfacl ") + path + " --");
        EXPECT_NE(acl.find("user:1234:rwx"), std::string::npos) << acl;
    }
    EXPECT_NE(Output("xorriso -xattr on -indev disc.iso -getfattr /owned --").find("kept"),
              std::string::npos);
}

TEST_F(ForeignDisc, BootableDiscKeepsItsFiles) {
    fs::create_directories(Source());
    WriteFile(Source() / "boot.img", std::string(2048, 'B'));
    WriteFile(Source() / "data", "data");
    ASSERT_NO_FATAL_FAILURE(Begin("xorriso -as mkisofs -quiet -R -b boot.img -no-emul-boot -c "
                                  "boot.cat -o disc.iso source"));
    Append();
    const auto contents = RockRidgeContents(m_disc.Reader());
    EXPECT_EQ(contents.at("/boot.img"), std::string(2048, 'B'));
    EXPECT_EQ(contents.at("/data"), "data");
    EXPECT_TRUE(contents.contains("/boot.cat"));
}

} // namespace
} // namespace larkspin
