#include "platform/paths.h"
#include "platform/text.h"
#include "volume_kit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace larkspin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Key;
using testing::UnorderedElementsAre;

// Joliet shows each name as it is, wherever relocation puts it.
std::vector<std::u16string> NamesOf(const VolumeResult& result) {
    std::vector<std::u16string> names;
    for (const auto& [path, record] : IsoReader(result.image).JolietTree()) {
        names.push_back(path);
    }
    return names;
}

TEST(Scan, FailuresOfTheQueue) {
    MemoryFiles files;
    for (const char16_t* path : {u"ab", u"1:\\", u"CX\\", u"C:/"}) {
        files.AddFolder(path);
    }
    files.AddFolder(u"/home");
    const std::u16string deep = JoinPath(u"/", std::u16string(1000, u'd'));
    files.AddFolder(deep);
    files.AddFile(JoinPath(deep, std::u16string(23, u'n')));
    const struct {
        std::vector<std::u16string> queue;
        const char16_t* error;
    } cases[] = {
        {{}, u"No files to write."},
        {{u"/gone"}, u"Cannot add file to disk: /gone."},
        {{u"/home", u"/gone"}, u"Cannot add file to disk: /gone."},
        {{u"ab"}, u"Internal error #991."},
        {{u"1:\\"}, u"Internal error #992."},
        {{u"CX\\"}, u"Internal error #993."},
        {{u"C:/"}, u"Internal error #994."},
        {{deep}, u"Internal error #940."},
    };
    for (const auto& c : cases) {
        const VolumeResult result = MakeVolume(files, c.queue);
        EXPECT_EQ(result.error, c.error);
        EXPECT_FALSE(result.toldSectors.has_value());
        EXPECT_THAT(result.image, IsEmpty());
    }
}

TEST(Scan, APathOf1024UnitsIsStreamed) {
    MemoryFiles files;
    const std::u16string folder = JoinPath(u"/", std::u16string(1000, u'd'));
    const std::u16string file = JoinPath(folder, std::u16string(22, u'n'));
    files.AddFolder(folder);
    files.AddFile(file, "far");
    ASSERT_EQ(file.size(), 1024u);
    const VolumeResult result = MakeVolume(files, {folder});
    EXPECT_EQ(result.error, u"");
    const IsoReader reader(result.image);
    EXPECT_EQ(TextOf(reader.Contents(reader.RockRidgeTree().rbegin()->second)), "far");
}

TEST(Scan, RootsPutTheirContentsAtTheTop) {
    MemoryFiles files;
    files.AddFolder(u"/");
    files.AddFile(u"/a");
    files.AddFolder(u"/b");
    files.AddFile(u"/b/c");
    EXPECT_THAT(NamesOf(MakeVolume(files, {u"/"})), ElementsAre(u"/a", u"/b", u"/b/c"));

    MemoryFiles drive;
    drive.AddFolder(u"C:\\").names = {u"x"};
    drive.AddFile(u"C:\\x");
    for (const char16_t* item : {u"C:\\", u"C:\\x"}) {
        EXPECT_THAT(NamesOf(MakeVolume(drive, {item})), ElementsAre(u"/x"));
    }
}

TEST(Scan, FoldersOfOneNameBecomeOne) {
    MemoryFiles files;
    files.AddFolder(u"/one");
    files.AddFolder(u"/one/music");
    files.AddFolder(u"/one/music/live");
    files.AddFile(u"/one/music/live/1", "first");
    files.AddFolder(u"/two");
    files.AddFolder(u"/two/music");
    files.AddFolder(u"/two/music/live");
    files.AddFile(u"/two/music/live/2", "second");
    files.AddFile(u"/two/music/3", "third");
    const VolumeResult result = MakeVolume(files, {u"/one/music", u"/two/music"});
    ASSERT_EQ(result.error, u"");
    EXPECT_THAT(NamesOf(result), ElementsAre(u"/music", u"/music/3", u"/music/live",
                                             u"/music/live/1", u"/music/live/2"));
    const IsoReader reader(result.image);
    const auto tree = reader.RockRidgeTree();
    EXPECT_EQ(TextOf(reader.Contents(tree.at("/music/live/1"))), "first");
    EXPECT_EQ(TextOf(reader.Contents(tree.at("/music/live/2"))), "second");
    EXPECT_EQ(tree.at("/music").links, 3u);
}

TEST(Scan, RelocatedFoldersOfOneNameBecomeOne) {
    MemoryFiles files;
    for (const std::u16string top : {u"/one", u"/two"}) {
        files.AddFolder(top);
        std::u16string path = top;
        for (int level = 1; level <= 9; ++level) {
            path += u"/d";
            files.AddFolder(path);
        }
        files.AddFile(path + u"/file of " + top.substr(1), "x");
    }
    const VolumeResult result = MakeVolume(files, {u"/one/d", u"/two/d"});
    ASSERT_EQ(result.error, u"");
    const auto tree = IsoReader(result.image).RockRidgeTree();
    const std::string deepest = "/d/d/d/d/d/d/d/d/d";
    EXPECT_TRUE(tree.contains(deepest + "/file of one"));
    EXPECT_TRUE(tree.contains(deepest + "/file of two"));
}

