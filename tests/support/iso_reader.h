// A reader of ISO 9660, Joliet and Rock Ridge volumes for tests, written from ECMA-119, the Joliet
// specification, SUSP 1.10 and RRIP 1.09, and from nothing in src/.
//
// It is an oracle: whatever the standards forbid makes it throw std::runtime_error, also where a
// lenient reader would not care.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace larkspin {

class IsoReader {
  public:
    using Bytes = std::vector<uint8_t>;

    struct Record {
        uint32_t length = 0;
        uint32_t extent = 0;
        uint32_t size = 0;
        std::array<uint8_t, 7> date = {};
        uint8_t flags = 0;
        std::string rawName; // as on disc
        Bytes inlineUse;     // System Use data in the record
        // Rock Ridge, continuation areas included.
        std::string signatures; // of all entries in order, blank-separated
        std::string inlineSignatures;
        std::string rrName;
        std::optional<uint32_t> mode, links, uid, gid;
        std::optional<uint32_t> childLink, parentLink;
        std::array<uint8_t, 7> modified = {}, accessed = {}, changed = {};
        std::string erIdentifier;
        bool relocated = false; // RE

        bool IsDirectory() const { return (flags & 2) != 0; }
        bool IsDot() const { return rawName.size() == 1 && rawName[0] == '\0'; }
        bool IsDotDot() const { return rawName.size() == 1 && rawName[0] == '\1'; }
    };

    // `image` holds the sectors from `firstSector` on; addresses on a volume are absolute. The
    // session to read begins at `sessionStart`, by default with the image.
    explicit IsoReader(Bytes image, uint32_t firstSector = 0,
                       std::optional<uint32_t> sessionStart = {})
        : m_image(std::move(image)), m_nFirst(firstSector),
          m_nSession(sessionStart.value_or(firstSector)) {
        Require(m_image.size() % kSector == 0, "the image ends inside a sector");
        ReadDescriptors();
    }

    std::span<const uint8_t> Sector(uint32_t number) const { return Area(number, kSector); }
    std::span<const uint8_t> Primary() const { return Sector(m_nPrimary); }
    std::span<const uint8_t> Joliet() const {
        Require(m_nJoliet != 0, "no Joliet descriptor");
        return Sector(m_nJoliet);
    }

    Bytes Contents(const Record& record) const {
        const auto bytes =
            record.size == 0 ? std::span<const uint8_t>() : Area(record.extent, record.size);
        return {bytes.begin(), bytes.end()};
    }

    Record Root() const { return ParseRecord(Primary().subspan(156, 34), false); }
    Record JolietRoot() const { return ParseRecord(Joliet().subspan(156, 34), false); }

    // All records of a directory, "." and ".." included.
    std::vector<Record> Directory(const Record& directory, bool withSystemUse = true) const {
        Require(directory.size > 0 && directory.size % kSector == 0, "odd directory size");
        const auto bytes = Area(directory.extent, directory.size);
        std::vector<Record> records;
        for (size_t at = 0; at < bytes.size();) {
            const size_t length = bytes[at];
            if (length == 0) {
                at = (at / kSector + 1) * kSector;
                continue;
            }
            Require(at % kSector + length <= kSector, "a record crosses a sector");
            records.push_back(ParseRecord(bytes.subspan(at, length), withSystemUse));
            at += length;
        }
        Require(records.size() >= 2 && records[0].IsDot() && records[1].IsDotDot(),
                "a directory does not begin with its dots");
        Require(records[0].extent == directory.extent && records[0].size == directory.size,
                "\".\" leads elsewhere");
        return records;
    }

    // Every name a Rock Ridge reader shows, by its path with "/" between names; relocated
    // directories at their true places. Checks order, dots, relocation links and path tables.
    std::map<std::string, Record> RockRidgeTree() const {
        CheckPathTables(false);
        std::map<std::string, Record> tree;
        WalkRockRidge(Root(), Root(), "", tree);
        return tree;
    }

    // The same for plain ISO 9660, the relocation directory being an ordinary one.
    std::map<std::string, Record> IsoTree() const {
        std::map<std::string, Record> tree;
        Walk(Root(), Root(), std::string(), false, tree,
             [](const Record& record) { return record.rawName; });
        return tree;
    }

