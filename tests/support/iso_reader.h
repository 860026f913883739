// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A reader of ISO 9660, Joliet and Rock Ridge volumes for tests, written from ECMA-119, the Joliet
// specification, SUSP 1.10 and RRIP 1.09, and from nothing in src/volume.
//
// It is an oracle: whatever the standards forbid makes it throw std::runtime_error, also where a
// lenient reader would not care.
#pragma once

#include "platform/text.h"
#include "support/sector_image.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace larkspin {

class IsoReader : public SectorImage {
  public:
    using Bytes = std::vector<uint8_t>;

    struct Record {
        uint32_t extent = 0;
        uint64_t size = 0; // in a tree, of all sections
        std::array<uint8_t, 7> date = {};
        uint8_t flags = 0;
        std::string rawName; // as on disc
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
    // By paths with a "/" in front of each name.
    using Tree = std::map<std::string, Record>;

    // `image` holds the sectors from `firstSector` on; addresses on a volume are absolute. The
    // session to read begins at `sessionStart`, by default with the image.
    explicit IsoReader(Bytes image, uint32_t firstSector = 0,
                       std::optional<uint32_t> sessionStart = {})
        : SectorImage(std::move(image), firstSector) {
        for (uint32_t number = sessionStart.value_or(firstSector) + 16;; ++number) {
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

    View Primary() const { return Sector(m_nPrimary); }
    View Joliet() const {
        Require(m_nJoliet != 0, "no Joliet descriptor");
        return Sector(m_nJoliet);
    }
    std::string Contents(const Record& record) const {
        const View bytes = record.size == 0 ? View() : Area(record.extent, record.size);
        return {bytes.begin(), bytes.end()};
    }
    Record Root() const { return ParseRecord(Primary().subspan(156, 34), false); }
    Record JolietRoot() const { return ParseRecord(Joliet().subspan(156, 34), false); }

    // All records of a directory, "." and ".." included.
    std::vector<Record> Directory(const Record& directory, bool withSystemUse = true) const {
        Require(directory.size > 0 && directory.size % kSector == 0, "odd directory size");
        const View bytes = Area(directory.extent, directory.size);
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

    // Every name a reader shows, after checks of order, dots, links and path tables. Rock Ridge
    // shows relocated directories at their true places; to plain ISO 9660 the relocation directory
    // is an ordinary one.
    Tree RockRidgeTree() const {
        IsoTree();
        return Read(Names::RockRidge);
    }
    Tree IsoTree() const {
        Tree tree = Read(Names::Iso);
        CheckPathTables(tree, false);
        return tree;
    }
    Tree JolietTree() const {
        Tree tree = Read(Names::Joliet);
        CheckPathTables(tree, true);
        return tree;
    }

  private:
    enum class Names { Iso, RockRidge, Joliet };

    // A name of ISO 9660 or Joliet from its bytes.
    static std::string Decode(const std::string& raw, bool isJoliet) {
        if (!isJoliet) {
            return raw;
        }
        Require(raw.size() % 2 == 0, "a UCS-2 name of odd length");
        std::u16string text;
        for (size_t i = 0; i < raw.size(); i += 2) {
            text += static_cast<char16_t>(BigAt(raw, i, 2));
        }
        return ToNative(text);
    }

    static uint32_t Both(View bytes, size_t at, size_t width) {
        const uint64_t value = LittleAt(bytes, at, width);
        Require(value == BigAt(bytes, at + width, width), "the halves of a number differ");
        return static_cast<uint32_t>(value);
    }
    static uint32_t Both32(View bytes, size_t at) { return Both(bytes, at, 4); }

    Tree Read(Names names) const {
        Record root = names == Names::Joliet ? JolietRoot() : Root();
        if (names != Names::Joliet) {
            root = Directory(root)[0];
        }
        Tree tree;
        Walk(names, root, root, "", tree);
        return tree;
    }

    // Both path tables against the directories that they must list.
    void CheckPathTables(const Tree& tree, bool isJoliet) const {
        struct Row {
            uint64_t parent;
            std::string name;
        };
        const View descriptor = isJoliet ? Joliet() : Primary();
        const uint32_t size = Both32(descriptor, 132);
        const View little = Area(static_cast<uint32_t>(LittleAt(descriptor, 140, 4)), size);
        const View big = Area(static_cast<uint32_t>(BigAt(descriptor, 148, 4)), size);
        std::vector<std::string> paths = {""}; // directories are counted from 1
        std::map<std::string, uint64_t> listed;
        Row before = {};
        for (size_t at = 0; at < size;) {
            const size_t nameBytes = little[at];
            Require(nameBytes >= 1 && at + 8 + nameBytes <= size, "a bad path table row");
            const View text = little.subspan(at + 8, nameBytes);
            const uint64_t extent = LittleAt(little, at + 2, 4);
            const Row row = {LittleAt(little, at + 6, 2), {text.begin(), text.end()}};
            Require(big[at] == nameBytes && BigAt(big, at + 2, 4) == extent &&
                        BigAt(big, at + 6, 2) == row.parent &&
                        std::ranges::equal(text, big.subspan(at + 8, nameBytes)),
                    "the L and M tables differ");
            if (paths.size() == 1) {
                Require(row.name == std::string(1, '\0') && row.parent == 1, "no root in front");
                paths.emplace_back();
            } else {
                Require(row.parent >= 1 && row.parent < paths.size(), "a parent behind its child");
                Require(std::tie(before.parent, before.name) < std::tie(row.parent, row.name),
                        "path table out of order");
                paths.push_back(paths[row.parent] + "/" + Decode(row.name, isJoliet));
            }
            listed[paths.back()] = extent;
            before = row;
            at += 8 + nameBytes + nameBytes % 2;
        }
        std::map<std::string, uint64_t> real = {
            {"", isJoliet ? JolietRoot().extent : Root().extent}};
        for (const auto& [path, record] : tree) {
            if (record.IsDirectory()) {
                real[path] = record.extent;
            }
        }
        Require(listed == real, "the path table lists other directories than the tree");
    }

    Record ParseRecord(View bytes, bool withSystemUse) const {
        Record record;
        const size_t length = bytes[0];
        Require(length % 2 == 0 && length <= bytes.size(), "bad record length");
        record.extent = Both32(bytes, 2);
        record.size = Both32(bytes, 10);
        std::copy_n(bytes.begin() + 18, 7, record.date.begin());
        record.flags = bytes[25];
        Require(Both(bytes, 28, 2) == 1, "wrong volume sequence number");
        const size_t nameBytes = bytes[32];
        Require(nameBytes >= 1 && 33 + nameBytes <= length, "bad name length");
        record.rawName.assign(bytes.begin() + 33, bytes.begin() + 33 + nameBytes);
        const size_t useAt = 33 + nameBytes + (nameBytes % 2 == 0 ? 1 : 0);
        if (withSystemUse && useAt < length) {
            ParseSystemUse(bytes.subspan(useAt, length - useAt), record, 0);
        }
        return record;
    }

    void ParseSystemUse(View bytes, Record& record, int depth) const {
        Require(depth < 8, "continuation areas without end");
        View next;
        size_t at = 0;
        while (at + 4 <= bytes.size()) {
            const size_t length = bytes[at + 2];
            Require(length >= 4 && at + length <= bytes.size() && bytes[at + 3] == 1,
                    "a bad System Use entry");
            const View entry = bytes.subspan(at, length);
            const std::string signature(entry.begin(), entry.begin() + 2);
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
        Require(bytes.size() - at < 4 && std::count(bytes.begin() + at, bytes.end(), 0) ==
                                             static_cast<std::ptrdiff_t>(bytes.size() - at),
                "rubbish behind System Use entries");
        if (!next.empty()) {
            ParseSystemUse(next, record, depth + 1);
        }
    }

    static void ParseEntry(const std::string& signature, View entry, Record& record) {
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
            Require(signature == "RR" || signature == "SL" || signature == "AL",
                    "an unknown entry " + signature);
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

    void Walk(Names names, const Record& directory, const Record& parent, const std::string& path,
              Tree& tree) const {
        const bool isJoliet = names == Names::Joliet;
        const bool isRockRidge = names == Names::RockRidge;
        const std::vector<Record> records = Directory(directory, !isJoliet);
        const Record& up = records[1];
        const bool isMoved = !isRockRidge && up.parentLink.has_value();
        Require((isRockRidge ? up.parentLink.value_or(up.extent) : up.extent) == parent.extent,
                "\"..\" does not lead to the parent of " + path);
        Require(records[0].links == directory.links && (up.parentLink || up.links == parent.links),
                "the dots have other links than their directory: " + path);
        Require(records[0].mode == directory.mode && records[0].modified == directory.modified &&
                    records[0].changed == directory.changed &&
                    (isMoved || (up.mode == parent.mode && up.modified == parent.modified)),
                "the dots have another status than their directory: " + path);
        uint32_t links = 2;
        bool isRelocation = false; // a relocation directory's own folders show elsewhere
        for (size_t i = 2; i < records.size(); ++i) {
            const size_t first = i;
            Record record = records[i];
            for (; (records[i].flags & 0x80) != 0; ++i) { // ECMA-119 6.5.1
                Require(i + 1 < records.size() && records[i + 1].rawName == record.rawName &&
                            records[i + 1].rrName == record.rrName && record.size % kSector == 0 &&
                            records[i + 1].extent == record.extent + record.size / kSector,
                        "a file goes on elsewhere");
                record.size += records[i + 1].size;
            }
            const std::string& before = records[first - 1].rawName;
            Require(first == 2 ||
                        (isJoliet ? before < record.rawName : IsoLess(before, record.rawName)),
                    "a directory out of order");
            if (isRockRidge && record.relocated) {
                isRelocation = true;
                continue;
            }
            if (isRockRidge && record.childLink) {
                Require(!record.IsDirectory() && record.size == 0, "a CL on a real entry");
                record = FollowChildLink(record);
            }
            const std::string full =
                path + "/" + (isRockRidge ? record.rrName : Decode(record.rawName, isJoliet));
            Require(tree.emplace(full, record).second, "two entries of one name: " + full);
            if (record.IsDirectory()) {
                ++links;
                Walk(names, record, directory, full, tree);
            }
        }
        Require(!isRockRidge || isRelocation || directory.links.value_or(links) == links,
                "wrong count of links: " + path);
    }

    // The moved directory as its own "." describes it.
    Record FollowChildLink(const Record& placeholder) const {
        const View first = Sector(*placeholder.childLink);
        Record moved = ParseRecord(first.first(first[0]), true);
        Require(moved.IsDot() && moved.extent == *placeholder.childLink, "CL leads nowhere");
        moved.rrName = placeholder.rrName;
        return moved;
    }

    uint32_t m_nPrimary = 0;
    uint32_t m_nJoliet = 0;
};

} // namespace larkspin
