#include "platform/text.h"
#include "volume_kit.h"

#include <gtest/gtest.h>

namespace larkspin {
namespace {

TEST(RockRidge, WhereTheEntriesOfANameStand) {
    const struct {
        size_t nameBytes;
        const char* inRecord;
        const char* all;
    } cases[] = {
        {1, "RR NM PX TF ", "RR NM PX TF "},
        {84, "RR NM PX TF ", "RR NM PX TF "},
        {85, "RR NM PX CE ", "RR NM PX CE TF "},
        {110, "RR NM PX CE ", "RR NM PX CE TF "},
        {111, "RR NM CE ", "RR NM CE PX TF "},
        {146, "RR NM CE ", "RR NM CE PX TF "},
        {147, "RR NM CE ", "RR NM CE NM PX TF "},
        {248, "RR NM CE ", "RR NM CE NM PX TF "},
        {249, "RR NM CE ", "RR NM CE NM PX TF "},
        {255, "RR NM CE ", "RR NM CE NM PX TF "},
        // No file system here has such names; the chain of areas must hold all the same.
        {1000, "RR NM CE ", "RR NM CE NM CE NM CE NM CE NM PX TF "},
    };
    for (const auto& c : cases) {
        // Two bytes per character, so that a split may fall inside one.
        std::string name = c.nameBytes % 2 == 1 ? "x" : "";
        while (name.size() < c.nameBytes) {
            name += "\xC3\xA9";
        }
        MemoryFiles files({{ToWide("/" + name), ""}});
        const auto tree = IsoReader(MakeVolume(files, files.Items()).image).RockRidgeTree();
        ASSERT_EQ(tree.size(), 1u);
        const IsoReader::Record& record = tree.begin()->second;
        EXPECT_EQ(record.rrName, name);
        EXPECT_EQ(record.inlineSignatures, c.inRecord) << c.nameBytes;
        EXPECT_EQ(record.signatures, c.all) << c.nameBytes;
    }
}

TEST(RockRidge, AttributesAreNormalised) {
    MemoryFiles files;
    files.AddFolder(u"/f").status.mode = 0x41C0;              // rwx------
    files.AddFile(u"/f/a", "x").status.mode = 0x8000 | 0xFFF; // all bits
    files.At(u"/f/a").status.links = 3;
    const IsoReader reader(MakeVolume(files, {u"/f"}).image);
    const auto tree = reader.RockRidgeTree();
    const IsoReader::Record& folder = tree.at("/f");
    const IsoReader::Record& file = tree.at("/f/a");
    EXPECT_EQ(folder.mode, 0x416Du);
    EXPECT_EQ(file.mode, 0x816Du);
    EXPECT_EQ(file.links, 3u);
    EXPECT_EQ(file.uid, 0u);
    EXPECT_EQ(file.gid, 0u);
    // 9 September 2001 and the days behind it.
    EXPECT_EQ(file.modified[0], 101);
    EXPECT_EQ(file.modified[1], 9);
    EXPECT_EQ(file.modified, file.date);
    EXPECT_EQ(file.accessed[2], file.modified[2] + 1);
    EXPECT_EQ(file.changed[2], file.modified[2] + 2);
}

TEST(RockRidge, TheRootPointsAtTheExtensionRecord) {
    MemoryFiles files({{u"/a", ""}});
    const IsoReader reader(MakeVolume(files, {u"/a"}).image);
    const std::vector<IsoReader::Record> root = reader.Directory(reader.Root());
    EXPECT_EQ(root[0].signatures, "SP RR PX TF CE ER ");
    EXPECT_EQ(root[0].erIdentifier, "RRIP_1991A");
    EXPECT_EQ(root[1].signatures, "RR PX TF ");
    const auto& use = root[0].inlineUse;
    const auto er = reader.Sector(IsoReader::Both32(use, use.size() - 24));
    EXPECT_EQ(er[2], 236);
    EXPECT_EQ(std::count_if(er.begin() + 236, er.end(), [](uint8_t b) { return b != 0; }), 0);
}

class DeepTree : public testing::Test {
  protected:
    // d1/d2/.../d10 with a file in each, and two folders "same" below d8.
    static std::vector<uint8_t> MakeImage() {
        MemoryFiles files;
        std::u16string path;
        for (int level = 1; level <= 10; ++level) {
            path += FormatWide("/d%d", level);
            files.AddFile(path + u"/file", ToNative(path));
        }
        files.AddFolder(u"/d1/d2/d3/d4/d5/d6/d7/same");
        files.AddFolder(u"/d1/d2/d3/d4/d5/d6/d7/d8/same/d8");
        return MakeVolume(files, {u"/d1"}).image;
    }
    const IsoReader m_reader{MakeImage()};
};

TEST_F(DeepTree, IsWholeInEveryView) {
    const auto rockRidge = RockRidgeContents(m_reader);
    const auto joliet = JolietContents(m_reader);
    std::string path;
    for (int level = 1; level <= 10; ++level) {
        path += Format("/d%d", level);
        EXPECT_EQ(rockRidge.at(path), "folder");
        EXPECT_EQ(rockRidge.at(path + "/file"), path);
        EXPECT_EQ(joliet.at(ToWide(path + "/file")), path);
    }
    EXPECT_EQ(rockRidge.at("/.rr_moved"), "folder");
    EXPECT_EQ(joliet.size() + 1, rockRidge.size()) << "Joliet shows no /.rr_moved";
    for (const auto& [isoPath, record] : m_reader.IsoTree()) {
        EXPECT_LE(std::count(isoPath.begin(), isoPath.end(), '/'), record.IsDirectory() ? 7 : 8)
            << isoPath;
    }
}

// Counts the folders in each folder by the paths alone and compares with PX everywhere.
TEST_F(DeepTree, LinkCountsHold) {
    const auto tree = m_reader.RockRidgeTree();
    std::map<std::string, uint32_t> links = {{"", 2}};
    for (const auto& [path, record] : tree) {
        if (record.IsDirectory()) {
            links.try_emplace(path, 2);
            ++links[path.substr(0, path.rfind('/'))];
        }
    }
    links.erase("/.rr_moved"); // its own subdirectories show elsewhere
    for (const auto& [path, expected] : links) {
        const IsoReader::Record record = path.empty() ? m_reader.Root() : tree.at(path);
        EXPECT_EQ(m_reader.Directory(record)[0].links, expected) << "\".\" of " << path;
        EXPECT_EQ(record.links.value_or(expected), expected) << path; // the root's has none
    }
    EXPECT_EQ(m_reader.Directory(m_reader.Root())[1].links, links.at(""));
}

TEST_F(DeepTree, PlaceholdersAndMovedFoldersAreMarked) {
    size_t placeholders = 0;
    size_t moved = 0;
    for (const auto& [path, record] : m_reader.IsoTree()) {
        if (record.childLink) {
            ++placeholders;
            EXPECT_FALSE(record.IsDirectory());
            EXPECT_EQ(record.size, 0u);
            EXPECT_NE(record.extent, 0u);
            EXPECT_EQ(record.signatures, "RR NM PX TF CL ");
            EXPECT_EQ(record.mode, 0x16Du);
        }
        if (record.relocated) {
            ++moved;
            EXPECT_EQ(record.signatures, "RR NM PX TF RE ");
            EXPECT_TRUE(path.starts_with("/.RR_/"));
            EXPECT_EQ(m_reader.Directory(record)[1].signatures, "RR PX TF PL ");
        }
    }
    EXPECT_EQ(placeholders, 2u);
    EXPECT_EQ(moved, 2u);
}

} // namespace
} // namespace larkspin