TEST(Scan, LeavesOutWhatHasNoContents) {
    MemoryFiles files;
    files.AddFolder(u"/f");
    files.AddFile(u"/f/vanished");
    files.Remove(u"/f/vanished");
    files.AddFile(u"/f/secret").readable = false;
    files.AddFile(u"/f/socket").status.type = FileStatus::Type::Other;
    files.AddFile(u"/f/huge").status.size = 0x7FFFFFFF;
    files.AddFile(u"/f/null", "").status.type = FileStatus::Type::CharacterDevice;
    files.At(u"/f/null").status.size = 12;
    files.AddFolder(u"/f/locked").readable = false;
    files.AddFile(u"/f/kept");
    const VolumeResult result = MakeVolume(files, {u"/f"});
    EXPECT_THAT(NamesOf(result), ElementsAre(u"/f", u"/f/kept", u"/f/locked", u"/f/null"));
    EXPECT_THAT(result.notices, ElementsAre(u"File /f/huge is too large."));
    EXPECT_EQ(IsoReader(result.image).RockRidgeTree().at("/f/null").size, 0u);
}

TEST(Scan, TheLargestFileIsKept) {
    MemoryFiles files;
    files.AddFile(u"/big").status.size = 0x7FFFFFFE;
    FixedClock clock;
    MemorySink sink;
    sink.readerLeavesAfter = 0;
    uint32_t told = 0;
    CCDWriterISOGen generator(files, clock);
    generator.ResetOptions();
    generator.MakeVolume({u"/big"}, sink, 0, 0, [&](uint32_t sectors) { told = sectors; });
    EXPECT_GT(told, 0x7FFFFFFEu / 2048);
    EXPECT_EQ(sink.writes, 1u) << "the run must end with its reader";
}

TEST(Scan, ALoopOfLinksEnds) {
    MemoryFiles files;
    files.AddFolder(u"/f");
    files.AddFolder(u"/f/sub");
    // "/f/sub/up" is a link to "/f": the same folder under another path.
    MemoryFiles::Node& up = files.AddFolder(u"/f/sub/up");
    up.status.inode = files.At(u"/f").status.inode;
    up.names = files.At(u"/f").names;
    files.AddFolder(u"/f/sub/up/sub");
    const VolumeResult result = MakeVolume(files, {u"/f"});
    EXPECT_EQ(result.error, u"");
    EXPECT_THAT(NamesOf(result), ElementsAre(u"/f", u"/f/sub", u"/f/sub/up"));
}

TEST(Scan, AFolderThatTurnsIntoAFileIsOne) {
    MemoryFiles files;
    files.AddFolder(u"/f");
    files.AddFolder(u"/f/changing");
    files.onEnumerate = [&](const std::u16string& path) {
        if (path == u"/f/changing") {
            files.At(path).status.type = FileStatus::Type::Regular;
        }
    };
    const auto tree = IsoReader(MakeVolume(files, {u"/f"}).image).RockRidgeTree();
    EXPECT_FALSE(tree.at("/f/changing").IsDirectory());
    EXPECT_EQ(tree.at("/f/changing").mode, 0x816Du);
}

TEST(Scan, BackupFilesGoByOption) {
    MemoryFiles files;
    files.AddFolder(u"/f");
    for (const char16_t* name : {u"/f/a~", u"/f/#b", u"/f/c.BAK", u"/f/.bak", u"/f/d"}) {
        files.AddFile(name);
    }
    EXPECT_EQ(NamesOf(MakeVolume(files, {u"/f"})).size(), 6u);
    const VolumeResult result =
        MakeVolume(files, {u"/f"}, 0, [](GenOptions& o) { o.keep_backup_files = false; });
    EXPECT_THAT(NamesOf(result), ElementsAre(u"/f", u"/f/.bak", u"/f/d"));
}

TEST(Scan, NamesThatCanNotStandSideBySideFail) {
    const std::u16string longName(103, u'n');
    const struct {
        std::vector<std::u16string> paths;
        const char16_t* error;
    } cases[] = {
        {{u"/one/same", u"/two/same"}, u"Internal error #936."},
        {{u"/one/a\\b", u"/one/a_b"}, u"Internal error #936."},
        {{u"/one/" + longName + u"1", u"/one/" + longName + u"2"},
         u"Internal error #907. Cannot sort Joliet file tree."},
    };
    for (const auto& c : cases) {
        MemoryFiles files;
        for (const std::u16string& path : c.paths) {
            files.AddFile(path);
        }
        EXPECT_EQ(MakeVolume(files, c.paths).error, c.error);
    }
}

TEST(Scan, ClashesGoByOrderOfArrival) {
    MemoryFiles files;
    std::vector<std::u16string> queue;
    for (const char16_t* path : {u"/a b.txt", u"/a_b.txt", u"/a+b.txt"}) {
        files.AddFile(path);
        queue.push_back(path);
    }
    for (int i = 0; i < 40; ++i) {
        queue.push_back(FormatWide("/abcdefgh%02d.x", i));
        files.AddFile(queue.back());
    }
    const IsoReader reader(MakeVolume(files, queue).image);
    std::map<std::string, std::string> isoNames;
    for (const auto& [path, record] : reader.IsoTree()) {
        isoNames[record.rrName] = record.rawName;
    }
    EXPECT_EQ(isoNames.at("a b.txt"), "A_B.TXT");
    EXPECT_EQ(isoNames.at("a_b.txt"), "A_B001.TXT");
    EXPECT_EQ(isoNames.at("a+b.txt"), "A_B000.TXT");
    EXPECT_EQ(isoNames.at("abcdefgh00.x"), "ABCDEFGH.X");
    const auto tree = reader.IsoTree();
    EXPECT_THAT(tree, testing::Contains(Key("/ABCDE00Z.X")));
    EXPECT_THAT(tree, testing::Contains(Key("/ABCDE012.X")));
    EXPECT_THAT(tree, testing::Not(testing::Contains(Key("/ABCDE013.X"))));
}

} // namespace
} // namespace larkspin
