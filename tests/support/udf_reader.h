// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A reader of UDF 1.02 volumes for tests, written from ECMA-167 and from nothing in src/volume.
//
// It is an oracle: every descriptor's tag, checksum, CRC and location must be right, both volume
// sequences must agree, and counts, links, parents and unique identifiers must fit the tree it
// walks. Anything else makes it throw std::runtime_error.
#pragma once

#include "platform/text.h"
#include "support/sector_image.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace larkspin {

class UdfReader : public SectorImage {
  public:
    struct Extent {
        uint32_t bytes = 0;
        uint32_t sector = 0; // absolute
        bool operator==(const Extent&) const = default;
    };
    struct Node {
        bool isDirectory = false;
        int compression = 0; // of the name: 8 or 16
        uint64_t size = 0;
        uint64_t uniqueId = 0;
        uint64_t links = 0;
        uint64_t uid = 0;
        std::vector<uint8_t> modified; // 12 bytes
        std::vector<Extent> extents = {};
    };

    // `image` holds the sectors from `first` on; it may lack its end.
    explicit UdfReader(std::vector<uint8_t> image, uint32_t first = 0)
        : SectorImage(std::move(image), first) {
        uint32_t at = first + 16;
        while (Text(Sector(at), 1, 5) == "CD001") {
            ++at;
        }
        for (const char* identifier : {"BEA01", "NSR02", "TEA01"}) {
            Require(Text(Sector(at++), 1, 5) == identifier, "recognition area");
        }
        CheckAnchor(first + 256);
        ReadSequences();
        CheckTag(Block(0), 256, 0);
        CheckTag(Block(1), 8, 1);
        const uint32_t root = U32(Block(0), 404);
        nodes[""] = ReadEntry(root, true);
        Walk("", root, root);
        Require(nodes.at("").uniqueId == 0, "the root's unique identifier is not 0");
        Require(m_nFiles == LittleAt(m_integrity, 120, 4), "count of files");
        Require(nodes.size() - m_nFiles == LittleAt(m_integrity, 124, 4), "count of directories");
        Require(*m_ids.rbegin() <= LittleAt(m_integrity, 40, 8), "next unique identifier");
    }

    std::map<std::string, Node> nodes; // by paths with a "/" in front of each name; "" is the root
    std::string volumeId;
    uint32_t partitionStart = 0;
    uint32_t partitionSectors = 0;

    uint32_t Files() const { return m_nFiles; }
    // Anchors in a row at the end of the image.
    uint32_t EndAnchors() const {
        uint32_t count = 0;
        for (; LittleAt(Sector(LastSector() - count), 0, 2) == 2; ++count) {
            CheckAnchor(LastSector() - count);
        }
        return count;
    }
    std::string Contents(const Node& node) const {
        std::string contents;
        for (const Extent& extent : node.extents) {
            contents += Text(Area(extent.sector, extent.bytes), 0, extent.bytes);
        }
        return contents;
    }

  private:
    static uint32_t U32(View bytes, size_t at) {
        return static_cast<uint32_t>(LittleAt(bytes, at, 4));
    }
    static std::string Text(View bytes, size_t at, size_t width) {
        const View text = bytes.subspan(at, width);
        return {text.begin(), text.end()};
    }

    static uint16_t Crc(View bytes) {
        uint32_t crc = 0;
        for (const uint8_t byte : bytes) {
            crc ^= static_cast<uint32_t>(byte) << 8;
            for (int bit = 0; bit < 8; ++bit) {
                crc = (crc & 0x8000) != 0 ? (crc << 1 ^ 0x1021) & 0xFFFF : crc << 1;
            }
        }
        return static_cast<uint16_t>(crc);
    }

    static void CheckTag(View bytes, uint32_t tag, uint32_t location) {
        const std::string name = "tag " + std::to_string(tag);
        Require(LittleAt(bytes, 0, 2) == tag,
                name + " expected, not " + std::to_string(LittleAt(bytes, 0, 2)));
        Require(LittleAt(bytes, 2, 2) == 2, name + ": version");
        uint8_t sum = 0;
        for (size_t i = 0; i < 16; ++i) {
            sum = static_cast<uint8_t>(sum + (i == 4 ? 0 : bytes[i]));
        }
        Require(bytes[4] == sum, name + ": checksum");
        const size_t length = LittleAt(bytes, 10, 2);
        Require(length > 0 && 16 + length <= bytes.size(), name + ": length of CRC");
        Require(LittleAt(bytes, 8, 2) == Crc(bytes.subspan(16, length)), name + ": CRC");
        Require(U32(bytes, 12) == location, name + ": location");
    }

    void CheckAnchor(uint32_t sector) const {
        CheckTag(Sector(sector), 2, sector);
        Require(U32(Sector(sector), 16) == 16 * kSector, "length of the main sequence");
        Require(U32(Sector(sector), 24) == 16 * kSector, "length of the reserve sequence");
        Require(std::ranges::equal(Sector(sector).subspan(16, 16),
                                   Sector(m_nFirst + 256).subspan(16, 16)),
                "anchors differ");
    }

