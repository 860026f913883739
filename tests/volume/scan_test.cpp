// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "support/udf_reader.h"
#include "volume/model/tree.h"
#include "volume_kit.h"

#include <gmock/gmock.h>

namespace larkspin {
namespace {

using testing::ElementsAre;

// Joliet shows each name as it is, wherever relocation puts it.
std::vector<std::string> NamesOf(const VolumeResult& result) {
    std::vector<std::string> names;
    for (const auto& [path, record] : IsoReader(result.image).JolietTree()) {
        names.push_back(path);
    }
    return names;
}

TEST(Scan, FailuresOfTheQueue) {
    const std::u16string deep = u'/' + std::u16string(1000, u'd');
    SourceFiles files({{deep + u'/' + std::u16string(23, u'n'), ""}});
    const std::u16string relocated = u"/d/d/d/d/d/d/d/d/d";
    files.AddFolder(relocated);
    files.AddFolder(u"/.rr_moved");
    for (const char16_t* path : {u"ab", u"1:\\", u"CX\\", u"C:/", u"/home"}) {
        files.AddFolder(path);
    }
    const struct {
        Queue queue;
        const char16_t* error;
    } cases[] = {
        {{}, u"No files to write."},
        {{u"/gone"}, u"No files to write."},
        {{u"/home", u"/gone"}, u"No files to write."}, // an empty folder
        {{u"ab"}, u"Internal error #991."},
        {{u"1:\\"}, u"Internal error #992."},
        {{u"CX\\"}, u"Internal error #993."},
        {{u"C:/"}, u"Internal error #994."},
        {{deep}, u"Internal error #940. The path of \"nnnnnnnnnnnnnnnnnnnnnnn\" is too long."},
        {{u"/d", u"/.rr_moved"}, u"Internal error #936. Rename \"/.rr_moved\" or \".rr_moved\"."},
    };
    for (const auto& c : cases) {
        const VolumeResult result = MakeVolume(files, c.queue);
        EXPECT_EQ(result.error, c.error);
        EXPECT_FALSE(result.toldSectors.has_value());
        EXPECT_EQ(result.writes, 0u);
    }
}

TEST(Scan, APathOf1024UnitsIsStreamed) {
    const std::u16string folder = u'/' + std::u16string(1000, u'd');
    const std::u16string file = folder + u'/' + std::u16string(22, u'n');
    SourceFiles files({{file, "far"}});
    const VolumeResult result = MakeVolume(files, {folder});
    EXPECT_EQ(result.error, u"");
    EXPECT_EQ(RockRidgeContents(IsoReader(result.image)), files.Expected());
}

TEST(Scan, RootsPutTheirContentsAtTheTop) {
    SourceFiles files({{u"/a", ""}, {u"/b/c", ""}});
    EXPECT_THAT(NamesOf(MakeVolume(files, {u"/"})), ElementsAre("/a", "/b", "/b/c"));

    SourceFiles drive;
    drive.AddFolder(u"C:\\").names = {u"x"};
    drive.AddFile(u"C:\\x");
    for (const char16_t* item : {u"C:\\", u"C:\\x"}) {
        EXPECT_THAT(NamesOf(MakeVolume(drive, {item})), ElementsAre("/x"));
    }
}

TEST(Scan, FoldersOfOneNameBecomeOneAtAnyDepth) {
    const std::u16string deep = u"/d/d/d/d/d/d/d/d/d";
    SourceFiles files({{u"/one/d/live/1", "first"},
                       {u"/one" + deep + u"/one", "one"},
                       {u"/two/d/live/2", "second"},
                       {u"/two" + deep + u"/two", "two"}});
    const VolumeResult result = MakeVolume(files, {u"/one/d", u"/two/d"});
    const SourceFiles joined({{u"/d/live/1", "first"},
                              {deep + u"/one", "one"},
                              {u"/d/live/2", "second"},
                              {deep + u"/two", "two"}});
    EXPECT_EQ(RockRidgeContents(IsoReader(result.image)), joined.Expected());
}

TEST(Scan, LeavesOutWhatHasNoContents) {
    SourceFiles files({{u"/f/vanished", ""}});
    files.nodes.erase(u"/f/vanished"); // the folder goes on listing it
    files.AddFile(u"/f/secret").isReadable = false;
    files.AddFile(u"/f/socket").status.type = FileStatus::Type::Other;
    files.AddFile(u"/f/huge").status.size = kFileSizeLimit;
    files.AddFile(u"/f/null").status.type = FileStatus::Type::CharacterDevice;
    files.AddFolder(u"/f/locked").isReadable = false;
    files.AddFile(u"/f/kept");
    files.AddFile(u"/f/half/read");
    files.AddFile(u"/f/half/not read");
    files.At(u"/f/half").lists = 1; // then an error
    files.AddFolder(u"/x/..");
    files.absences = {{u"/f/vanished", Absence::LeadsNowhere},
                      {u"/s/1", Absence::Forbidden},
                      {u"/s/2", Absence::Unreachable}};
    const VolumeResult result = MakeVolume(files, {u"/gone", u"/x/..", u"/f", u"/s/1", u"/s/2"});
    EXPECT_THAT(NamesOf(result),
                ElementsAre("/f", "/f/half", "/f/half/read", "/f/kept", "/f/locked"));
    EXPECT_THAT(
        result.notices,
        ElementsAre(u"File /gone cannot be found.", u"/x/.. has no name that a disc could show.",
                    u"File /f/huge is too large.", u"/f/null is neither a file nor a folder.",
                    u"File /f/secret cannot be read.", u"/f/socket is neither a file nor a folder.",
                    u"/f/vanished is a link that leads nowhere.",
                    u"Folder /f/half could not be read to its end. What was not read is "
                    u"not on the disc.",
                    u"Folder /f/locked cannot be read.",
                    u"/s/1 cannot be reached, for you may not enter a folder on the way to it.",
                    u"/s/2 cannot be reached, for the disk or server that it is on reports an "
                    u"error."));
}

TEST(Scan, TheLargestFileAndTheLargestVolume) {
    SourceFiles files;
    files.AddFile(u"/f/0").status.size = kFileSizeLimit - 2'000'000;
    files.AddFile(u"/f/1").status.size = 2'000'000;
    const VolumeResult one = RunGenerator(files, {u"/f/0"}, {.readerLeavesAfter = 0});
    EXPECT_EQ(one.error, u"");
    EXPECT_GT(one.toldSectors.value_or(0), 0x7FFF'F000u);
    EXPECT_EQ(one.writes, 1u) << "the run must end with its reader";
    const VolumeResult all = RunGenerator(files, {u"/f"}, {.readerLeavesAfter = 0});
    EXPECT_EQ(all.error, u"The files are too large for one volume.");
    EXPECT_FALSE(all.toldSectors.has_value());
}

// Sizes around those that one extent can have, in ISO 9660, Joliet and UDF.
TEST(Scan, LargeFilesHaveSeveralExtents) {
    constexpr uint64_t kLongest = 0xFFFFF800;
    const std::string longName = "/f/" + std::string(200, 'n'); // has a continuation area
    const std::pair<std::string, uint64_t> cases[] = {
        {"/f/a", 0x7FFFFFFF},   {"/f/b", kLongest},
        {"/f/c", kLongest + 1}, {longName, 2 * kLongest + 3000},
        {"/f/d", 0xFFFFFFFF},   {"/f/e", 0x1'0000'0001}};
    SourceFiles files;
    uint64_t sectors = 0;
    for (const auto& [path, size] : cases) {
        files.AddFile(ToWide(path), size);
        sectors += (size + 2047) / 2048;
    }
    const VolumeResult result = RunGenerator(
        files, {u"/f"},
        {.setOptions = [](GenOptions& o) { o.udf = true; }, .readerLeavesAfter = size_t{2} << 20});
    EXPECT_EQ(result.error, u"");
    EXPECT_NEAR(result.toldSectors.value_or(0), sectors, 1000);
    const IsoReader reader(result.image);
    const UdfReader udf(result.image);
    const IsoReader::Tree rockRidge = reader.RockRidgeTree();
    const IsoReader::Tree joliet = reader.JolietTree();
    for (const auto& [path, size] : cases) {
        const IsoReader::Record& record = rockRidge.at(path);
        const IsoReader::Record& other = joliet.at(path.substr(0, 3 + 103));
        EXPECT_EQ(record.size, size) << path;
        EXPECT_TRUE(other.size == size && other.extent == record.extent) << path;
        const UdfReader::Node& node = udf.nodes.at(path.substr(0, 3 + 103));
        EXPECT_EQ(node.extents.at(0).sector, record.extent) << path;
    }
    // The records of one file: as large as can be but for the last.
    std::vector<uint64_t> sizes;
    for (const IsoReader::Record& record : reader.Directory(rockRidge.at("/f"))) {
        if ("/f/" + record.rrName == longName) {
            sizes.push_back(record.size);
            EXPECT_EQ(record.signatures, "RR NM CE NM PX TF ");
        }
    }
    EXPECT_THAT(sizes, ElementsAre(kLongest, kLongest, 3000u));
}

TEST(Scan, ALoopOfLinksEnds) {
    SourceFiles files;
    // "/f/sub/up" is a link to "/f": the same folder under another path.
    FakeFiles::Node& up = files.AddFolder(u"/f/sub/up");
    up.status.inode = files.At(u"/f").status.inode;
    up.names = files.At(u"/f").names;
    files.AddFolder(u"/f/sub/up/sub");
    files.AddFile(u"/f/sub/file");
    const VolumeResult result = MakeVolume(files, {u"/f"});
    EXPECT_EQ(result.error, u"");
    EXPECT_THAT(NamesOf(result), ElementsAre("/f", "/f/sub", "/f/sub/file", "/f/sub/up"));
    EXPECT_THAT(result.notices,
                ElementsAre(u"Folder /f/sub/up is empty on the disc, for its contents are there in "
                            u"another place."));
}

TEST(Scan, AFolderThatTurnsIntoAFileIsOne) {
    SourceFiles files;
    files.AddFolder(u"/f/changing").isReadable = false;
    int looks = 0;
    files.onStatus = [&](const std::u16string& path) {
        if (path == u"/f/changing" && ++looks == 2) {
            files.At(path).status.type = FileStatus::Type::Regular;
            files.At(path).isReadable = true;
        }
    };
    const IsoReader::Tree tree = IsoReader(MakeVolume(files, {u"/f"}).image).RockRidgeTree();
    EXPECT_FALSE(tree.at("/f/changing").IsDirectory());
    EXPECT_EQ(tree.at("/f/changing").mode, 0x816Du);
}

// Files that would show under one name all stand on the volume, and are told.
TEST(Scan, TwinsGetNumbers) {
    const std::u16string longName = std::u16string(251, u'n') + u".jpg";
    SourceFiles files({{u"/1/photo.jpg", "1"},
                       {u"/2/photo.jpg", "2"},
                       {u"/3/photo.jpg", "3"},
                       {u"/1/photo (2).jpg", "its own"},
                       {u"/1/name", "a file"},
                       {u"/2/name/in", "in a folder"},
                       {u"/1/d/.x", "1"},
                       {u"/2/d/.x", "2"},
                       {u"/1/" + longName, "1"},
                       {u"/2/" + longName, "2"}});
    const VolumeResult result =
        MakeVolume(files, {u"/1/photo.jpg", u"/2/photo.jpg", u"/1/name", u"/3/photo.jpg",
                           u"/1/photo.jpg", u"/1/photo (2).jpg", u"/2/name", u"/1/d", u"/2/d",
                           u"/1/" + longName, u"/2/" + longName});
    EXPECT_EQ(result.error, u"");
    const std::string stem(247, 'n');
    const IsoReader reader(result.image);
    EXPECT_EQ(RockRidgeContents(reader), (Contents{{"photo.jpg", "1"},
                                                   {"photo (2).jpg", "its own"},
                                                   {"photo (3).jpg", "2"},
                                                   {"photo (4).jpg", "3"},
                                                   {"name", "folder"},
                                                   {"name/in", "in a folder"},
                                                   {"name (2)", "a file"},
                                                   {"d", "folder"},
                                                   {"d/.x", "1"},
                                                   {"d/.x (2)", "2"},
                                                   {stem + "nnnn.jpg", "1"},
                                                   {stem + " (2).jpg", "2"}}));
    EXPECT_EQ(result.notices.size(), 5u);
    EXPECT_THAT(result.notices,
                testing::Contains(u"File /2/photo.jpg is on the disc as \"photo (3).jpg\", for "
                                  u"another file has its name."));
}

TEST(Scan, BackupFilesGoByOption) {
    SourceFiles files(
        {{u"/f/a~", ""}, {u"/f/#b", ""}, {u"/f/c.BAK", ""}, {u"/f/.bak", ""}, {u"/f/d", ""}});
    EXPECT_EQ(NamesOf(MakeVolume(files, {u"/f"})).size(), 6u);
    const VolumeResult result =
        MakeVolume(files, {u"/f"}, 0, [](GenOptions& o) { o.keep_backup_files = false; });
    EXPECT_THAT(NamesOf(result), ElementsAre("/f", "/f/.bak", "/f/d"));
}

TEST(Scan, ClashesGoByOrderOfArrival) {
    SourceFiles files({{u"/a b.txt", ""}, {u"/a_b.txt", ""}, {u"/a+b.txt", ""}});
    for (int i = 0; i < 40; ++i) {
        files.AddFile(FormatWide("/abcdefgh%02d.x", i));
    }
    std::map<std::string, std::string> isoNames;
    for (const auto& [path, record] : IsoReader(MakeVolume(files, files.Items()).image).IsoTree()) {
        isoNames[record.rrName] = path;
    }
    EXPECT_EQ(isoNames.at("a b.txt"), "/A_B.TXT");
    EXPECT_EQ(isoNames.at("a_b.txt"), "/A_B001.TXT");
    EXPECT_EQ(isoNames.at("a+b.txt"), "/A_B000.TXT");
    // The later a name came, the earlier it got its digits.
    EXPECT_EQ(isoNames.at("abcdefgh00.x"), "/ABCDEFGH.X");
    EXPECT_EQ(isoNames.at("abcdefgh39.x"), "/ABCDE000.X");
    EXPECT_EQ(isoNames.at("abcdefgh04.x"), "/ABCDE00Z.X");
    EXPECT_EQ(isoNames.at("abcdefgh01.x"), "/ABCDE012.X");
}

} // namespace
} // namespace larkspin
