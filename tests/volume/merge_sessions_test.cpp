// Sessions of this program, one over the other.
#include "merge_kit.h"
#include "platform/text.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace larkspin {
namespace {

using Contents = std::map<std::string, std::string>;

TEST(MergeSessions, JoinsFoldersReplacesAndKeeps) {
    MemoryFiles first({{u"/photos/old/deep.txt", "deep"},
                       {u"/photos/same.txt", "unchanged"},
                       {u"/photos/changed.txt", "version 1"},
                       {u"/photos/dated.txt", "dated"},
                       {u"/photos/empty", ""},
                       {u"/single.txt", "single"}});
    MemoryDisc disc;
    const uint32_t firstSectors = disc.Append(first);
    const auto before = disc.Reader().RockRidgeTree();

    MemoryFiles second({{u"/photos/new/n.txt", "new"},
                        {u"/photos/same.txt", "unchanged"},
                        {u"/photos/changed.txt", "version 22"},
                        {u"/photos/dated.txt", "DATED"},
                        {u"/photos/Same.txt", "another case"},
                        {u"/photos/empty", ""}});
    second.At(u"/photos/dated.txt").status.modifyTime += 1;
    second.At(u"/photos/same.txt").status.mode = 0x81FF;
    disc.Append(second);

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
        MemoryFiles files({{u"/file", "text"}});
        FileStatus& status = files.At(u"/file").status;
        status.modifyTime = c.firstTime;
        {
            const ZoneScope zone(c.firstZone);
            disc.Append(files);
        }
        const uint32_t extent = disc.Reader().RockRidgeTree().at("/file").extent;
        status.modifyTime = c.secondTime;
        status.mode ^= 0x49; // permissions don't count
        status.changeTime += 5;
        const ZoneScope zone(c.secondZone);
        disc.Append(files);
        EXPECT_EQ(disc.Reader().RockRidgeTree().at("/file").extent == extent, c.kept);
        EXPECT_EQ(RockRidgeContents(disc.Reader()).at("/file"), "text");
    }
}

// Data that others write, made of that of this program by one byte of an entry.
TEST(MergeSessions, WhatOthersSayOfAnUnchangedFile) {
    const struct {
        const char* what;
        std::string_view entry; // which becomes the next
        std::string_view changed;
        int64_t later; // change time
        bool kept;
    } cases[] = {
        {"dates of creation, modification and access", "TF\x1A\1\x0E", "TF\x1A\1\x07", 0, true},
        {"created at another time", "TF\x1A\1\x0E", "TF\x1A\1\x07", 5, false},
        {"modified at another time", "TF\x1A\1\x0E", "TF\x1A\1\x06", 0, true},
        {"long dates", "TF\x1A\1\x0E", "TF\x1A\1\x8E", 0, false},
        {"a sparse file", "RR\5\1", "SF\5\1", 0, false},
        {"a link", "PX\x24\1\x6D", "PX\x24\1\x6D\xA1", 0, false},
        {"other permissions", "PX\x24\1\x6D", "PX\x24\1\x24", 0, true},
    };
    for (const auto& c : cases) {
        MemoryFiles files({{u"/file", "text"}});
        FileStatus& status = files.At(u"/file").status;
        status.accessTime = status.changeTime = status.modifyTime;
        MemoryDisc disc;
        disc.Append(files);
        const uint32_t extent = disc.Reader().RockRidgeTree().at("/file").extent;
        const auto root = disc.bytes.begin() + disc.Reader().Root().extent * 2048;
        constexpr std::string_view kName = "FILE.";
        const auto record = std::search(root, root + 2048, kName.begin(), kName.end());
        const auto entry = std::search(record, root + 2048, c.entry.begin(), c.entry.end());
        ASSERT_NE(entry, root + 2048) << c.what;
        std::copy(c.changed.begin(), c.changed.end(), entry);
        status.changeTime += c.later;
        const VolumeResult result = disc.Merge(files, files.Items());
        ASSERT_EQ(result.error, u"") << c.what;
        const IsoReader reader(result.image, disc.Sectors());
        EXPECT_EQ(reader.Directory(reader.Root()).at(2).extent == extent, c.kept) << c.what;
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
            expected[ToNative(path)] = "folder";
            const std::u16string name = path + FormatWide("/file %d", session);
            expected[ToNative(name)] = ToNative(name);
            files.AddFile(name, ToNative(name));
        }
        disc.Append(files);
        expected["/.rr_moved"] = "folder";
        const IsoReader reader = disc.Reader();
        ASSERT_EQ(RockRidgeContents(reader), expected) << session;
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
        disc.Append({{u"/new", "new"}});
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
        disc.Append({{u"/A.BIN", "whole"}});
        EXPECT_EQ(RecordsOf(disc, "A.BIN", false).size(), 1u);
    }
}