    void ReadSequences() {
        const uint32_t start = U32(Sector(m_nFirst + 256), 20);
        const uint32_t reserve = U32(Sector(m_nFirst + 256), 28);
        const uint32_t tags[] = {1, 4, 5, 6, 7, 8};
        for (uint32_t i = 0; i < 6; ++i) {
            CheckTag(Sector(start + i), tags[i], start + i);
            CheckTag(Sector(reserve + i), tags[i], reserve + i);
            Require(
                std::ranges::equal(Sector(start + i).subspan(16), Sector(reserve + i).subspan(16)),
                "the sequences differ");
            Require(i == 5 || U32(Sector(start + i), 16) == i, "sequence number");
        }
        const View partition = Sector(start + 2);
        partitionStart = U32(partition, 188);
        partitionSectors = U32(partition, 192);
        Require(Text(partition, 25, 6) == "+NSR02", "contents of the partition");
        const View logical = Sector(start + 3);
        Require(U32(logical, 212) == kSector, "block size");
        Require(Text(logical, 217, 19) == "*OSTA UDF Compliant", "domain");
        Require(LittleAt(logical, 240, 2) == 0x0102, "revision");
        const size_t idBytes = logical[84 + 127];
        Require(idBytes < 128, "length of a text");
        volumeId = idBytes == 0 ? "" : Decode(logical.subspan(84, idBytes));
        const uint32_t integrity = U32(logical, 436);
        CheckTag(Sector(integrity), 9, integrity);
        CheckTag(Sector(integrity + 1), 8, integrity + 1);
        m_integrity = Sector(integrity);
        Require(U32(m_integrity, 28) == 1, "the volume is not closed");
        Require(U32(m_integrity, 84) == partitionSectors, "size of the partition");
    }

    View Block(uint32_t block) const {
        Require(block < partitionSectors, "block outside the partition");
        return Sector(partitionStart + block);
    }

    Node ReadEntry(uint32_t block, bool isDirectory) {
        const View entry = Block(block);
        CheckTag(entry, 261, block);
        Require(entry[27] == (isDirectory ? 4 : 5), "file type");
        Require((entry[34] & 7) == 0, "form of the allocation descriptors");
        Node node = {.isDirectory = isDirectory,
                     .size = LittleAt(entry, 56, 8),
                     .uniqueId = LittleAt(entry, 160, 8),
                     .links = LittleAt(entry, 48, 2),
                     .uid = LittleAt(entry, 36, 4),
                     .modified = {entry.begin() + 84, entry.begin() + 96}};
        Require(m_ids.insert(node.uniqueId).second, "a unique identifier comes twice");
        uint64_t left = node.size;
        for (size_t at = 176; at < 176 + U32(entry, 172); at += 8) {
            const Extent extent = {U32(entry, at), partitionStart + U32(entry, at + 4)};
            Require(extent.bytes > 0 && extent.bytes <= 0x3FFFFFFF && extent.bytes <= left,
                    "length of an extent");
            left -= extent.bytes;
            Require(left == 0 || extent.bytes % kSector == 0, "an extent ends inside a block");
            Require(extent.sector + (extent.bytes + kSector - 1) / kSector <=
                        partitionStart + partitionSectors,
                    "an extent leaves the partition");
            node.extents.push_back(extent);
        }
        Require(left == 0, "extents are shorter than the file");
        Require(LittleAt(entry, 64, 8) == (node.size + kSector - 1) / kSector, "blocks recorded");
        m_nFiles += isDirectory ? 0 : 1;
        return node;
    }

    void Walk(const std::string& path, uint32_t block, uint32_t parent) {
        const Node directory = nodes.at(path);
        const std::string text = Contents(directory);
        const View bytes(reinterpret_cast<const uint8_t*>(text.data()), text.size());
        const uint32_t first = directory.extents.at(0).sector - partitionStart;
        uint32_t links = 1;
        bool sawParent = false;
        for (size_t at = 0; at < bytes.size();) {
            const View head = bytes.subspan(at);
            const size_t nameBytes = head[19];
            const size_t length = (38 + LittleAt(head, 36, 2) + nameBytes + 3) / 4 * 4;
            Require(length <= head.size(), "an identifier leaves its directory");
            CheckTag(head.first(length), 257, first + static_cast<uint32_t>(at / kSector));
            at += length;
            const uint32_t target = U32(head, 24);
            if ((head[18] & 8) != 0) {
                Require(!sawParent && target == parent && nameBytes == 0 &&
                            U32(head, 32) == nodes.at(path.substr(0, path.rfind('/'))).uniqueId,
                        "parent");
                sawParent = true;
                continue;
            }
            const bool isDirectory = (head[18] & 2) != 0;
            Node node = ReadEntry(target, isDirectory);
            Require(U32(head, 32) == node.uniqueId, "unique identifier of the name");
            node.compression = head[38];
            const std::string child = path + "/" + Decode(head.subspan(38, nameBytes));
            Require(nodes.emplace(child, node).second, "a name comes twice");
            if (isDirectory) {
                ++links;
                Walk(child, target, block);
            }
        }
        Require(sawParent, "no parent");
        Require(directory.links == links, "links of a directory");
    }

    static std::string Decode(View bytes) {
        Require(bytes[0] == 8 || bytes[0] == 16, "compression");
        const size_t width = bytes[0] / 8;
        Require((bytes.size() - 1) % width == 0, "length of a name");
        std::u16string text;
        for (size_t at = 1; at < bytes.size(); at += width) {
            text += static_cast<char16_t>(BigAt(bytes, at, width));
        }
        return ToNative(text);
    }

    View m_integrity;
    std::set<uint64_t> m_ids;
    uint32_t m_nFiles = 0;
};

} // namespace larkspin
