// Sessions of this program, one over the other.
#include "merge_kit.h"
#include "platform/text.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
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

// The time zone of this process for as long as it lives.
class ZoneScope {
  public:
    explicit ZoneScope(const char* zone) { Set(zone); }
    ZoneScope(const ZoneScope&) = delete;
    ZoneScope& operator=(const ZoneScope&) = delete;
    ~ZoneScope() { Set("UTC"); }

  private:
    static void Set(const char* zone) {
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
};

TEST(MergeSessions, WhatCountsAsUnchanged) {
    constexpr int64_t kWinter = 1'200'000'001; // an odd second
    constexpr int64_t kSummer = kWinter + 182 * 86'400;
    const struct {
        const char* what;
        const char* firstZone;
        const char* secondZone;
        int64_t firstTime;
        int64_t secondTime;
        bool kept;
    } cases[] = {
        {"the same", "Europe/Berlin", "Europe/Berlin", kWinter, kWinter, true},
        {"the same in summer", "Europe/Berlin", "Europe/Berlin", kSummer, kSummer, true},
        {"a file system that moves with daylight saving", "Europe/Berlin", "Europe/Berlin", kSummer,
         kSummer - 3600, false},
        {"a file system of two seconds", "UTC", "UTC", kWinter, kWinter - 1, false},
        {"the zone has changed", "UTC", "Europe/Berlin", kWinter, kWinter, false},
        {"the same local time in another zone", "UTC", "Europe/Berlin", kWinter, kWinter - 3600,
         false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        MemoryDisc disc;
        MemoryFiles files;
        files.AddFile(u"/file", "text").status.modifyTime = c.firstTime;
        {
            const ZoneScope zone(c.firstZone);
            disc.Append(files, {u"/file"});
        }
        const uint32_t extent = disc.Reader().RockRidgeTree().at("/file").extent;
        files.At(u"/file").status.modifyTime = c.secondTime;
        files.At(u"/file").status.mode ^= 0x49; // permissions don't count
        files.At(u"/file").status.changeTime += 5;
        const ZoneScope zone(c.secondZone);
        disc.Append(files, {u"/file"});
        const auto record = disc.Reader().RockRidgeTree().at("/file");
        EXPECT_EQ(record.extent == extent, c.kept);
        EXPECT_EQ(TextOf(disc.Reader().Contents(record)), "text");
    }
}

TEST(MergeSessions, TenInARowWithDeepFolders) {
    MemoryDisc disc;
    Contents expected;
    for (int session = 0; session < 10; ++session) {
        // Even sessions bring the deep folders of earlier ones again, odd ones other names.
        MemoryFiles files;
        std::u16string path;
        for (int level = 0; level < 11; ++level) {
            path += session % 2 == 0 ? FormatWide("/d%d", level)
                                     : FormatWide("/s%d d%d", session, level);
            files.AddFolder(path);
            expected[ToNative(path)] = "folder";
            const std::u16string name = path + FormatWide("/file %d", session);
            files.AddFile(name, ToNative(name));
            expected[ToNative(name)] = ToNative(name);
        }
        const size_t end = path.find(u'/', 1);
        disc.Append(files, {path.substr(0, end)});
        expected["/.rr_moved"] = "folder";
        const IsoReader reader = disc.Reader();
        ASSERT_EQ(RockRidgeContents(reader), expected) << session;
        reader.CheckPathTables(false);
        reader.CheckPathTables(true);
        ASSERT_EQ(JolietContents(reader).size(), expected.size() - 1) << session;
        for (const auto& [name, record] : reader.RockRidgeTree()) {
            if (record.IsDirectory() && name != "/.rr_moved") {
                ASSERT_EQ(record.links, name.ends_with("d10") ? 2u : 3u) << name;
            }
        }
    }
}

// Root records whose raw name is this, as the last session has them.
std::vector<IsoReader::Record> RecordsOf(const MemoryDisc& disc, const std::string& rawName,
                                         bool joliet) {
    const IsoReader reader = disc.Reader();
    std::vector<IsoReader::Record> records;
    for (const auto& record :
         joliet ? reader.Directory(reader.JolietRoot(), false) : reader.Directory(reader.Root())) {
        if (record.rawName == rawName) {
            records.push_back(record);
        }
    }
    return records;
}

TEST(MergeSessions, SectionsAndAssociatedFilesStayTogether) {
    for (const uint8_t flag : {0x80, 0x04}) {
        MemoryDisc disc = DiscOfTwins(flag);
        MemoryFiles second;
        second.AddFile(u"/new", "new");
        disc.Append(second, {u"/new"});
        for (const bool joliet : {false, true}) {
            const std::string name = joliet ? std::string("\0A\0.\0B\0I\0N", 10) : "A.BIN";
            const auto records = RecordsOf(disc, name, joliet);
            ASSERT_EQ(records.size(), 2u);
            EXPECT_EQ(records[0].flags, flag);
            EXPECT_EQ(records[0].size, 4096u);
            EXPECT_EQ(records[1].flags, 0);
            EXPECT_EQ(TextOf(disc.Reader().Contents(records[1])), "B");
        }
        // A file of the name takes the place of all of them.
        MemoryFiles third;
        third.AddFile(u"/A.BIN", "whole");
        disc.Append(third, {u"/A.BIN"});
        EXPECT_EQ(RecordsOf(disc, "A.BIN", false).size(), 1u);
    }
}

TEST(MergeSessions, CdXaDataGivesWayToNames) {
    MemoryFiles files;
    files.AddFile(u"/a long name.text", "long");
    MemoryDisc disc(MakeVolume(files, {u"/a long name.text"}, 0, [](GenOptions& options) {
                        options.cd_xa = true;
                    }).image);
    MemoryFiles second;
    second.AddFile(u"/new", "new");
    disc.Append(second, {u"/new"});
    EXPECT_EQ(RockRidgeContents(disc.Reader()),
              (Contents{{"/a long name.text", "long"}, {"/new", "new"}}));
}

TEST(MergeSessions, AnOldNameThatIsTakenGetsDigits) {
    MemoryFiles files;
    const std::u16string longName = u"/a_" + std::u16string(80, u'x');
    files.AddFile(longName, "old");
    files.AddFolder(u"/a_x");
    MemoryDisc disc;
    disc.Append(files, {longName});
    MemoryFiles second;
    const std::u16string other = u"/a " + std::u16string(80, u'x');
    second.AddFile(other, "new");
    disc.Append(second, {other});
    EXPECT_EQ(RockRidgeContents(disc.Reader()),
              (Contents{{ToNative(longName), "old"}, {ToNative(other), "new"}}));
    EXPECT_EQ(RecordsOf(disc, "A_XXXXXX.", false).at(0).rrName, ToNative(other).substr(1));
    EXPECT_EQ(RecordsOf(disc, "A_XXX000.", false).at(0).rrName, ToNative(longName).substr(1));
}

TEST(MergeSessions, AFileNeverHidesAnOldFolder) {
    MemoryFiles files;
    files.AddFolder(u"/name");
    files.AddFile(u"/name/in", "in");
    MemoryDisc disc;
    disc.Append(files, {u"/name"});
    MemoryFiles second;
    second.AddFile(u"/name", "file");
    const VolumeResult result = disc.Merge(second, {u"/name"});
    EXPECT_EQ(result.error, u"Cannot merge previous session.");
    EXPECT_TRUE(result.image.empty());
}

} // namespace
} // namespace larkspin
