// Sessions of this program, one over the other.
#include "merge_kit.h"
#include "platform/text.h"

#include <gtest/gtest.h>

namespace larkspin {
namespace {

using Contents = std::map<std::string, std::string>;

TEST(MergeSessions, JoinsFoldersReplacesAndKeeps) {
    MemoryFiles first;
    first.AddFolder(u"/photos");
    first.AddFolder(u"/photos/old");
    first.AddFile(u"/photos/old/deep.txt", "deep");
    first.AddFile(u"/photos/same.txt", "unchanged");
    first.AddFile(u"/photos/changed.txt", "version 1");
    first.AddFile(u"/photos/dated.txt", "dated");
    first.AddFile(u"/photos/empty");
    first.AddFile(u"/single.txt", "single");
    MemoryDisc disc;
    const uint32_t firstSectors = disc.Append(first, {u"/photos", u"/single.txt"});
    const auto before = disc.Reader().RockRidgeTree();

    MemoryFiles second;
    second.AddFolder(u"/photos");
    second.AddFolder(u"/photos/new");
    second.AddFile(u"/photos/new/n.txt", "new");
    second.AddFile(u"/photos/same.txt", "unchanged").status.mode = 0x81FF;
    second.AddFile(u"/photos/changed.txt", "version 22");
    second.AddFile(u"/photos/dated.txt", "DATED").status.modifyTime += 1;
    second.AddFile(u"/photos/Same.txt", "another case");
    second.AddFile(u"/photos/empty");
    disc.Append(second, {u"/photos"});

    const IsoReader reader = disc.Reader();
    const Contents expected = {{"/photos", "folder"},
                               {"/photos/old", "folder"},
                               {"/photos/old/deep.txt", "deep"},
                               {"/photos/new", "folder"},
                               {"/photos/new/n.txt", "new"},
                               {"/photos/same.txt", "unchanged"},
                               {"/photos/Same.txt", "another case"},
                               {"/photos/changed.txt", "version 22"},
                               {"/photos/dated.txt", "DATED"},
                               {"/photos/empty", ""},
                               {"/single.txt", "single"}};
    EXPECT_EQ(RockRidgeContents(reader), expected);
    EXPECT_EQ(JolietContents(reader).size(), expected.size());
    reader.CheckPathTables(false);
    reader.CheckPathTables(true);

    const auto after = reader.RockRidgeTree();
    EXPECT_EQ(after.at("/photos/same.txt").extent, before.at("/photos/same.txt").extent);
    EXPECT_EQ(after.at("/photos/old/deep.txt").extent, before.at("/photos/old/deep.txt").extent);
    EXPECT_GT(after.at("/photos/changed.txt").extent, firstSectors);
    EXPECT_GT(after.at("/photos/dated.txt").extent, firstSectors);
    EXPECT_GT(after.at("/photos/old").extent, firstSectors);
    EXPECT_EQ(after.at("/photos").links, 4u);
    EXPECT_EQ(after.at("/photos/old").links, 2u);
    EXPECT_EQ(reader.Directory(reader.Root())[0].links, 3u);
    EXPECT_EQ(after.at("/single.txt").signatures, before.at("/single.txt").signatures);
    // The first session reads as before.
    EXPECT_EQ(RockRidgeContents(IsoReader(disc.bytes)).at("/photos/changed.txt"), "version 1");
}

} // namespace
} // namespace larkspin
