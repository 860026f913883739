// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume_kit.h"

#include <gmock/gmock.h>

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
        SourceFiles files({{ToWide("/" + name), ""}});
        const IsoReader reader(MakeVolume(files, files.Items()).image);
        const IsoReader::Record record = reader.RockRidgeTree().at("/" + name);
        EXPECT_EQ(record.inlineSignatures, c.inRecord) << c.nameBytes;
        EXPECT_EQ(record.signatures, c.all) << c.nameBytes;
    }
}

TEST(RockRidge, AttributesAreNormalised) {
    SourceFiles files;
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
    SourceFiles files({{u"/a", ""}});
    const IsoReader reader(MakeVolume(files, {u"/a"}).image);
    const std::vector<IsoReader::Record> root = reader.Directory(reader.Root());
    EXPECT_EQ(root[0].signatures, "SP RR PX TF CE ER ");
    EXPECT_EQ(root[0].erIdentifier, "RRIP_1991A");
    EXPECT_EQ(root[1].signatures, "RR PX TF ");
}

TEST(RockRidge, PlaceholdersAndMovedFoldersAreMarked) {
    SourceFiles files = Tree();
    const IsoReader reader(MakeVolume(files, {u"/top"}).image);
    std::vector<std::string> placeholders;
    std::vector<std::string> moved;
    for (const auto& [path, record] : reader.IsoTree()) {
        if (record.childLink) {
            placeholders.push_back(record.rrName);
            EXPECT_NE(record.extent, 0u);
            EXPECT_EQ(record.signatures, "RR NM PX TF CL ");
            EXPECT_EQ(record.mode, 0x16Du);
        }
        if (record.relocated) {
            moved.push_back(record.rrName);
            EXPECT_EQ(record.signatures, "RR NM PX TF RE ");
            EXPECT_TRUE(path.starts_with("/.RR_/"));
            EXPECT_EQ(reader.Directory(record)[1].signatures, "RR PX TF PL ");
        }
    }
    EXPECT_THAT(placeholders,
                testing::UnorderedElementsAre("empty", "level 8", "empty", "level 14"));
    EXPECT_THAT(moved, testing::UnorderedElementsAreArray(placeholders));
}

} // namespace
} // namespace larkspin
