// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Sessions of this program, one over the other.
#include "merge_kit.h"

namespace larkspin {
namespace {

TEST(MergeSessions, JoinsFoldersReplacesAndKeeps) {
    SourceFiles first({{u"/photos/old/deep.txt", "deep"},
                       {u"/photos/same.txt", "unchanged"},
                       {u"/photos/changed.txt", "version 1"},
                       {u"/photos/dated.txt", "dated"},
                       {u"/photos/empty", ""},
                       {u"/single.txt", "single"}});
    first.AddFolder(u"/empty folder");
    MemoryDisc disc;
    disc.Append(first);
    const uint32_t firstSectors = disc.Sectors();
    const IsoReader::Tree before = disc.Reader().RockRidgeTree();

    SourceFiles second({{u"/photos/new/n.txt", "new"},
                        {u"/photos/same.txt", "unchanged"},
                        {u"/photos/changed.txt", "version 22"},
                        {u"/photos/dated.txt", "DATED"},
                        {u"/photos/Same.txt", "another case"},
                        {u"/photos/empty", ""}});
    second.At(u"/photos/dated.txt").status.modifyTime += 1;
    second.At(u"/photos/same.txt").status.mode = 0x81FF;
    disc.Append(second);

    Contents expected = second.Expected();
    expected.merge(first.Expected());
    EXPECT_EQ(RockRidgeContents(disc.Reader()), expected);
    EXPECT_EQ(JolietContents(disc.Reader()), expected);

    const IsoReader::Tree after = disc.Reader().RockRidgeTree();
    EXPECT_EQ(after.at("/photos/same.txt").extent, before.at("/photos/same.txt").extent);
    EXPECT_EQ(after.at("/photos/old/deep.txt").extent, before.at("/photos/old/deep.txt").extent);
    EXPECT_GT(after.at("/photos/changed.txt").extent, firstSectors);
    EXPECT_GT(after.at("/photos/dated.txt").extent, firstSectors);
    EXPECT_GT(after.at("/photos/old").extent, firstSectors);
    EXPECT_EQ(after.at("/single.txt").signatures, before.at("/single.txt").signatures);
    // The first session reads as before.
    EXPECT_EQ(RockRidgeContents(IsoReader(disc.bytes)).at("photos/changed.txt"), "version 1");
}

TEST(MergeSessions, WhatCountsAsUnchanged) {
    constexpr int64_t kWinter = 1'200'000'001; // an odd second
    constexpr int64_t kSummer = kWinter + 182 * 86'400;
    const char* const berlin = "Europe/Berlin";
    const struct {
        const char* what;
        const char* firstZone;
        const char* secondZone;
        int64_t time;
        int64_t later; // seconds
        int64_t changedLater;
        bool kept;
    } cases[] = {
        {"the same in summer", berlin, berlin, kSummer, 0, 0, true},
        {"a file system that moves with daylight saving", berlin, berlin, kSummer, -3600, 0, false},
        {"a file system of two seconds", "UTC", "UTC", kWinter, -1, 0, false},
        {"a date that was set back", "UTC", "UTC", kWinter, 0, 1, false},
        {"the zone has changed", "UTC", berlin, kWinter, 0, 0, false},
        {"the same local time in another zone", "UTC", berlin, kWinter, -3600, 0, false},
    };
    for (const auto& c : cases) {
        MemoryDisc disc;
        SourceFiles files({{u"/file", "text"}});
        FileStatus& status = files.At(u"/file").status;
        status.modifyTime = c.time;
        {
            const ZoneScope zone(c.firstZone);
            disc.Append(files);
        }
        const uint32_t extent = disc.Reader().RockRidgeTree().at("/file").extent;
        status.modifyTime += c.later;
        status.mode ^= 0x49; // permissions don't count
        status.changeTime += c.changedLater;
        const ZoneScope zone(c.secondZone);
        disc.Append(files);
        EXPECT_EQ(disc.Reader().RockRidgeTree().at("/file").extent == extent, c.kept) << c.what;
        EXPECT_EQ(RockRidgeContents(disc.Reader()), files.Expected());
    }
}

// Data that others write, made of that of this program by one byte of an entry.
TEST(MergeSessions, WhatOthersSayOfAnUnchangedFile) {
    const struct {
        const char* what;
        std::string_view entry; // which becomes the next
        std::string_view changed;
        int64_t changedLater;
        int64_t modifiedLater;
        bool kept;
    } cases[] = {
        {"creation, modification and access", "TF\x1A\1\x0E", "TF\x1A\1\x07", 0, 0, true},
        {"created at another time", "TF\x1A\1\x0E", "TF\x1A\1\x07", 5, 0, false},
        {"without a time of change", "TF\x1A\1\x0E", "TF\x1A\1\x06", 5, 0, true},
        {"changed at another time", "TF\x1A\1\x0E", "TF\x1A\1\x0A", 5, 0, false},
        {"long dates", "TF\x1A\1\x0E", "TF\x1A\1\x8E", 0, 0, false},
        {"the date of the record alone", "TF\x1A\1\x0E", "XX\x1A\1\x0E", 5, 0, true},
        {"another date of the record", "TF\x1A\1\x0E", "XX\x1A\1\x0E", 0, 5, false},
        {"a sparse file", "RR\5\1", "SF\5\1", 0, 0, false},
        {"a link", "PX\x24\1\x6D", "PX\x24\1\x6D\xA1", 0, 0, false},
        {"other permissions", "PX\x24\1\x6D", "PX\x24\1\x24", 0, 0, true},
    };
    for (const auto& c : cases) {
        SourceFiles files({{u"/file", "text"}});
        FileStatus& status = files.At(u"/file").status;
        status.accessTime = status.changeTime = status.modifyTime;
        MemoryDisc disc;
        disc.Append(files);
        const uint32_t extent = disc.Reader().RockRidgeTree().at("/file").extent;
        uint8_t* const entry = disc.Find(c.entry, disc.RootRecord("FILE."));
        std::copy(c.changed.begin(), c.changed.end(), entry);
        status.changeTime += c.changedLater;
        status.modifyTime += c.modifiedLater;
        const VolumeResult result = disc.Merge(files);
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
        SourceFiles files;
        std::u16string path;
        for (int level = 0; level < 11; ++level) {
            path += session % 2 == 0 ? FormatWide("/d%d", level)
                                     : FormatWide("/s%d d%d", session, level);
            // Each session has continuation areas of its own.
            const std::u16string name =
                path + FormatWide("/%d", session) + std::u16string(100, u'n');
            files.AddFile(name, ToNative(name));
        }
        disc.Append(files);
        expected.merge(files.Expected());
        ASSERT_EQ(RockRidgeContents(disc.Reader()), expected) << session;
        ASSERT_EQ(JolietContents(disc.Reader()), expected) << session;
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
        disc.RootRecord("A.BIN")[1] = 1; // sectors of extended attributes
        disc.Append({{u"/a.bin", "takes the ISO name"}});
        EXPECT_EQ(disc.RootRecord("A000.BIN")[1], 1);
        for (const bool joliet : {false, true}) {
            const std::string name = joliet ? std::string("\0A\0.\0B\0I\0N", 10) : "A000.BIN";
            const auto records = RecordsOf(disc, name, joliet);
            ASSERT_EQ(records.size(), 2u);
            EXPECT_EQ(records[0].flags, flag);
            EXPECT_EQ(records[0].size, 4096u);
            EXPECT_EQ(records[1].flags, 0);
            EXPECT_EQ(disc.Reader().Contents(records[1]), "B");
        }
        if (flag == 0x80) { // the same file again is where it was
            disc = DiscOfTwins(flag);
            const uint32_t sectors = disc.Sectors();
            disc.Append({{u"/A.BIN", std::string(4096, 'A') + "B"}});
            EXPECT_EQ(RecordsOf(disc, "A.BIN", false).size(), 2u);
            for (const auto& record : RecordsOf(disc, "A.BIN", false)) {
                EXPECT_LT(record.extent, sectors);
            }
        }
        // A file of the name takes the place of all of them.
        disc.Append({{u"/A.BIN", "whole"}});
        EXPECT_EQ(RecordsOf(disc, "A.BIN", false).size(), 1u);
    }
}

TEST(MergeSessions, AFolderLosesItsExtendedAttributes) {
    MemoryDisc disc;
    disc.Append({{u"/D/file", "kept"}});
    uint8_t* const folder = disc.RootRecord("D");
    folder[1] = 1; // one sector of them, and then the names (ECMA-119 9.1.2)
    --folder[2];
    disc.Append({{u"/new", "new"}});
    EXPECT_EQ(disc.RootRecord("D")[1], 0);
    EXPECT_TRUE(disc.Reader().RockRidgeTree().contains("/D/file"));
}

TEST(MergeSessions, CdXaDataGivesWayToNames) {
    SourceFiles files({{u"/a long name.text", "long"}});
    MemoryDisc disc(MakeVolume(files, files.Items(), 0, [](GenOptions& options) {
                        options.cd_xa = true;
                    }).image);
    disc.Append({{u"/new", "new"}});
    files.AddFile(u"/new", "new");
    EXPECT_EQ(RockRidgeContents(disc.Reader()), files.Expected());
}

TEST(MergeSessions, RockRidgeMustBeAnnounced) {
    for (const bool isInArea : {false, true}) {
        MemoryDisc disc;
        disc.Append({{u"/a long name.text", "long"}});
        uint8_t* const sp = disc.Find("SP\7\1");
        if (isInArea) { // behind the ER, to which the CE leads
            uint8_t* const er = disc.Find("RRIP_1991A") - 8;
            std::copy_n(sp, 7, er + er[2]);
            uint8_t* const ce = disc.Find("CE\x1C\1");
            ce[20] = ce[27] = static_cast<uint8_t>(er[2] + 7); // both halves of the length
        }
        *sp = 'X';
        disc.Append({{u"/new", "new"}});
        const char* const name = isInArea ? "a long name.text" : "A_LONG_N.TEX";
        EXPECT_EQ(JolietContents(disc.Reader()), (Contents{{name, "long"}, {"new", "new"}}));
    }
}

TEST(MergeSessions, AnOldNameThatIsTakenGetsDigits) {
    const std::string old = "a_" + std::string(80, 'x');
    const std::string fresh = "a " + std::string(80, 'x');
    MemoryDisc disc;
    disc.Append({{ToWide("/" + old), "old"}});
    disc.Append({{ToWide("/" + fresh), "new"}});
    EXPECT_EQ(RockRidgeContents(disc.Reader()), (Contents{{old, "old"}, {fresh, "new"}}));
    EXPECT_EQ(RecordsOf(disc, "A_XXXXXX.", false).at(0).rrName, fresh);
    EXPECT_EQ(RecordsOf(disc, "A_XXX000.", false).at(0).rrName, old);
}

// Nothing that the user has not asked for goes from sight.
TEST(MergeSessions, AFileAndAFolderOfOneName) {
    const std::u16string deep = u"/d/d/d/d/d/d/d/d/d";
    const struct {
        std::u16string old;
        std::u16string fresh;
        const char16_t* error;
    } cases[] = {{u"/.rr_moved", deep, u"Cannot merge previous session."},
                 {u"/name", u"/name/in", u""}};
    for (const auto& c : cases) {
        MemoryDisc disc;
        disc.Append({{c.old, "old"}});
        const VolumeResult result = disc.Merge({{c.fresh, "new"}});
        EXPECT_EQ(result.error, c.error);
        EXPECT_EQ(result.image.empty(), !result.error.empty());
    }
    MemoryDisc disc;
    disc.Append({{u"/name/in", "old"}});
    disc.Add(disc.Merge({{u"/name", "new"}, {u"/other", "other"}}));
    EXPECT_EQ(RockRidgeContents(disc.Reader()),
              (Contents{{"name", "folder"}, {"name/in", "old"}, {"other", "other"}}));
}

// A name that was made up replaces nothing, and the same file again is where it was.
TEST(MergeSessions, TwinsStayApart) {
    SourceFiles files({{u"/1/a.txt", "1"}, {u"/2/a.txt", "2"}});
    const Queue queue = {u"/1/a.txt", u"/2/a.txt"};
    MemoryDisc disc(MakeVolume(files, queue).image);
    const auto append = [&] {
        disc.Add(RunGenerator(
            files, queue,
            {.sessionBase = disc.Sectors(), .drive = &disc, .previousBase = disc.lastSession}));
        return RockRidgeContents(disc.Reader());
    };
    EXPECT_EQ(append(), (Contents{{"a.txt", "1"}, {"a (2).txt", "2"}}));
    const uint32_t sectors = disc.lastSession;
    EXPECT_LT(disc.Reader().RockRidgeTree().at("/a (2).txt").extent, sectors);
    files.At(u"/2/a.txt").status.modifyTime += 1;
    EXPECT_EQ(append(), (Contents{{"a.txt", "1"}, {"a (2).txt", "2"}, {"a (3).txt", "2"}}));
}

} // namespace
} // namespace larkspin
