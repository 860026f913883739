// The UDF view: against an oracle of its own, against the ISO side, and read by other programs.
#include "merge_kit.h"
#include "platform/files.h"
#include "platform/text.h"
#include "readers_kit.h"
#include "support/temp_folder.h"
#include "support/udf_reader.h"
#include "volume/udf_tag.h"
#include "volume_kit.h"

#include <gtest/gtest.h>

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
void FillTree(MemoryFiles& files) {
    files.AddFolder(u"/top");
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
        files.AddFolder(deep);
        files.AddFile(deep + u"/here", ToNative(deep));
        files.AddFolder(deep + u"/empty");
    }
}

TEST(Udf, ShowsWhatJolietShows) {
    MemoryFiles files;
    FillTree(files);
    files.AddFile(u"/top/" + std::u16string(110, u'\x4E01'), "longer than a name may be");
    for (const uint32_t base : {0u, 5000u}) {
        const VolumeResult result = MakeUdf(files, {u"/top"}, base);
        const UdfReader udf(result.image, base);
        const IsoReader iso(result.image, base);
        EXPECT_EQ(UdfContents(udf), JolietContents(iso));
        EXPECT_EQ(udf.volumeId, u"CDROM");
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
    for (const uint32_t count : {0u, 1u, 40'000u}) {
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
    MemoryFiles files;
    files.AddFile(u"/f", "text");
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
        const IsoReader iso(result.image);
        EXPECT_EQ(IsoReader::Both32(iso.Primary(), 80), result.toldSectors);
    }
}

TEST(Udf, SplitsLargeFilesIntoExtents) {
    constexpr uint32_t kLongest = 0x3FFFF800;
    const std::vector<std::pair<uint64_t, std::vector<uint32_t>>> cases = {
        {kLongest - 1, {kLongest - 1}},
        {kLongest, {kLongest}},
        {uint64_t{kLongest} + 1, {kLongest, 1}},
        {0x7FFFFFFE, {kLongest, kLongest, 0xFFE}},
    };
    MemoryFiles files;
    files.AddFolder(u"/top");
    for (const auto& [size, extents] : cases) {
        files.AddFile(FormatWide("/top/%llu", static_cast<unsigned long long>(size))).status.size =
            size;
    }
    FixedClock clock;
    MemorySink sink;
    sink.readerLeavesAfter = 4 << 20;
    CCDWriterISOGen generator(files, clock);
    generator.ResetOptions();
    generator.Options().udf = true;
    generator.MakeVolume({u"/top"}, sink, 0, 0, {});
    const UdfReader reader(sink.bytes, 0, true);
    for (const auto& [size, extents] : cases) {
        const UdfReader::Node& node =
            reader.nodes.at(FormatWide("/top/%llu", static_cast<unsigned long long>(size)));
        EXPECT_EQ(node.size, size);
        ASSERT_EQ(node.extents.size(), extents.size()) << size;
        for (size_t i = 0; i < extents.size(); ++i) {
            EXPECT_EQ(node.extents[i].bytes, extents[i]);
            EXPECT_EQ(node.extents[i].sector,
                      node.extents[0].sector + i * (kLongest / 2048)); // each follows the last
        }
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
    MemoryFiles files;
    files.AddFile(u"/f", "text");
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
    MemoryFiles files;
    files.AddFile(u"/old", "old");
    files.AddFile(u"/new", "new");
    MemoryDisc disc;
    disc.Append(files, {u"/old"});
    FixedClock clock;
    MemorySink sink;
    CCDWriterISOGen generator(files, clock);
    generator.ResetOptions();
    generator.Options().udf = true;
    try {
        generator.MakeMergedVolume({u"/new"}, sink, 0, disc.Sectors(), disc, {});
        FAIL() << "no failure";
    } catch (const CCDWriterISOGenException& failure) {
        EXPECT_EQ(failure.WideText(), u"UDF cannot show the files of an earlier session.");
    }
    EXPECT_TRUE(sink.bytes.empty());
}

TEST(Udf, LeavesNoTraceWhenOff) {
    MemoryFiles files;
    files.AddFile(u"/f", "text");
    const std::string image = TextOf(MakeVolume(files, {u"/f"}).image);
    EXPECT_EQ(image.find("NSR02"), std::string::npos);
    EXPECT_EQ(image.find("OSTA"), std::string::npos);
    EXPECT_NE(image.find("UDF: disabled."), std::string::npos);
    EXPECT_NE(TextOf(MakeUdf(files, {u"/f"}).image).find("UDF: enabled."), std::string::npos);
}

// The tree on both sides of a bridge, by 7-Zip and udfinfo.
TEST(UdfReaders, SeeTheSameFilesAsOnTheIsoSide) {
    MemoryFiles files;
    FillTree(files);
    const TempFolder folder;
    const std::string image = folder.Path() + "/volume.iso";
    const VolumeResult result = MakeUdf(files, {u"/top"});
    WriteFile(image, TextOf(result.image));
    std::map<std::string, std::string> trees[2];
    for (const int side : {0, 1}) {
        const std::string out = folder.Path() + (side == 0 ? "/udf" : "/iso");
        const CommandResult run =
            RunCommand("LC_ALL=C.UTF-8 7z x -y -t" + std::string(side == 0 ? "udf" : "iso") +
                       " -o'" + out + "' '" + image + "' 2>&1");
        ASSERT_EQ(run.status, 0) << run.output;
        MakeWritable(out);
        trees[side] = TreeOf(out);
    }
    EXPECT_EQ(Difference(trees[0], trees[1]), "");
    const UdfReader reader(result.image);
    EXPECT_EQ(trees[0].size(), reader.nodes.size() - 1);
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

// Needs the right to mount, and a kernel that knows UDF.
TEST(UdfReaders, TheKernelMountsTheVolume) {
    MemoryFiles files;
    FillTree(files);
    const TempFolder folder;
    const std::string image = folder.Path() + "/volume.iso";
    const std::string mount = folder.Path() + "/mount";
    fs::create_directory(mount);
    const VolumeResult result = MakeUdf(files, {u"/top"});
    WriteFile(image, TextOf(result.image));
    if (RunCommand("mount -o loop,ro -t udf '" + image + "' '" + mount + "' 2>&1").status != 0) {
        GTEST_SKIP() << "this machine can't mount UDF";
    }
    std::map<std::string, std::string> tree = TreeOf(mount);
    EXPECT_EQ(RunCommand("umount '" + mount + "'").status, 0);
    std::map<std::string, std::string> expected;
    for (const auto& [path, contents] : UdfContents(UdfReader(result.image))) {
        expected[ToNative(path.substr(1))] = contents;
    }
    EXPECT_EQ(Difference(tree, expected), "");
}

} // namespace
} // namespace larkspin
