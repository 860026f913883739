// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// DVD-Video layout: sets made up to the sector, broken ones, and authored ones read by others.
#include "readers_kit.h"
#include "volume_kit.h"

namespace larkspin {
namespace {

void DvdOn(GenOptions& options) {
    options.dvd_video = true;
    options.udf = true;
}

void Put(std::string& ifo, size_t at, uint32_t value, size_t width = 4) {
    for (size_t i = 0; i < width; ++i) {
        ifo[at + i] = static_cast<char>(value >> 8 * (width - 1 - i));
    }
}

std::string Ifo(const char* magic, size_t sectors, uint32_t last, uint32_t ifoLast, uint32_t menu) {
    std::string ifo(sectors * 2048, '\0');
    std::copy_n(magic, 12, ifo.begin());
    Put(ifo, 12, last);
    Put(ifo, 28, ifoLast);
    Put(ifo, 192, menu);
    return ifo;
}

std::string Manager(size_t sectors, uint32_t last, uint32_t ifoLast, uint32_t menu,
                    const std::vector<uint32_t>& starts) {
    std::string ifo = Ifo("DVDVIDEO-VMG", sectors, last, ifoLast, menu);
    Put(ifo, 62, static_cast<uint32_t>(starts.size()), 2);
    Put(ifo, 196, 1);
    // The last title comes first, and each set has two titles.
    Put(ifo, 2048, static_cast<uint32_t>(2 * starts.size()), 2);
    for (size_t i = 0; i < 2 * starts.size(); ++i) {
        Put(ifo, 2048 + 16 + 12 * i, starts[(2 * starts.size() - 1 - i) / 2]);
    }
    return ifo;
}

std::string TitleSet(size_t sectors, uint32_t last, uint32_t ifoLast, uint32_t menu,
                     uint32_t title) {
    std::string ifo = Ifo("DVDVIDEO-VTS", sectors, last, ifoLast, menu);
    Put(ifo, 196, title);
    return ifo;
}

struct File {
    std::string name;
    std::string bytes;
    uint32_t at = 0; // sector from the start of the video manager
};

constexpr uint32_t kBehindTheSets = UINT32_MAX;

std::string Sectors(size_t count) {
    return std::string(count * 2048, 'v');
}

SourceFiles FilesOf(const std::vector<File>& set) {
    SourceFiles files;
    for (const File& file : set) {
        files.AddFile(u"/VIDEO_TS/" + ToWide(file.name), file.bytes);
    }
    return files;
}

// A menu VOB with room behind it; nine title VOBs; a set without a menu; a set with a menu alone.
std::vector<File> FullSet() {
    const std::string manager = Manager(2, 19, 2, 4, {25, 65, 85});
    const std::string first = TitleSet(2, 39, 1, 5, 12);
    const std::string second = TitleSet(1, 14, 2, 0, 3);
    const std::string third = TitleSet(1, 9, 0, 2, 0);
    std::vector<File> set = {{"VIDEO_TS.BUP", manager, 18},   {"VIDEO_TS.IFO", manager, 0},
                             {"VIDEO_TS.VOB", Sectors(6), 4}, {"VTS_01_0.BUP", first, 63},
                             {"VTS_01_0.IFO", first, 25},     {"VTS_01_0.VOB", Sectors(3), 30}};
    for (uint32_t i = 0; i < 9; ++i) {
        set.push_back({Format("VTS_01_%u.VOB", i + 1), Sectors(2), 37 + 2 * i});
    }
    set.insert(set.end(), {{"VTS_02_0.BUP", second, 79},
                           {"VTS_02_0.IFO", second, 65},
                           {"VTS_02_1.VOB", Sectors(5), 68},
                           {"VTS_03_0.BUP", third, 94},
                           {"VTS_03_0.IFO", third, 85},
                           {"VTS_03_0.VOB", Sectors(3), 87}});
    return set;
}

TEST(DvdVideo, PutsEachPartWhereTheControlDataSay) {
    const std::string alone = Manager(2, 12, 1, 0, {});
    // Files that the control data don't count: a VOB behind a gap, copies, and a set too many.
    std::vector<File> strayed = FullSet();
    for (const char* name : {"A.TXT", "VIDEO_TS.IFO.old", "VTS_01_0.VOB.old", "VTS_01_5.IFO",
                             "VTS_02_3.VOB", "VTS_04_0.IFO"}) {
        strayed.push_back({name, Sectors(2), kBehindTheSets});
    }
    const std::vector<File> sets[] = {
        FullSet(), {{"VIDEO_TS.IFO", alone, 0}, {"VIDEO_TS.BUP", alone, 11}}, strayed};
    for (const std::vector<File>& set : sets) {
        SourceFiles files = FilesOf(set);
        const IsoReader reader(MakeVolume(files, {u"/VIDEO_TS"}, 0, DvdOn).image);
        const IsoReader::Tree tree = reader.RockRidgeTree();
        const uint32_t base = tree.at("/VIDEO_TS/VIDEO_TS.IFO").extent;
        for (const File& file : set) {
            const uint32_t at = tree.at("/VIDEO_TS/" + file.name).extent - base;
            EXPECT_TRUE(file.at == at || file.at == kBehindTheSets) << file.name << " at " << at;
        }
        EXPECT_TRUE(RockRidgeContents(reader) == files.Expected());
        const IsoReader::Record folder = reader.Directory(reader.JolietRoot(), false).at(2);
        EXPECT_EQ(reader.Directory(folder, false).at(2).rawName,
                  std::string("\0V\0I\0D\0E\0O\0_\0T\0S\0.\0I\0F\0O", 24));
        const auto gap = reader.Sector(base + 2);
        EXPECT_EQ(std::ranges::count(gap, 0), 2048);
    }
}

TEST(DvdVideo, BrokenControlDataGiveAPlainVolume) {
    const auto edit = [](const char* name, const std::function<void(std::string&)>& change) {
        return [name, change](std::vector<File>& set) {
            for (File& file : set) {
                if (file.name == name) {
                    change(file.bytes);
                }
            }
        };
    };
    const auto put = [&](const char* name, size_t at, uint32_t value, size_t width = 4) {
        return edit(name, [=](std::string& bytes) { Put(bytes, at, value, width); });
    };
    const struct {
        const char* what;
        std::function<void(std::vector<File>&)> harm;
        const char16_t* error = u"";
    } cases[] = {
        {"magic of the manager", put("VIDEO_TS.IFO", 0, 0)},
        {"magic of a set", put("VTS_02_0.IFO", 0, 0)},
        {"no manager", [](std::vector<File>& set) { set.erase(set.begin() + 1); }},
        {"short manager", edit("VIDEO_TS.IFO", [](std::string& bytes) { bytes.resize(100); })},
        {"empty manager", edit("VIDEO_TS.IFO", [](std::string& bytes) { bytes.clear(); })},
        {"a ragged VOB", edit("VTS_01_4.VOB", [](std::string& bytes) { bytes.pop_back(); })},
        {"title table outside", put("VIDEO_TS.IFO", 196, 0xFFFFFFFF)},
        {"more titles than there are", put("VIDEO_TS.IFO", 2048, 0xFFFF, 2)},
        {"more sets than there are", put("VIDEO_TS.IFO", 62, 4, 2)},
        {"fewer sets than there are", put("VIDEO_TS.IFO", 62, 2, 2)},
        {"a manager too small for its files", put("VIDEO_TS.IFO", 12, 8)},
        {"a set too small for its files", put("VTS_01_0.IFO", 12, 20)},
        {"a set larger than any disc", put("VTS_03_0.IFO", 12, 0x00FFFFFF)},
        {"a menu that starts nowhere", put("VTS_01_0.IFO", 192, 0)},
        {"a menu with less room than it takes", put("VTS_01_0.IFO", 196, 7),
         u"Internal error #941."},
    };
    for (const auto& c : cases) {
        std::vector<File> set = FullSet();
        c.harm(set);
        SourceFiles files = FilesOf(set);
        const VolumeResult with = MakeVolume(files, {u"/VIDEO_TS"}, 0, DvdOn);
        const VolumeResult without =
            MakeVolume(files, {u"/VIDEO_TS"}, 0, [](GenOptions& o) { o.udf = true; });
        EXPECT_EQ(with.error, c.error) << c.what;
        if (with.error.empty()) {
            EXPECT_EQ(with.toldSectors, without.toldSectors) << c.what;
            EXPECT_EQ(with.notices,
                      std::vector<std::u16string>{u"Folder /VIDEO_TS is not laid out for players, "
                                                  u"for its IFO files are broken or do not fit."})
                << c.what;
        }
    }
}

// Sets made by dvdauthor: with and without a menu, one and several titles.
TEST(DvdReaders, ReadTheTitlesFromTheImage) {
    if (RunCommand("which dvdauthor lsdvd ffmpeg").status != 0) {
        GTEST_SKIP() << "dvdauthor, lsdvd or ffmpeg is missing";
    }
    const TempFolder folder;
    const std::string in = "cd '" + folder.Path() + "' && ";
    ASSERT_EQ(RunCommand(in + "ffmpeg -v error -f lavfi -i testsrc=size=720x480:rate=30000/1001 "
                              "-f lavfi -i sine=sample_rate=48000 -t 1 -target ntsc-dvd clip.mpg "
                              "< /dev/null 2>&1")
                  .status,
              0);
    const std::string pgc = "<pgc><vob file=\"clip.mpg\"/></pgc>";
    const std::string menus = "<menus>" + pgc + "</menus>";
    WriteFile(folder.Path() + "/dvd.xml", "<dvdauthor dest=\"out\"><vmgm>" + menus +
                                              "</vmgm><titleset>" + menus + "<titles>" + pgc + pgc +
                                              "</titles></titleset><titleset><titles>" + pgc +
                                              "</titles></titleset></dvdauthor>");
    const CommandResult made =
        RunCommand(in + "VIDEO_FORMAT=NTSC dvdauthor -x dvd.xml 2>&1 && " + LARKSPIN_LAB +
                   " volume --udf --dvd-video --output dvd.iso "
                   "out/VIDEO_TS 2>&1");
    ASSERT_EQ(made.status, 0) << made.output;
    const std::string image = ReadFile(folder.Path() + "/dvd.iso");
    const IsoReader reader({image.begin(), image.end()});
    const IsoReader::Tree tree = reader.RockRidgeTree();
    const auto at = [&](const std::string& name) { return tree.at("/VIDEO_TS/" + name).extent; };
    const auto contents = [&](const std::string& name) {
        return reader.Contents(tree.at("/VIDEO_TS/" + name));
    };
    const std::string manager = contents("VIDEO_TS.IFO");
    const size_t table = 2048 * BigAt(manager, 196, 4);
    ASSERT_EQ(BigAt(manager, table, 2), 3u);
    for (size_t title = table + 8; title < table + 8 + 12 * 3; title += 12) {
        const std::string name = Format("VTS_%02u_", static_cast<unsigned>(manager[title + 6]));
        const std::string set = contents(name + "0.IFO");
        const uint32_t start = at(name + "0.IFO");
        EXPECT_EQ(start - at("VIDEO_TS.IFO"), BigAt(manager, title + 8, 4)) << name;
        EXPECT_EQ(at(name + "1.VOB") - start, BigAt(set, 196, 4)) << name;
        if (tree.contains("/VIDEO_TS/" + name + "0.VOB")) {
            EXPECT_EQ(at(name + "0.VOB") - start, BigAt(set, 192, 4)) << name;
        }
        EXPECT_EQ(at(name + "0.BUP") + set.size() / 2048 - 1 - start, BigAt(set, 12, 4));
    }
    const std::string list = RunCommand(in + "lsdvd dvd.iso 2>&1").output;
    EXPECT_NE(list.find("Title: 03, Length"), std::string::npos) << list;
    EXPECT_EQ(list.find("Title: 04, Length"), std::string::npos) << list;
}

} // namespace
} // namespace larkspin