    // The Joliet tree by its names, checked likewise.
    std::map<std::u16string, Record> JolietTree() const {
        CheckPathTables(true);
        std::map<std::u16string, Record> tree;
        Walk(JolietRoot(), JolietRoot(), std::u16string(), true, tree,
             [](const Record& record) { return DecodeUcs2(record.rawName); });
        return tree;
    }

    static std::u16string DecodeUcs2(std::string_view bytes) {
        Require(bytes.size() % 2 == 0, "a UCS-2 name of odd length");
        std::u16string text;
        for (size_t i = 0; i < bytes.size(); i += 2) {
            text += static_cast<char16_t>((static_cast<uint8_t>(bytes[i]) << 8) |
                                          static_cast<uint8_t>(bytes[i + 1]));
        }
        return text;
    }

    static uint32_t Little32(std::span<const uint8_t> bytes, size_t at) {
        return Number(bytes.subspan(at, 4), false);
    }
    static uint32_t Big32(std::span<const uint8_t> bytes, size_t at) {
        return Number(bytes.subspan(at, 4), true);
    }
    static uint32_t Both32(std::span<const uint8_t> bytes, size_t at) { return Both(bytes, at, 4); }
    static uint32_t Both16(std::span<const uint8_t> bytes, size_t at) { return Both(bytes, at, 2); }

    static void Require(bool holds, const std::string& complaint) {
        if (!holds) {
            throw std::runtime_error("volume: " + complaint);
        }
    }

  private:
    static constexpr size_t kSector = 2048;

    struct PathRow {
        std::string name;
        uint32_t extent = 0;
        uint32_t parent = 0;
        bool operator==(const PathRow&) const = default;
    };

    static uint32_t Number(std::span<const uint8_t> bytes, bool big) {
        uint32_t value = 0;
        for (size_t i = 0; i < bytes.size(); ++i) {
            value = value << 8 | bytes[big ? i : bytes.size() - 1 - i];
        }
        return value;
    }
    static uint32_t Both(std::span<const uint8_t> bytes, size_t at, size_t width) {
        const uint32_t value = Number(bytes.subspan(at, width), false);
        Require(value == Number(bytes.subspan(at + width, width), true),
                "the halves of a number differ");
        return value;
    }

    std::span<const uint8_t> Area(uint32_t sector, size_t bytes) const {
        const size_t sectors = (bytes + kSector - 1) / kSector;
        Require(sector >= m_nFirst && sector - m_nFirst + sectors <= m_image.size() / kSector,
                "an extent lies outside the image");
        return std::span(m_image).subspan((sector - m_nFirst) * kSector, bytes);
    }

    // Both path tables of a descriptor against the directories they must list.
    void CheckPathTables(bool joliet) const {
        const auto descriptor = joliet ? Joliet() : Primary();
        const uint32_t size = Both32(descriptor, 132);
        const auto little = Area(Little32(descriptor, 140), size);
        const auto big = Area(Big32(descriptor, 148), size);
        std::vector<PathRow> rows = ParsePathTable(little, false);
        Require(rows == ParsePathTable(big, true), "the L and M tables differ");
        Require(!rows.empty() && rows[0].name == std::string(1, '\0') && rows[0].parent == 1,
                "the path table does not begin with the root");
        std::vector<std::string> paths = {""};
        std::set<std::pair<uint32_t, std::string>> listed = {{rows[0].extent, ""}};
        for (size_t i = 1; i < rows.size(); ++i) {
            const PathRow& row = rows[i];
            Require(row.parent >= 1 && row.parent <= i, "a parent follows its child");
            Require(i == 1 || std::pair(rows[i - 1].parent, rows[i - 1].name) <
                                  std::pair(row.parent, row.name),
                    "path table out of order");
            paths.push_back(paths[row.parent - 1] + "/" + row.name);
            listed.insert({row.extent, paths.back()});
        }
        const Record root = joliet ? JolietRoot() : Root();
        std::set<std::pair<uint32_t, std::string>> real = {{root.extent, ""}};
        std::map<std::string, Record> tree;
        Walk(root, root, std::string(), joliet, tree, [](const Record& r) { return r.rawName; });
        for (const auto& [path, record] : tree) {
            if (record.IsDirectory()) {
                real.insert({record.extent, path});
            }
        }
        Require(listed == real, "the path table lists other directories than the tree");
    }

