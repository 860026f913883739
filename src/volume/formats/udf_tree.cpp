// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/formats/udf.h"

#include "volume/formats/joliet.h"
#include "volume/formats/udf_tag.h"
#include "volume/model/error.h"
#include "volume/model/run.h"
#include "volume/model/sector_stream.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace larkspin {

namespace {

constexpr uint32_t kIdentifierHead = 38;        // bytes in front of the name
constexpr uint32_t kLongestExtent = 0x3FFFF800; // bytes of whole sectors in the 30-bit length
constexpr size_t kEntryHead = 176;              // bytes in front of the allocation descriptors
constexpr size_t kAllocationBytes = 8;          // a short allocation descriptor, ECMA-167 4/14.14.1
static_assert((kSectorBytes - kEntryHead) / kAllocationBytes * kLongestExtent + 1 ==
              kUdfFileSizeLimit);
constexpr uint8_t kIsDirectory = 0x02;
constexpr uint8_t kIsParent = 0x08;

// What a file entry says.
struct EntryFacts {
    bool isDirectory = false;
    uint16_t links = 1;
    uint64_t bytes = 0;
    uint32_t block = 0; // of the contents
    RecordDate date = {};
    uint64_t uniqueId = 0;
};

template <typename Visit>
void ForEachShownDirectory(VolumeRun& run, const Visit& visit) {
    ForEachDirectory(run.tree.Root(), [&](IsoDirectory& directory) {
        if (!directory.Has(kDirectoryNotInJoliet)) {
            visit(directory);
        }
    });
}

template <typename Visit>
void ForEachName(const IsoDirectory& directory, const Visit& visit) {
    for (IsoEntry* entry = directory.joliet_entries; entry != nullptr; entry = entry->joliet_next) {
        if (!entry->Has(kEntryNotInJoliet) && !entry->record.IsDots()) {
            visit(*entry);
        }
    }
}

template <typename Visit>
void ForEachFile(VolumeRun& run, const Visit& visit) {
    ForEachShownDirectory(run, [&](const IsoDirectory& directory) {
        ForEachName(directory, [&](IsoEntry& entry) {
            if (!entry.Has(kEntryPlaceholder) && !entry.record.IsDirectory()) {
                visit(entry);
            }
        });
    });
}

constexpr uint32_t IdentifierBytes(size_t nameBytes) {
    return (kIdentifierHead + static_cast<uint32_t>(nameBytes) + 3) / 4 * 4;
}

uint32_t IdentifiersSize(const VolumeRun& run, const IsoDirectory& directory) {
    uint32_t bytes = IdentifierBytes(0); // the parent has no name
    ForEachName(directory, [&](const IsoEntry& entry) {
        bytes += IdentifierBytes(UdfCompressedBytes(JolietName(entry, run.options)));
    });
    return bytes;
}

// Returns where the allocation descriptors end. ECMA-167 4/12: all extents but the last are whole
// blocks.
size_t WriteAllocations(FieldWriter& writer, uint64_t bytes, uint32_t block) {
    size_t at = kEntryHead;
    for (; bytes > 0; at += kAllocationBytes) {
        const auto length = static_cast<uint32_t>(std::min<uint64_t>(bytes, kLongestExtent));
        writer.Little32(at, length);
        writer.Little32(at + 4, block);
        block += SectorsOf(length);
        bytes -= length;
    }
    return at;
}

// ECMA-167 4/14.9 into a zeroed sector.
void WriteFileEntry(const VolumeRun& run, const EntryFacts& facts, uint32_t location,
                    std::span<uint8_t> sector) {
    constexpr uint16_t kPlainStrategy = 4;
    constexpr uint8_t kTypeDirectory = 4;
    constexpr uint8_t kTypeFile = 5;
    constexpr uint16_t kIcbFlags =
        0x0230; // archive, non-relocatable, contiguous; short descriptors
    constexpr uint32_t kNoOwner = 0xFFFFFFFF;
    constexpr uint32_t kDirectoryPermissions = 0x14A5; // to read and to search, for all
    constexpr uint32_t kFilePermissions = 0x1084;      // to read, for all

    const bool hasOwner = run.options.normalize_attributes;
    FieldWriter writer(sector);
    writer.Little16(20, kPlainStrategy);
    writer.Little16(24, 1); // maximum entries
    writer.U8(27, facts.isDirectory ? kTypeDirectory : kTypeFile);
    writer.Little16(34, kIcbFlags);
    writer.Little32(36, hasOwner ? run.options.uid : kNoOwner);
    writer.Little32(40, hasOwner ? run.options.gid : kNoOwner);
    writer.Little32(44, facts.isDirectory ? kDirectoryPermissions : kFilePermissions);
    writer.Little16(48, facts.links);
    writer.Little64(56, facts.bytes);
    writer.Little64(64, SectorsOf(facts.bytes));
    for (const size_t offset : {72, 84, 96}) { // access, modification, attribute change
        WriteUdfTimestamp(writer, offset, facts.date);
    }
    writer.Little32(108, 1); // checkpoint
    WriteUdfDeveloper(writer, 128);
    writer.Little64(160, facts.uniqueId);
    const size_t end = WriteAllocations(writer, facts.bytes, facts.block);
    writer.Little32(172, static_cast<uint32_t>(end - kEntryHead));
    WriteUdfTag(sector.first(end), UdfTag::FileEntry, location,
                static_cast<uint32_t>(kSectorBytes - end));
}

// The identifiers of one directory, one after another and across sectors.
class IdentifierWriter {
  public:
    IdentifierWriter(const UdfPlan& plan, std::span<uint8_t> area, uint32_t block)
        : m_plan(plan), m_area(area), m_nBlock(block) {}

