// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The UDF view: against an oracle of its own, against the ISO side, and read by other programs.
#include "merge_kit.h"
#include "readers_kit.h"
#include "support/udf_reader.h"
#include "volume/formats/udf_tag.h"

#include <numeric>

namespace larkspin {
namespace {

void UdfOn(GenOptions& options) {
    options.udf = true;
}

TEST(Udf, ShowsWhatJolietShows) {
    SourceFiles files = Tree();
    for (const std::u16string& name : // as Joliet maps and cuts them
         {std::u16string(u"semi;colon"), std::u16string(u"stray \xDCE9"), std::u16string(120, u'm'),
          std::u16string(102, u'p') + u"\xD83D\xDE00", std::u16string(110, u'\x4E01')}) {
        files.AddFile(u"/top/" + name, ToNative(name));
    }
    for (const uint32_t base : {0u, 5000u}) {
        const VolumeResult result = MakeVolume(files, {u"/top"}, base, UdfOn);
        const UdfReader udf(result.image, base);
        const IsoReader iso(result.image, base);
        EXPECT_EQ(udf.volumeId, "CDROM");
        EXPECT_EQ(udf.EndAnchors(), 151u);
        EXPECT_NE(TextOf(result.image).find("UDF: enabled."), std::string::npos);
        const IsoReader::Tree tree = iso.JolietTree();
        EXPECT_EQ(udf.nodes.size(), tree.size() + 1); // the root
        for (const auto& [path, record] : tree) {
            SCOPED_TRACE(path);
            const UdfReader::Node& node = udf.nodes.at(path);
            const std::u16string name = ToWide(path.substr(path.rfind('/') + 1));
            EXPECT_EQ(node.compression, *std::ranges::max_element(name) > 0xFF ? 16 : 8);
            EXPECT_EQ(node.uid, 0u);
            // Local time in this zone, the year and the rest of the record's date.
            EXPECT_EQ(LittleAt(node.modified, 0, 2), 0x1000u);
            EXPECT_EQ(LittleAt(node.modified, 2, 2), 1900u + record.date[0]);
            EXPECT_TRUE(std::equal(record.date.begin() + 1, record.date.begin() + 6,
                                   node.modified.begin() + 4));
            EXPECT_EQ(node.isDirectory, record.IsDirectory());
            if (!record.IsDirectory()) {
                EXPECT_EQ(node.size, record.size);
                EXPECT_TRUE(record.size == 0 || node.extents.at(0).sector == record.extent);
            }
        }
    }
}

TEST(Udf, CountsAndPlacesVolumesOfAnySize) {
    for (const uint32_t count : {0u, 1u, 3000u}) {
        SourceFiles files;
        files.AddFolder(u"/top");
        for (uint32_t i = 0; i < count; ++i) {
            files.AddFile(FormatWide("/top/file %u", i), i % 100 == 0 ? "x" : "");
        }
        const UdfReader reader(MakeVolume(files, {u"/top"}, 0, UdfOn).image);
        EXPECT_EQ(reader.Files(), count);
    }
}

TEST(Udf, EndsWithAnchors) {
    SourceFiles files({{u"/f", "text"}});
    for (const bool pad : {true, false}) {
        const UdfReader reader(MakeVolume(files, {u"/f"}, 0, [&](GenOptions& options) {
                                   options.udf = true;
                                   options.pad_end = pad;
                               }).image);
        EXPECT_EQ(reader.EndAnchors(), pad ? 151u : 1u);
        EXPECT_EQ(reader.partitionStart + reader.partitionSectors,
                  reader.LastSector() - (pad ? 149 : 0));
    }
}

TEST(Udf, SplitsLargeFilesIntoExtents) {
    constexpr uint32_t kLongest = 0x3FFFF800;
    const std::vector<std::vector<uint32_t>> cases = {
        {kLongest - 1}, {kLongest}, {kLongest, 1}, {kLongest, kLongest, 0xFFE}};
    SourceFiles files;
    for (size_t i = 0; i < cases.size(); ++i) {
        files.AddFile(FormatWide("/top/%zu", i),
                      std::accumulate(cases[i].begin(), cases[i].end(), uint64_t{0}));
    }
    const UdfReader reader(
        RunGenerator(files, {u"/top"}, {.setOptions = UdfOn, .readerLeavesAfter = size_t{4} << 20})
            .image);
    for (size_t i = 0; i < cases.size(); ++i) {
        const UdfReader::Node& node = reader.nodes.at(Format("/top/%zu", i));
        uint32_t next = node.extents.at(0).sector; // each follows the last
        std::vector<UdfReader::Extent> expected;
        for (const uint32_t bytes : cases[i]) {
            expected.push_back({bytes, next});
            next += kLongest / 2048;
        }
        EXPECT_EQ(node.extents, expected) << i;
    }
}

TEST(Udf, CutsTextsToTheirFields) {
    const std::pair<std::u16string, std::u16string> cases[] = {
        {u"", u""},
        {u"Ünit", u"Ünit"},
        {u"a:b", u"a_b"},
        {std::u16string(200, u'x'), std::u16string(126, u'x')},
        {std::u16string(200, u'\x4E00'), std::u16string(63, u'\x4E00')}};
    SourceFiles files({{u"/f", "text"}});
    for (const auto& [title, shown] : cases) {
        const VolumeResult result =
            MakeVolume(files, {u"/f"}, 0, [&title = title](GenOptions& options) {
                options.udf = true;
                options.joliet_volume_id = title;
            });
        EXPECT_EQ(UdfReader(result.image).volumeId, ToNative(shown));
    }
}

// The fast way over zero bytes and the plain one.
TEST(Udf, CrcOverZerosEqualsTheCrcOfTheZeros) {
    const std::string_view digits = "123456789";
    std::vector<uint8_t> bytes(digits.begin(), digits.end());
    const uint16_t crc = UdfCrc(bytes);
    EXPECT_EQ(crc, 0x31C3); // the check value of this CRC
    for (uint32_t zeros = 0; zeros < 2048; ++zeros) {
        EXPECT_EQ(UdfCrcOverZeros(crc, zeros), UdfCrc(bytes)) << zeros;
        bytes.push_back(0);
    }
}

TEST(Udf, IsRefusedOverFilesOfAnEarlierSession) {
    MemoryDisc disc;
    disc.Append({{u"/old", "old"}});
    const VolumeResult result = disc.Merge({{u"/new", "new"}}, UdfOn);
    EXPECT_EQ(result.error, u"UDF cannot show the files of an earlier session.");
    EXPECT_EQ(result.writes, 0u);
}

TEST(UdfReaders, RestoreTheTree) {
    SourceFiles files = Tree();
    const TempFolder folder;
    const std::string image = folder.Path() + "/volume.iso";
    WriteFile(image, TextOf(MakeVolume(files, {u"/top"}, 0, UdfOn).image));
    const Contents expected = files.Expected();
    EXPECT_EQ(Difference(Extract("7z x -y -tudf '" + image + "'"), expected), "");
    const auto folders = std::ranges::count(expected, "folder", &Contents::value_type::second);
    const std::string info = RunCommand("udfinfo '" + image + "' 2>&1").output;
    for (const std::string& line :
         {Format("numfiles=%zu", expected.size() - folders), Format("numdirs=%zu", folders + 1),
          std::string("udfrev=1.02"), std::string("integrity=closed"),
          std::string("accesstype=readonly")}) {
        EXPECT_NE(info.find(line + "\n"), std::string::npos) << line << "\n" << info;
    }
    EXPECT_EQ(info.find("rror"), std::string::npos) << info;
}

} // namespace
} // namespace larkspin