    void ReadDescriptors() {
        for (uint32_t number = m_nSession + 16;; ++number) {
            const auto sector = Sector(number);
            Require(std::equal(sector.begin() + 1, sector.begin() + 6, "CD001"),
                    "a descriptor without its identifier");
            if (sector[0] == 1 && m_nPrimary == 0) {
                m_nPrimary = number;
            }
            if (sector[0] == 2 && sector[88] == '%' && sector[89] == '/') {
                m_nJoliet = number;
            }
            if (sector[0] == 255) {
                break;
            }
        }
        Require(m_nPrimary != 0, "no primary volume descriptor");
    }

    Record ParseRecord(std::span<const uint8_t> bytes, bool withSystemUse) const {
        Record record;
        record.length = bytes[0];
        Require(record.length % 2 == 0 && record.length <= bytes.size(), "bad record length");
        record.extent = Both32(bytes, 2);
        record.size = Both32(bytes, 10);
        std::copy_n(bytes.begin() + 18, 7, record.date.begin());
        record.flags = bytes[25];
        Require(Both16(bytes, 28) == 1, "wrong volume sequence number");
        const size_t nameBytes = bytes[32];
        Require(nameBytes >= 1 && 33 + nameBytes <= record.length, "bad name length");
        record.rawName.assign(bytes.begin() + 33, bytes.begin() + 33 + nameBytes);
        const size_t useAt = 33 + nameBytes + (nameBytes % 2 == 0 ? 1 : 0);
        if (withSystemUse && useAt < record.length) {
            record.inlineUse.assign(bytes.begin() + useAt, bytes.begin() + record.length);
            ParseSystemUse(record.inlineUse, record, 0);
        }
        return record;
    }

    void ParseSystemUse(std::span<const uint8_t> bytes, Record& record, int depth) const {
        Require(depth < 8, "continuation areas without end");
        std::span<const uint8_t> next;
        size_t at = 0;
        while (at + 4 <= bytes.size()) {
            const size_t length = bytes[at + 2];
            Require(length >= 4 && at + length <= bytes.size() && bytes[at + 3] == 1,
                    "a bad System Use entry");
            const auto entry = bytes.subspan(at, length);
            const std::string signature = {static_cast<char>(entry[0]),
                                           static_cast<char>(entry[1])};
            record.signatures += signature + " ";
            record.inlineSignatures += depth == 0 ? signature + " " : "";
            if (signature == "CE") {
                const uint32_t offset = Both32(entry, 12);
                const uint32_t size = Both32(entry, 20);
                Require(next.empty() && length == 28 && size > 0 && offset + size <= kSector,
                        "a bad CE");
                next = Sector(Both32(entry, 4)).subspan(offset, size);
            } else {
                ParseEntry(signature, entry, record);
            }
            at += length;
        }
        Require(bytes.size() - at < 4 &&
                    std::all_of(bytes.begin() + at, bytes.end(), [](uint8_t b) { return b == 0; }),
                "rubbish behind System Use entries");
        if (!next.empty()) {
            ParseSystemUse(next, record, depth + 1);
        }
    }

    static void ParseEntry(const std::string& signature, std::span<const uint8_t> entry,
                           Record& record) {
        if (signature == "NM") {
            record.rrName.append(entry.begin() + 5, entry.end());
        } else if (signature == "PX") {
            Require(entry.size() == 36, "a bad PX");
            record.mode = Both32(entry, 4);
            record.links = Both32(entry, 12);
            record.uid = Both32(entry, 20);
            record.gid = Both32(entry, 28);
        } else if (signature == "TF") {
            Require(entry.size() == 26 && entry[4] == 0x0E, "an unexpected TF");
            std::copy_n(entry.begin() + 5, 7, record.modified.begin());
            std::copy_n(entry.begin() + 12, 7, record.accessed.begin());
            std::copy_n(entry.begin() + 19, 7, record.changed.begin());
        } else if (signature == "CL") {
            record.childLink = Both32(entry, 4);
        } else if (signature == "PL") {
            record.parentLink = Both32(entry, 4);
        } else if (signature == "RE") {
            record.relocated = true;
        } else if (signature == "SP") {
            Require(entry.size() == 7 && entry[4] == 0xBE && entry[5] == 0xEF, "a bad SP");
        } else if (signature == "ER") {
            record.erIdentifier.assign(entry.begin() + 8, entry.begin() + 8 + entry[4]);
        } else {
            static const std::set<std::string> kOthers = {"RR", "SL", "AL"};
            Require(kOthers.contains(signature), "an unknown entry " + signature);
        }
    }