TEST(MergeSessions, CdXaDataGivesWayToNames) {
    MemoryFiles files({{u"/a long name.text", "long"}});
    MemoryDisc disc(MakeVolume(files, files.Items(), 0, [](GenOptions& options) {
                        options.cd_xa = true;
                    }).image);
    disc.Append({{u"/new", "new"}});
    EXPECT_EQ(RockRidgeContents(disc.Reader()),
              (Contents{{"/a long name.text", "long"}, {"/new", "new"}}));
}

TEST(MergeSessions, RockRidgeMustBeAnnounced) {
    for (const bool isInArea : {false, true}) {
        MemoryDisc disc;
        disc.Append({{u"/a long name.text", "long"}});
        const auto find = [&](std::string_view text) {
            return std::search(disc.bytes.begin(), disc.bytes.end(), text.begin(), text.end());
        };
        const auto sp = find("SP\7\1");
        if (isInArea) { // behind the ER, to which the CE leads
            const auto er = find("RRIP_1991A") - 8;
            std::copy_n(sp, 7, er + er[2]);
            const auto ce = find("CE\x1C\1");
            ce[20] = ce[27] = static_cast<uint8_t>(er[2] + 7); // both halves of the length
        }
        *sp = 'X';
        disc.Append({{u"/new", "new"}});
        EXPECT_EQ(
            JolietContents(disc.Reader()),
            (std::map<std::u16string, std::string>{
                {isInArea ? u"/a long name.text" : u"/A_LONG_N.TEX", "long"}, {u"/new", "new"}}));
    }
}

TEST(MergeSessions, AnOldNameThatIsTakenGetsDigits) {
    const std::string old = "/a_" + std::string(80, 'x');
    const std::string fresh = "/a " + std::string(80, 'x');
    MemoryDisc disc;
    disc.Append({{ToWide(old), "old"}});
    disc.Append({{ToWide(fresh), "new"}});
    EXPECT_EQ(RockRidgeContents(disc.Reader()), (Contents{{old, "old"}, {fresh, "new"}}));
    EXPECT_EQ(RecordsOf(disc, "A_XXXXXX.", false).at(0).rrName, fresh.substr(1));
    EXPECT_EQ(RecordsOf(disc, "A_XXX000.", false).at(0).rrName, old.substr(1));
}

// Nothing that the user has not asked for goes from sight.
TEST(MergeSessions, AFileAndAFolderOfOneName) {
    const std::u16string deep = u"/d/d/d/d/d/d/d/d/d";
    const struct {
        std::u16string old;
        std::u16string fresh;
        const char16_t* error;
    } cases[] = {{u"/name/in", u"/name", u"Cannot merge previous session."},
                 {u"/.rr_moved", deep, u"Cannot merge previous session."},
                 {u"/name", u"/name/in", u""}};
    for (const auto& c : cases) {
        MemoryDisc disc;
        disc.Append({{c.old, "old"}});
        MemoryFiles second({{c.fresh, "new"}});
        const VolumeResult result = disc.Merge(second, second.Items());
        EXPECT_EQ(result.error, c.error);
        EXPECT_EQ(result.image.empty(), !result.error.empty());
    }
}

} // namespace
} // namespace larkspin
