// The UDF view: against an oracle of its own, against the ISO side, and read by other programs.
#include "merge_kit.h"
#include "platform/text.h"
#include "readers_kit.h"
#include "support/udf_reader.h"
#include "volume/udf_tag.h"
#include "volume_kit.h"

#include <gtest/gtest.h>
#include <numeric>

namespace larkspin {
namespace {

void UdfOn(GenOptions& options) {
    options.udf = true;
}

VolumeResult MakeUdf(IFileSystem& files, const std::vector<std::u16string>& queue,
                     uint32_t sessionBase = 0) {
    VolumeResult result = MakeVolume(files, queue, sessionBase, UdfOn);
    EXPECT_EQ(result.error, u"");
    EXPECT_EQ(result.image.size(), size_t{result.toldSectors.value_or(0)} * 2048);
    return result;
}

// Contents by path, folders as "folder".
std::map<std::u16string, std::string> UdfContents(const UdfReader& reader) {
    std::map<std::u16string, std::string> contents;
    for (const auto& [path, node] : reader.nodes) {
        if (!path.empty()) {
            contents[path] = node.isDirectory ? "folder" : reader.Contents(node);
        }
    }
    return contents;
}

// Names of every kind, folders deeper than ISO 9660 allows, and sizes around a sector.
MemoryFiles Tree() {
    MemoryFiles files;
    for (const std::u16string& name :
         {std::u16string(u"plain"), std::u16string(u"Ünit ÿ"), std::u16string(u"日本語"),
          std::u16string(u"smile \xD83D\xDE00"), std::u16string(u"semi;colon"),
          std::u16string(u"stray \xDCE9"), std::u16string(103, u'n'), std::u16string(120, u'm'),
          std::u16string(80, u'\x4E00'), std::u16string(102, u'p') + u"\xD83D\xDE00"}) {
        files.AddFile(u"/top/" + name, "contents of " + ToNative(name));
    }
    for (const size_t size : {0u, 2047u, 2048u, 2049u, 100'000u}) {
        files.AddFile(FormatWide("/top/size %zu", size), std::string(size, 's'));
    }
    std::u16string deep = u"/top";
    for (int level = 1; level <= 12; ++level) {
        deep += FormatWide("/level %d", level);
        files.AddFile(deep + u"/here", ToNative(deep));
        files.AddFolder(deep + u"/empty");
    }
    return files;
}

TEST(Udf, ShowsWhatJolietShows) {
    MemoryFiles files = Tree();
    files.AddFile(u"/top/" + std::u16string(110, u'\x4E01'), "longer than a name may be");
    for (const uint32_t base : {0u, 5000u}) {
        const VolumeResult result = MakeUdf(files, {u"/top"}, base);
        const UdfReader udf(result.image, base);
        const IsoReader iso(result.image, base);
        EXPECT_EQ(UdfContents(udf), JolietContents(iso));
        EXPECT_EQ(udf.volumeId, u"CDROM");
        EXPECT_NE(TextOf(result.image).find("UDF: enabled."), std::string::npos);
        for (const auto& [path, record] : iso.JolietTree()) {
            const UdfReader::Node& node = udf.nodes.at(path);
            const bool hasWide = std::any_of(path.begin() + path.rfind(u'/'), path.end(),
                                             [](char16_t unit) { return unit > 0xFF; });
            EXPECT_EQ(node.compression, hasWide ? 16 : 8) << ToNative(path);
            EXPECT_EQ(node.uid, 0u);
            // The year and the rest of the record's date.
            EXPECT_EQ(node.modified[2] | node.modified[3] << 8, 1900 + record.date[0]);
            EXPECT_TRUE(std::equal(record.date.begin() + 1, record.date.begin() + 6,
                                   node.modified.begin() + 4));
            if (!record.IsDirectory()) {
                const uint32_t extent = node.extents.empty() ? 0 : node.extents[0].sector;
                EXPECT_EQ(extent, record.size == 0 ? 0 : record.extent) << ToNative(path);
            }
        }
    }
}

TEST(Udf, CountsAndPlacesVolumesOfAnySize) {
    for (const uint32_t count : {0u, 1u, 3000u}) {
        MemoryFiles files;
        files.AddFolder(u"/top");
        for (uint32_t i = 0; i < count; ++i) {
            files.AddFile(FormatWide("/top/file %u", i), i % 100 == 0 ? "x" : "");
        }
        const UdfReader reader(MakeUdf(files, {u"/top"}).image);
        EXPECT_EQ(reader.Files(), count);
        EXPECT_EQ(reader.nodes.size(), count + 2);
    }
}

TEST(Udf, EndsWithAnchors) {
    MemoryFiles files({{u"/f", "text"}});
    for (const bool pad : {true, false}) {
        const VolumeResult result = MakeVolume(files, {u"/f"}, 0, [&](GenOptions& options) {
            options.udf = true;
            options.pad_end = pad;
        });
        const UdfReader reader(result.image);
        const uint32_t last = reader.LastSector();
        const uint32_t anchors = pad ? 151 : 1;
        for (uint32_t sector = last; sector > last - anchors; --sector) {
            EXPECT_TRUE(reader.IsAnchor(sector)) << sector;
        }
        EXPECT_FALSE(reader.IsAnchor(last - anchors));
        EXPECT_EQ(reader.partitionStart + reader.partitionSectors, pad ? last - 149 : last);
        EXPECT_EQ(IsoReader::Both32(IsoReader(result.image).Primary(), 80), result.toldSectors);
    }
}

TEST(Udf, SplitsLargeFilesIntoExtents) {
    constexpr uint32_t kLongest = 0x3FFFF800;
    const std::vector<std::vector<uint32_t>> cases = {
        {kLongest - 1}, {kLongest}, {kLongest, 1}, {kLongest, kLongest, 0xFFE}};
    MemoryFiles files;
    for (size_t i = 0; i < cases.size(); ++i) {
        files.AddFile(FormatWide("/top/%zu", i)).status.size =
            std::accumulate(cases[i].begin(), cases[i].end(), uint64_t{0});
    }
    const VolumeResult result =
        RunGenerator(files, {u"/top"}, {.setOptions = UdfOn, .readerLeavesAfter = size_t{4} << 20});
    const UdfReader reader(result.image, 0, true);
    for (size_t i = 0; i < cases.size(); ++i) {
        const UdfReader::Node& node = reader.nodes.at(FormatWide("/top/%zu", i));
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
    const struct {
        std::u16string title;
        std::u16string shown;
    } cases[] = {{u"", u""},
                 {u"Ünit", u"Ünit"},
                 {u"a:b", u"a_b"},
                 {std::u16string(200, u'x'), std::u16string(126, u'x')},
                 {std::u16string(200, u'\x4E00'), std::u16string(63, u'\x4E00')}};
    MemoryFiles files({{u"/f", "text"}});
    for (const auto& c : cases) {
        const VolumeResult result = MakeVolume(files, {u"/f"}, 0, [&](GenOptions& options) {
            options.udf = true;
            options.joliet_volume_id = c.title;
        });
        EXPECT_EQ(UdfReader(result.image).volumeId, c.shown);
    }
}

// The fast way over zero bytes and the plain one.
TEST(Udf, CrcOverZerosEqualsTheCrcOfTheZeros) {
    // The check value of this CRC.
    const std::string_view digits = "123456789";
    std::vector<uint8_t> bytes(digits.begin(), digits.end());
    EXPECT_EQ(UdfCrc(bytes), 0x31C3);
    const uint16_t crc = UdfCrc(bytes);
    for (uint32_t zeros = 0; zeros < 2048; ++zeros) {
        EXPECT_EQ(UdfCrcOverZeros(crc, zeros), UdfCrc(bytes)) << zeros;
        bytes.push_back(0);
    }
}

TEST(Udf, IsRefusedOverFilesOfAnEarlierSession) {
    MemoryFiles files({{u"/old", "old"}, {u"/new", "new"}});
    MemoryDisc disc;
    disc.Append(files, {u"/old"});
    const VolumeResult result = disc.Merge(files, {u"/new"}, UdfOn);
    EXPECT_EQ(result.error, u"UDF cannot show the files of an earlier session.");
    EXPECT_EQ(result.writes, 0u);
}

// The tree on both sides of a bridge, by 7-Zip and udfinfo.
TEST(UdfReaders, SeeTheSameFilesAsOnTheIsoSide) {
    MemoryFiles files = Tree();
    const TempFolder folder;
    const std::string image = folder.Path() + "/volume.iso";
    const VolumeResult result = MakeUdf(files, {u"/top"});
    WriteFile(image, TextOf(result.image));
    const auto tree = Extract("7z x -y -tudf '" + image + "'");
    EXPECT_EQ(Difference(tree, Extract("7z x -y -tiso '" + image + "'")), "");
    const UdfReader reader(result.image);
    EXPECT_EQ(tree.size(), reader.nodes.size() - 1);
    const CommandResult info = RunCommand("udfinfo '" + image + "' 2>&1");
    ASSERT_EQ(info.status, 0) << info.output;
    for (const std::string& line :
         {Format("numfiles=%u", reader.Files()),
          Format("numdirs=%zu", reader.nodes.size() - reader.Files()), std::string("udfrev=1.02"),
          std::string("integrity=closed"), std::string("accesstype=readonly")}) {
        EXPECT_NE(info.output.find(line + "\n"), std::string::npos) << line << "\n" << info.output;
    }
    EXPECT_EQ(info.output.find("rror"), std::string::npos) << info.output;
}

} // namespace
} // namespace larkspin