    // ECMA-119 9.3: by name, then by extension, each as if padded with spaces.
    static bool IsoLess(const std::string& a, const std::string& b) {
        const auto split = [](const std::string& name) {
            const size_t dot = name.find('.');
            return std::pair(name.substr(0, dot),
                             dot == std::string::npos ? "" : name.substr(dot + 1));
        };
        return split(a) < split(b);
    }

    template <typename Text, typename NameOf>
    void Walk(const Record& directory, const Record& parent, const Text& path, bool joliet,
              std::map<Text, Record>& tree, const NameOf& nameOf) const {
        const std::vector<Record> records = Directory(directory, !joliet);
        Require(records[1].extent == parent.extent, "\"..\" does not lead to the parent");
        for (size_t i = 2; i < records.size(); ++i) {
            const Record& record = records[i];
            Require(i == 2 || (joliet ? records[i - 1].rawName < record.rawName
                                      : IsoLess(records[i - 1].rawName, record.rawName)),
                    "a directory out of order");
            Text full = path;
            full += '/';
            full += nameOf(record);
            Require(tree.emplace(full, record).second, "two entries of one name");
            if (record.IsDirectory()) {
                Walk(record, directory, full, joliet, tree, nameOf);
            }
        }
    }

    void WalkRockRidge(const Record& directory, const Record& parent, const std::string& path,
                       std::map<std::string, Record>& tree) const {
        const std::vector<Record> records = Directory(directory);
        const uint32_t up = records[1].parentLink.value_or(records[1].extent);
        Require(up == parent.extent, "\"..\" does not lead to the true parent of " + path);
        for (size_t i = 2; i < records.size(); ++i) {
            Record record = records[i];
            if (record.relocated) {
                continue;
            }
            const std::string full = path + "/" + record.rrName;
            if (record.childLink) {
                Require(!record.IsDirectory() && record.size == 0, "a CL on a real entry");
                record = FollowChildLink(record);
            }
            Require(tree.emplace(full, record).second, "two Rock Ridge names " + full);
            if (record.IsDirectory()) {
                WalkRockRidge(record, directory, full, tree);
            }
        }
    }

    // The moved directory as its own "." describes it.
    Record FollowChildLink(const Record& placeholder) const {
        const auto first = Sector(*placeholder.childLink);
        Record moved = ParseRecord(first.subspan(0, first[0]), true);
        Require(moved.IsDot() && moved.extent == *placeholder.childLink, "CL leads nowhere");
        moved.rrName = placeholder.rrName;
        return moved;
    }

    static std::vector<PathRow> ParsePathTable(std::span<const uint8_t> bytes, bool big) {
        std::vector<PathRow> rows;
        for (size_t at = 0; at < bytes.size();) {
            const size_t nameBytes = bytes[at];
            Require(nameBytes >= 1 && at + 8 + nameBytes <= bytes.size(), "a bad path table row");
            const auto row = bytes.subspan(at);
            rows.push_back({{row.begin() + 8, row.begin() + 8 + nameBytes},
                            Number(row.subspan(2, 4), big),
                            Number(row.subspan(6, 2), big)});
            at += 8 + nameBytes + nameBytes % 2;
        }
        return rows;
    }

    Bytes m_image;
    uint32_t m_nFirst;
    uint32_t m_nSession;
    uint32_t m_nPrimary = 0;
    uint32_t m_nJoliet = 0;
};

} // namespace larkspin
