#include "platform/text.h"
#include "volume_kit.h"

#include <ctime>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace larkspin {
namespace {

std::string Field(std::span<const uint8_t> sector, size_t offset, size_t width) {
    return {sector.begin() + static_cast<std::ptrdiff_t>(offset),
            sector.begin() + static_cast<std::ptrdiff_t>(offset + width)};
}

std::string Padded(std::string text, size_t width, char pad = ' ') {
    text.resize(width, pad);
    return text;
}

std::string Ucs2(std::u16string_view text, size_t width) {
    std::string bytes;
    for (const char16_t unit : text) {
        bytes += static_cast<char>(unit >> 8);
        bytes += static_cast<char>(unit);
    }
    return Padded(bytes, width, '\0');
}

// Dates are local; the zone is nine hours and a half ahead, so that its quarter hours show.
class Structure : public testing::Test {
  protected:
    void SetUp() override {
        ::setenv("TZ", "ACST-9:30", 1);
        ::tzset();
        m_files.AddFolder(u"/f");
        m_files.AddFile(u"/f/a.txt", std::string(3000, 'a'));
        m_files.AddFile(u"/f/empty");
        m_files.AddFolder(u"/f/sub");
        m_files.AddFile(u"/f/sub/b", "b");
    }
    void TearDown() override {
        ::unsetenv("TZ");
        ::tzset();
    }
    MemoryFiles m_files;
};

TEST_F(Structure, ThePrimaryDescriptor) {
    const VolumeResult result = MakeVolume(m_files, {u"/f"}, 0, [](GenOptions& options) {
        options.volume_id = "PHOTOS";
        options.publisher_id = std::string(200, 'p');
    });
    const IsoReader reader(result.image);
    const auto pvd = reader.Sector(16);
    EXPECT_EQ(Field(pvd, 0, 8), std::string("\1CD001\1\0", 8));
    EXPECT_EQ(Field(pvd, 8, 32), Padded("Win32", 32));
    EXPECT_EQ(Field(pvd, 40, 32), Padded("PHOTOS", 32));
    EXPECT_EQ(IsoReader::Both32(pvd, 80), result.image.size() / 2048);
    EXPECT_EQ(IsoReader::Both16(pvd, 120), 1u);
    EXPECT_EQ(IsoReader::Both16(pvd, 124), 1u);
    EXPECT_EQ(IsoReader::Both16(pvd, 128), 2048u);
    EXPECT_EQ(IsoReader::Both32(pvd, 132), 10u + 10 + 12); // root, "F", "SUB"
    EXPECT_EQ(IsoReader::Little32(pvd, 140), 20u);
    EXPECT_EQ(IsoReader::Big32(pvd, 148), 22u);
    EXPECT_EQ(Field(pvd, 144, 4) + Field(pvd, 152, 4), std::string(8, '\0'));
    // 1 January 1970, 09:30 in a zone of 38 quarter hours.
    EXPECT_EQ(Field(pvd, 156 + 18, 7), std::string("\x46\x01\x01\x09\x1E\x00\x26", 7));
    EXPECT_EQ(Field(pvd, 156, 2) + Field(pvd, 156 + 25, 3) + Field(pvd, 188, 2),
              std::string("\x22\x00\x02\x00\x00\x01\x00", 7));
    EXPECT_EQ(Field(pvd, 190, 128), Padded("", 128));
    EXPECT_EQ(Field(pvd, 318, 128), std::string(128, 'p'));
    EXPECT_EQ(Field(pvd, 574, 128), Padded("LARKSPIN", 128));
    EXPECT_EQ(Field(pvd, 702, 111), Padded("", 111));
    // 10 January 2008, 21:20 UTC, is the 11th here.
    EXPECT_EQ(Field(pvd, 813, 17), "2008011106500000\x26");
    EXPECT_EQ(Field(pvd, 830, 17), Field(pvd, 813, 17));
    EXPECT_EQ(Field(pvd, 847, 34),
              std::string("0000000000000000\0", 17) + std::string("0000000000000000\0", 17));
    EXPECT_EQ(pvd[881], 1);
    EXPECT_EQ(Field(pvd, 883, 512), Padded("", 512));
    EXPECT_EQ(Field(pvd, 1395, 653), std::string(653, '\0'));
}

TEST_F(Structure, TheJolietDescriptor) {
    const VolumeResult result = MakeVolume(m_files, {u"/f"}, 0, [](GenOptions& options) {
        options.joliet_volume_id = u"A title: of 20 chars";
    });
    const IsoReader reader(result.image);
    const auto svd = reader.Sector(17);
    EXPECT_EQ(Field(svd, 0, 8), std::string("\2CD001\1\0", 8));
    EXPECT_EQ(Field(svd, 8, 32), Ucs2(u"Win32", 32));
    EXPECT_EQ(Field(svd, 40, 32), Ucs2(u"A title_ of 20 c", 32));
    EXPECT_EQ(Field(svd, 88, 4), std::string("%/E\0", 4));
    EXPECT_EQ(IsoReader::Both32(svd, 132), 10u + 10 + 14);
    EXPECT_EQ(IsoReader::Little32(svd, 140), 24u);
    EXPECT_EQ(IsoReader::Big32(svd, 148), 26u);
    EXPECT_EQ(Field(svd, 574, 128), Ucs2(u"Larkspin", 128));
    EXPECT_EQ(Field(svd, 813, 70), Field(reader.Sector(16), 813, 70));
    EXPECT_EQ(IsoReader::Both32(svd, 80), IsoReader::Both32(reader.Sector(16), 80));
}

TEST_F(Structure, TerminatorVersionBlockAndEnhancedDescriptor) {
    const VolumeResult result = MakeVolume(m_files, {u"/f"}, 0, [](GenOptions& options) {
        options.interchange_level = 4;
        options.cd_xa = true;
    });
    const IsoReader reader(result.image);
    std::string enhanced = Field(reader.Sector(16), 0, 2048);
    EXPECT_EQ(enhanced.substr(1024, 26), "CD-XA001" + std::string(18, '\0'));
    enhanced[0] = enhanced[6] = enhanced[881] = 2;
    EXPECT_EQ(Field(reader.Sector(17), 0, 2048), enhanced);
    EXPECT_EQ(Field(reader.Sector(19), 0, 2048),
              Padded(std::string("\xFF") + "CD001\1", 2048, '\0'));
    std::string version(2048, '\0');
    version.replace(0, 29, "QRN Fri Jan 11 06:50:00 2008\n");
    version.replace(29, 12, "Larkspin 1.4");
    const std::string views = " Joliet: enabled; RockRidge: enabled; UDF: disabled.";
    version.replace(56, views.size(), views);
    EXPECT_EQ(Field(reader.Sector(20), 0, 2048), version);
    // XA data stands in front: group, owner, attributes, "XA".
    EXPECT_EQ(Field(reader.Sector(reader.Root().extent), 34, 14),
              std::string("\0\0\0\0\x8D\x55XA\0\0\0\0\0\0", 14));
}

TEST_F(Structure, TheTotalIsExactAndToldFirst) {
    for (const bool pad : {true, false}) {
        const VolumeResult result =
            MakeVolume(m_files, {u"/f"}, 0, [&](GenOptions& options) { options.pad_end = pad; });
        ASSERT_TRUE(result.toldSectors.has_value());
        EXPECT_EQ(result.image.size(), size_t{*result.toldSectors} * 2048);
        EXPECT_EQ(result.bytesBeforeTold, 0u);
        const auto lastByte = std::find_if(result.image.rbegin(), result.image.rend(),
                                           [](uint8_t b) { return b != 0; });
        EXPECT_EQ((lastByte - result.image.rbegin()) / 2048, pad ? 150 : 0);
    }
}

TEST_F(Structure, FilesShareTheirSectorsAndEmptyOnesTakeNone) {
    const IsoReader reader(MakeVolume(m_files, {u"/f"}).image);
    const auto iso = reader.RockRidgeTree();
    const auto joliet = reader.JolietTree();
    EXPECT_EQ(TextOf(reader.Contents(iso.at("/f/a.txt"))), std::string(3000, 'a'));
    EXPECT_EQ(joliet.at(u"/f/a.txt").extent, iso.at("/f/a.txt").extent);
    EXPECT_EQ(joliet.at(u"/f/a.txt").date, iso.at("/f/a.txt").date);
    EXPECT_EQ(iso.at("/f/empty").extent, iso.at("/f/a.txt").extent + 2);
    EXPECT_EQ(iso.at("/f/sub/b").extent, iso.at("/f/a.txt").extent + 2);
}

// The same volume at another place on the disc: every address moves by the base, nothing else.
TEST_F(Structure, ALaterSessionDiffersByItsBaseOnly) {
    constexpr uint32_t kBase = 11'702;
    const VolumeResult first = MakeVolume(m_files, {u"/f"});
    const VolumeResult later = MakeVolume(m_files, {u"/f"}, kBase);
    ASSERT_EQ(first.image.size(), later.image.size());
    EXPECT_EQ(first.toldSectors, later.toldSectors);
    const IsoReader firstReader(first.image);
    const IsoReader laterReader(later.image, kBase);
    laterReader.CheckPathTables(false);
    laterReader.CheckPathTables(true);
    const auto firstTree = firstReader.RockRidgeTree();
    for (const auto& [path, record] : laterReader.RockRidgeTree()) {
        EXPECT_EQ(record.extent, firstTree.at(path).extent + kBase) << path;
        EXPECT_EQ(laterReader.Contents(record).empty(), record.size == 0);
    }
    // Whatever differs is a number that differs by the base, in one of the forms of ECMA-119.
    size_t at = 0;
    while (at < first.image.size()) {
        const auto difference =
            std::mismatch(first.image.begin() + at, first.image.end(), later.image.begin() + at);
        if (difference.first == first.image.end()) {
            break;
        }
        at = static_cast<size_t>(difference.first - first.image.begin());
        bool explained = false;
        for (size_t start = at - 3; start <= at && !explained; ++start) {
            for (const bool big : {false, true}) {
                const auto read = big ? IsoReader::Big32 : IsoReader::Little32;
                if (read(later.image, start) == read(first.image, start) + kBase) {
                    explained = true;
                    at = start + 4;
                }
            }
        }
        ASSERT_TRUE(explained) << "byte " << at;
    }
}

// 3,000 files and 60 folders: directories and path tables of several sectors.
TEST(LargeStructure, HoldsTogether) {
    MemoryFiles files;
    files.AddFolder(u"/many");
    for (int i = 0; i < 3000; ++i) {
        files.AddFile(FormatWide("/many/picture %04d.jpeg", i), Format("%d", i));
    }
    for (int i = 0; i < 300; ++i) {
        files.AddFolder(FormatWide("/many/folder %03d", i));
        files.AddFile(FormatWide("/many/folder %03d/x", i), "x");
    }
    const IsoReader reader(MakeVolume(files, {u"/many"}).image);
    reader.CheckPathTables(false);
    reader.CheckPathTables(true);
    const auto tree = reader.RockRidgeTree();
    EXPECT_EQ(tree.size(), 1u + 3000 + 600);
    EXPECT_EQ(reader.JolietTree().size(), tree.size());
    EXPECT_EQ(TextOf(reader.Contents(tree.at("/many/picture 2999.jpeg"))), "2999");
}

// FNV-1a, 64 bits.
uint64_t HashOf(const std::vector<uint8_t>& bytes) {
    uint64_t hash = 0xCBF29CE484222325;
    for (const uint8_t byte : bytes) {
        hash = (hash ^ byte) * 0x100000001B3;
    }
    return hash;
}

// The bytes of a volume without UDF, boot and DVD-Video data are those of the time before these
// options were there. Whoever changes them on purpose sets the hash anew.
TEST_F(Structure, CarriesNoTraceOfOptionsThatAreOff) {
    for (const char* name : {"a long name that is cut.text", "a long name that is 2.text",
                             "\u00dcnit", "\u65e5\u672c", "boot.img", "boot.catalog"}) {
        m_files.AddFile(u"/f/" + ToWide(name), name);
    }
    for (const size_t size : {2047U, 2048U, 2049U, 300'000U}) {
        m_files.AddFile(FormatWide("/f/size %zu", size), std::string(size, 's'));
    }
    std::u16string deep = u"/f";
    for (int level = 1; level <= 10; ++level) {
        deep += FormatWide("/level %d", level);
        m_files.AddFolder(deep);
        m_files.AddFile(deep + u"/here", ToNative(deep));
    }
    const std::vector<std::u16string> queue = {u"/f"};
    const VolumeResult plain = MakeVolume(m_files, queue);
    EXPECT_EQ(HashOf(plain.image), 8'258'668'988'783'419'549U);
    const auto dvdOn = [](GenOptions& options) { options.dvd_video = true; };
    EXPECT_TRUE(MakeVolume(m_files, queue, 0, dvdOn).image == plain.image);
}

TEST(JolietNames, AreMappedAndCut) {
    MemoryFiles files;
    const std::u16string longName(120, u'é');
    const std::u16string cutPair = std::u16string(102, u'p') + u"\xD83D\xDE00";
    const std::vector<std::u16string> queue = {
        u"/a*b:c;d?e",   u"/tab\tq",      u"/" + longName,       u"/" + cutPair,
        u"/stray\xDCE9", u"/stray\xDC80", u"/smile \xD83D\xDE00"};
    for (const std::u16string& path : queue) {
        files.AddFile(path, "x");
    }
    const IsoReader reader(MakeVolume(files, queue).image);
    std::vector<std::u16string> names;
    for (const auto& [path, record] : reader.JolietTree()) {
        names.push_back(path);
    }
    EXPECT_THAT(names, testing::UnorderedElementsAre(
                           u"/a_b_c_d_e", u"/tab_q", u"/" + longName.substr(0, 103),
                           u"/" + cutPair.substr(0, 102) + u"_", u"/stray\x00E9", u"/stray\x0080",
                           u"/smile \xD83D\xDE00"));
    const auto whole = reader.RockRidgeTree();
    EXPECT_TRUE(whole.contains(ToNative(u"/" + longName)));
    EXPECT_TRUE(whole.contains("/stray\xE9"));
    EXPECT_TRUE(whole.contains("/tab\tq"));
}

} // namespace
} // namespace larkspin
