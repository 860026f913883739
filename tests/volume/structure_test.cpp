// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "support/manual_clock.h"
#include "support/udf_reader.h"
#include "volume/formats/iso9660.h"
#include "volume/model/dates.h"
#include "volume/model/run.h"
#include "volume_kit.h"

#include <algorithm>

namespace larkspin {
namespace {

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

std::string Both32(uint32_t value) {
    std::string bytes(8, '\0');
    for (size_t i = 0; i < 4; ++i) {
        bytes[i] = bytes[7 - i] = static_cast<char>(value >> 8 * i);
    }
    return bytes;
}

using Fields = std::vector<std::pair<size_t, std::string>>;

// A sector with these bytes at these offsets.
std::string SectorOf(const Fields& fields, std::string sector = std::string(2048, '\0')) {
    for (const auto& [offset, bytes] : fields) {
        sector.replace(offset, bytes.size(), bytes);
    }
    return sector;
}

// Dates are local; the zone is nine hours and a half ahead, so that its quarter hours show.
class Structure : public testing::Test {
  protected:
    const ZoneScope m_zone{"ACST-9:30"};
    SourceFiles m_files{
        {u"/f/a.txt", std::string(3000, 'a')}, {u"/f/empty", ""}, {u"/f/sub/b", "b"}};
};

TEST_F(Structure, TheDescriptors) {
    const VolumeResult result = MakeVolume(m_files, {u"/f"}, 0, [](GenOptions& options) {
        options.interchange_level = 4;
        options.cd_xa = true;
        options.volume_id = "PHOTOS";
        options.publisher_id = std::string(200, 'p');
        options.joliet_volume_id = u"A title: of 20 chars";
    });
    const IsoReader reader(result.image);
    const auto sector = [&](uint32_t number) {
        return TextOf({reader.Sector(number).begin(), reader.Sector(number).end()});
    };
    const std::string one("\1\0\0\1", 4);
    // 10 January 2008, 21:20 UTC, is the 11th here.
    const std::string moment = "2008011106500000\x26";
    const std::string never("0000000000000000\0", 17);
    // The root's date is that of 1 January 1970, 09:30 in a zone of 38 quarter hours.
    const std::string rootDate("\x46\x01\x01\x09\x1E\x00\x26\x02\0\0", 10);
    const std::string primary =
        SectorOf({{0, "\1CD001\1"},
                  {8, Padded("Win32", 32)},
                  {40, Padded("PHOTOS", 32)},
                  {80, Both32(*result.toldSectors)},
                  {120, one + one + std::string("\0\x08\x08\0", 4)},
                  {132, Both32(10 + 10 + 12)}, // root, "F", "SUB"
                  {140, "\x15"},
                  {151, "\x17"},
                  {156, "\x22"},
                  {158, Both32(reader.Root().extent) + Both32(2048) + rootDate},
                  {184, one + "\1"},
                  {190, Padded("", 128) + std::string(128, 'p') + Padded("", 128)},
                  {574, Padded("LARKSPIN", 239)},
                  {813, moment + moment + never + never + "\1"},
                  {883, Padded("", 512)},
                  {1024, "CD-XA001" + std::string(18, '\0')}});
    EXPECT_EQ(sector(16), primary);
    EXPECT_EQ(sector(17), SectorOf({{0, "\2"}, {6, "\2"}, {881, "\2"}}, primary)); // enhanced
    EXPECT_EQ(sector(18), SectorOf({{0, "\2"},
                                    {8, Ucs2(u"Win32", 32)},
                                    {40, Ucs2(u"A title_ of 20 c", 32)},
                                    {88, "%/E"},
                                    {132, Both32(10 + 10 + 14)},
                                    {140, "\x19"},
                                    {151, "\x1B"},
                                    {158, Both32(reader.JolietRoot().extent)},
                                    {574, Ucs2(u"Larkspin", 128)}},
                                   primary));
    EXPECT_EQ(sector(19), SectorOf({{0, std::string("\xFF") + "CD001\1"}}));
    EXPECT_EQ(sector(20), SectorOf({{0, "QRN Fri Jan 11 06:50:00 2008\nLarkspin 1.4"},
                                    {56, " Joliet: enabled; RockRidge: enabled; UDF: disabled."}}));
    // XA data stands in front, for SP to skip: group, owner, attributes, "XA".
    EXPECT_EQ(sector(reader.Root().extent).substr(34, 21),
              std::string("\0\0\0\0\x8D\x55XA\0\0\0\0\0\0SP\7\1\xBE\xEF\x0E", 21));
}

TEST_F(Structure, EndsWithEmptySectorsByOption) {
    for (const bool pad : {true, false}) {
        const VolumeResult result =
            MakeVolume(m_files, {u"/f"}, 0, [&](GenOptions& options) { options.pad_end = pad; });
        const auto lastByte = std::find_if(result.image.rbegin(), result.image.rend(),
                                           [](uint8_t b) { return b != 0; });
        EXPECT_EQ((lastByte - result.image.rbegin()) / 2048, pad ? 150 : 0);
    }
}

TEST_F(Structure, ShowsTheWholeTreeInEveryView) {
    m_files = Tree();
    const VolumeResult plain = MakeVolume(m_files, {u"/top"});
    const IsoReader reader(plain.image);
    EXPECT_EQ(RockRidgeContents(reader), m_files.Expected());
    EXPECT_EQ(JolietContents(reader), m_files.Expected());
    const IsoReader::Tree rockRidge = reader.RockRidgeTree();
    for (const auto& [path, record] : reader.JolietTree()) {
        const IsoReader::Record& same = rockRidge.at(path);
        EXPECT_TRUE(record.IsDirectory() ||
                    (record.extent == same.extent && record.date == same.date))
            << path;
    }
    for (const auto& [path, record] : reader.IsoTree()) { // ECMA-119 6.8.2.1
        EXPECT_LE(std::count(path.begin(), path.end(), '/'), record.IsDirectory() ? 7 : 8) << path;
    }
    // An option that has nothing to do changes no byte, and neither does the order of a listing.
    const auto dvdOn = [](GenOptions& options) { options.dvd_video = true; };
    EXPECT_TRUE(MakeVolume(m_files, {u"/top"}, 0, dvdOn).image == plain.image);
    for (auto& [path, node] : m_files.nodes) {
        std::ranges::reverse(node.names);
    }
    EXPECT_TRUE(MakeVolume(m_files, {u"/top"}).image == plain.image);
}

TEST(Dates, OutsideTheirFieldsGiveTheNearestThatHasAForm) {
    const struct {
        const char* zone;
        int64_t moment;
        RecordDate record;
        const char* descriptor;
    } cases[] = {
        {"UTC", -1, {69, 12, 31, 23, 59, 59, 0}, "1969123123595900"},
        {"UTC", -3'000'000'000, {0, 1, 2, 0, 0, 0, 0}, "1874120718400000"},
        {"UTC", 6'000'000'000, {255, 12, 30, 23, 59, 59, 0}, "2160021810400000"},
        {"UTC", INT64_MIN, {0, 1, 2, 0, 0, 0, 0}, "0001010200000000"},
        {"UTC", INT64_MAX, {255, 12, 30, 23, 59, 59, 0}, "9999123023595900"},
        // Zones: the ends of the range, what lies outside, and one between two quarters.
        {"AAA-13", 0, {70, 1, 1, 13, 0, 0, 52}, "1970010113000000"},
        {"AAA-13:45", 0, {70, 1, 1, 13, 0, 0, 52}, "1970010113000000"},
        {"AAA-14", 0, {70, 1, 1, 13, 0, 0, 52}, "1970010113000000"},
        {"AAA+12", 0, {69, 12, 31, 12, 0, 0, 0xD0}, "1969123112000000"},
        {"AAA+15:13:42", 0, {69, 12, 31, 12, 0, 0, 0xD0}, "1969123112000000"},
        {"AAA-0:19:32", 0, {70, 1, 1, 0, 15, 0, 1}, "1970010100150000"},
        {"AAA+0:44:30", 0, {69, 12, 31, 23, 30, 0, 0xFE}, "1969123123300000"},
    };
    for (const auto& c : cases) {
        const ZoneScope zone(c.zone);
        EXPECT_EQ(MakeRecordDate(c.moment), c.record) << c.zone << c.moment;
        EXPECT_EQ(DescriptorDate(c.moment),
                  c.descriptor + std::string(1, static_cast<char>(c.record[6])));
    }
}

TEST(PathTable, AParentHasASixteenBitPlace) { // ECMA-119 9.4.4
    SourceFiles files;
    ManualClock clock;
    VolumeRun run(files, clock, {}, {}, 0, 0);
    IsoDirectory& root = run.tree.Root();
    const auto add = [&](IsoDirectory& parent, std::string name) -> IsoDirectory& {
        IsoEntry& entry = run.tree.NewEntry();
        entry.record.name = std::move(name);
        run.iso_tables.CountRecord(static_cast<uint32_t>(entry.record.name.size()));
        return run.tree.NewDirectory(parent, entry, {}, {});
    };
    root.self = &run.tree.NewEntry();
    run.iso_tables.CountRecord(1);
    for (uint32_t place = 2; place < 0xFFFF; ++place) {
        add(root, Format("%05u", place));
    }
    for (const char* last : {"A", "B"}) { // the second is the 0x10000th
        add(add(root, last), "X");
        run.iso_tables.FixSectors();
        const OutputFragment table = PathTableFragment(run);
        if (*last == 'A') {
            table.generate();
            EXPECT_EQ(run.iso_tables.big[run.iso_tables.bytes - 4], 0xFF);
            EXPECT_EQ(run.iso_tables.big[run.iso_tables.bytes - 3], 0xFF);
        } else {
            EXPECT_THROW(table.generate(), CCDWriterISOGenException);
        }
    }
}

TEST(JolietNames, AreMappedAndCut) {
    const std::u16string longName(120, u'é');
    const std::u16string cutPair = std::u16string(102, u'p') + u"\xD83D\xDE00";
    const std::u16string cut(103, u'c');
    const std::pair<std::u16string, std::u16string> cases[] = {
        {u"a:b", u"a_b"},
        {u"a?b", u"a_b001"},
        {u"a_b000", u"a_b000"},
        {cut + u"1.txt", cut},
        {cut + u"2.txt", cut.substr(4 + 3) + u"000.txt"},
        {u"dev\\x2d.swap", u"dev_x2d.swap"}, // Rock Ridge keeps the backslash
        {u"a*b:c;d?e\x7F", u"a_b_c_d_e_"},
        {u"tab\tq", u"tab_q"},
        {longName, longName.substr(0, 103)},
        {cutPair, cutPair.substr(0, 102) + u"_"},
        {u"stray\xDCE9", u"stray\x00E9"}, // a byte that is no UTF-8
        {u"stray\xDC80", u"stray\x0080"}};
    SourceFiles files;
    for (const auto& [name, shown] : cases) {
        files.AddFile(u'/' + name, ToNative(name));
    }
    const IsoReader reader(MakeVolume(files, files.Items()).image);
    EXPECT_EQ(RockRidgeContents(reader), files.Expected());
    const Contents joliet = JolietContents(reader);
    const UdfReader udf(
        MakeVolume(files, files.Items(), 0, [](GenOptions& o) { o.udf = true; }).image);
    for (const auto& [name, shown] : cases) {
        EXPECT_EQ(joliet.at(ToNative(shown)), ToNative(name));
        EXPECT_EQ(udf.nodes.at("/" + ToNative(shown)).size, ToNative(name).size());
    }
}

} // namespace
} // namespace larkspin