    void Add(uint8_t characteristics, const std::string& name, uint32_t entrySector,
             uint32_t uniqueId) {
        const uint32_t length = IdentifierBytes(name.size());
        const std::span<uint8_t> bytes = m_area.subspan(m_nAt, length);
        FieldWriter writer(bytes);
        writer.Little16(16, 1); // file version number
        writer.U8(18, characteristics);
        writer.U8(19, static_cast<uint8_t>(name.size()));
        writer.Little32(20, kSectorBytes); // of the file entry
        writer.Little32(24, m_plan.BlockOf(entrySector));
        writer.Little32(32, uniqueId);
        writer.Text(kIdentifierHead, name);
        WriteUdfTag(bytes, UdfTag::FileIdentifier, m_nBlock + m_nAt / kSectorBytes);
        m_nAt += length;
    }

  private:
    const UdfPlan& m_plan;
    std::span<uint8_t> m_area;
    uint32_t m_nBlock; // of the area
    uint32_t m_nAt = 0;
};

// UDF 2.3.4.3: the root is known by 0.
uint32_t UniqueIdOf(VolumeRun& run, const IsoDirectory& directory) {
    return &directory == &run.tree.Root() ? 0 : directory.self->udf_entry_sector;
}

// The link that each directory has in its parent, and one for the directory's own parent link in
// each of its subdirectories.
uint16_t LinksOf(const IsoDirectory& directory) {
    uint32_t links = 1;
    for (const IsoDirectory* child = directory.first_child; child != nullptr; child = child->next) {
        links += child->Has(kDirectoryNotInJoliet) ? 0 : 1;
    }
    ForEachName(directory,
                [&](const IsoEntry& entry) { links += entry.Has(kEntryPlaceholder) ? 1 : 0; });
    return static_cast<uint16_t>(std::min<uint32_t>(links, UINT16_MAX));
}

const IsoEntry& Behind(const IsoEntry& entry) {
    if (!entry.Has(kEntryPlaceholder)) {
        return entry;
    }
    if (entry.relocated_to == nullptr) {
        throw CCDWriterISOGenException(u"Internal error #949.");
    }
    return *entry.relocated_to;
}

void WriteDirectory(VolumeRun& run, const IsoDirectory& directory, SectorStream& stream,
                    std::vector<uint8_t>& sectors) {
    const uint32_t block = run.udf.BlockOf(stream.WrittenSector());
    const EntryFacts facts = {.isDirectory = true,
                              .links = LinksOf(directory),
                              .bytes = IdentifiersSize(run, directory),
                              .block = block + 1,
                              .date = directory.self->record.date,
                              .uniqueId = UniqueIdOf(run, directory)};
    sectors.assign((size_t{1} + SectorsOf(facts.bytes)) * kSectorBytes, 0);
    WriteFileEntry(run, facts, block, std::span(sectors).first(kSectorBytes));

    IdentifierWriter identifiers(run.udf, std::span(sectors).subspan(kSectorBytes), block + 1);
    const IsoDirectory& parent = *directory.TrueParent();
    identifiers.Add(kIsParent | kIsDirectory, "", parent.self->udf_entry_sector,
                    UniqueIdOf(run, parent));
    ForEachName(directory, [&](const IsoEntry& shown) {
        const IsoEntry& entry = Behind(shown);
        identifiers.Add(entry.record.IsDirectory() ? kIsDirectory : 0,
                        UdfCompressed(JolietName(shown, run.options)), entry.udf_entry_sector,
                        entry.udf_entry_sector);
    });
    stream.Write(sectors);
}

} // namespace

void PlanUdfDirectories(VolumeRun& run) {
    ForEachShownDirectory(run, [&](IsoDirectory& directory) {
        directory.self->udf_entry_sector = run.plan_sector;
        run.udf.last_entry = run.plan_sector; // stands if the volume holds no file
        run.plan_sector += 1 + SectorsOf(IdentifiersSize(run, directory));
        ++run.udf.directories;
    });
    run.udf.root_entry = run.tree.Root().self->udf_entry_sector;
}

void PlanUdfFiles(VolumeRun& run) {
    ForEachFile(run, [&](IsoEntry& entry) {
        // Only contents kept from an earlier session already have their place.
        if (entry.size > 0 && (entry.record.extent != 0 || entry.Has(kEntryMayBeKept))) {
            throw CCDWriterISOGenException(u"UDF cannot show the files of an earlier session.");
        }
        entry.udf_entry_sector = run.plan_sector;
        run.udf.last_entry = run.plan_sector;
        ++run.plan_sector;
        ++run.udf.files;
    });
}

void WriteUdfDirectories(VolumeRun& run, SectorStream& stream) {
    std::vector<uint8_t> sectors;
    ForEachShownDirectory(run, [&](const IsoDirectory& directory) {
        WriteDirectory(run, directory, stream, sectors);
    });
}

void WriteUdfFiles(VolumeRun& run, SectorStream& stream) {
    ForEachFile(run, [&](const IsoEntry& entry) {
        const EntryFacts facts = {.bytes = entry.size,
                                  .block = run.udf.BlockOf(entry.start_sector),
                                  .date = entry.record.date,
                                  .uniqueId = entry.udf_entry_sector};
        const std::span<uint8_t> sector = stream.Space(1);
        std::fill(sector.begin(), sector.end(), uint8_t{0});
        WriteFileEntry(run, facts, run.udf.BlockOf(stream.WrittenSector()), sector);
        stream.Commit(1);
    });
}

} // namespace larkspin
