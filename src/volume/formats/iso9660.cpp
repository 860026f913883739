// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/formats/iso9660.h"

#include "volume/formats/path_tables.h"
#include "volume/formats/rockridge.h"
#include "volume/model/run.h"
#include "volume/model/sector_stream.h"
#include "volume/model/sector_writers.h"

#include <array>
#include <ctime>
#include <string>
#include <string_view>

namespace larkspin {

namespace {

using Sector = std::array<uint8_t, kSectorBytes>;

constexpr uint8_t kTypePrimary = 1;
constexpr uint8_t kTypeSupplementary = 2;
constexpr uint8_t kTypeTerminator = 255;
constexpr uint8_t kDescriptorVersion = 1;
constexpr uint8_t kEnhancedVersion = 2; // of the descriptor and of the file structure
constexpr std::string_view kStandardIdentifier = "CD001";
constexpr uint32_t kRootRecordBytes = 34;
constexpr std::string_view kXaMark = "CD-XA001";
constexpr size_t kXaMarkZeros = 18;
constexpr std::string_view kProgram = "Larkspin 1.4";

std::string NoDate() {
    return std::string(16, '0') + '\0';
}

void WriteDescriptorHead(FieldWriter& writer, uint8_t type) {
    writer.U8(kVdAtType, type);
    writer.Text(kVdAtIdentifier, kStandardIdentifier);
    writer.U8(kVdAtVersion, kDescriptorVersion);
}

void WriteTexts(FieldWriter& writer, const GenOptions& options) {
    writer.PaddedText(kVdAtSystemId, kVdSystemIdBytes, options.system_id);
    writer.PaddedText(kVdAtVolumeId, kVdVolumeIdBytes, options.volume_id);
    writer.PaddedText(kVdAtVolumeSetId, kVdTextBytes, options.volume_set_id.value_or(""));
    writer.PaddedText(kVdAtPublisherId, kVdTextBytes, options.publisher_id.value_or(""));
    writer.PaddedText(kVdAtPreparerId, kVdTextBytes, options.preparer_id.value_or(""));
    writer.PaddedText(kVdAtApplicationId, kVdTextBytes, options.application_id);
    writer.PaddedText(kVdAtCopyrightFile, kVdFileNameBytes, options.copyright_file.value_or(""));
    writer.PaddedText(kVdAtAbstractFile, kVdFileNameBytes, options.abstract_file.value_or(""));
    writer.PaddedText(kVdAtBibliographicFile, kVdFileNameBytes,
                      options.bibliographic_file.value_or(""));
}

void WriteDates(FieldWriter& writer, int64_t moment) {
    const std::string created = DescriptorDate(moment);
    writer.Text(kVdAtCreation, created);
    writer.Text(kVdAtModification, created);
    writer.Text(kVdAtExpiration, NoDate());
    writer.Text(kVdAtEffective, NoDate());
}

Sector PrimaryDescriptor(const VolumeRun& run) {
    const GenOptions& options = run.options;
    Sector sector = {};
    FieldWriter writer(sector);
    WriteDescriptorHead(writer, kTypePrimary);
    writer.Both32(kVdAtVolumeSpace,
                  run.plan_sector - (options.space_from_disc_start ? 0 : run.session_base));
    writer.Both16(kVdAtVolumeSetSize, options.volume_set_size);
    writer.Both16(kVdAtVolumeSequence, options.volume_sequence);
    writer.Both16(kVdAtBlockSize, kSectorBytes);
    WriteTreePlace(writer, run.iso_tables, run.root_record);
    WriteTexts(writer, options);
    WriteDates(writer, run.moment);
    writer.U8(kVdAtFileStructure, 1);
    writer.Fill(kVdAtApplicationUse, kVdApplicationUseBytes, ' ');
    if (options.cd_xa) {
        writer.Text(kVdAtXaMark, kXaMark);
        writer.Fill(kVdAtXaMark + kXaMark.size(), kXaMarkZeros, 0);
    }
    return sector;
}

// A root without a folder on disk is dated with the first moment of 1970.
DirectoryRecord RootRecord(VolumeRun& run) {
    DirectoryRecord record;
    record.length = kRootRecordBytes;
    record.extent = run.tree.Root().iso_extent;
    record.size = RoundToSectors(run.tree.Root().iso_size);
    record.date = run.dates.Get(run.root_status ? run.root_status->modifyTime : 0);
    record.flags = DirectoryRecord::kFlagDirectory;
    record.volume_sequence = run.options.volume_sequence;
    record.name = std::string(1, '\0');
    return record;
}

Sector VersionBlock(const VolumeRun& run) {
    constexpr size_t kAtMark = 0;
    constexpr size_t kAtMoment = 4;
    constexpr size_t kAtProgram = 29;
    constexpr size_t kAtViews = 56;
    const auto enabled = [](bool on) { return std::string(on ? "enabled" : "disabled"); };

    Sector sector = {};
    FieldWriter writer(sector);
    writer.Text(kAtMark, "QRN ");
    const std::tm local = LocalTime(run.moment);
    std::array<char, 26> moment = {};
    if (::asctime_r(&local, moment.data()) != nullptr) {
        writer.Text(kAtMoment, moment.data());
    }
    writer.Text(kAtProgram, kProgram);
    writer.Text(kAtViews, " Joliet: " + enabled(run.options.joliet) +
                              "; RockRidge: " + enabled(run.options.rock_ridge) +
                              "; UDF: " + enabled(run.options.udf) + ".");
    return sector;
}

std::function<void()> TakeSectors(VolumeRun& run, uint32_t sectors) {
    return [&run, sectors] { run.plan_sector += sectors; };
}

IsoDirectory* PlainParent(const IsoDirectory& directory) {
    return directory.parent;
}

std::string RecordName(const IsoDirectory& directory) {
    return directory.self->record.name;
}

void AssignExtents(VolumeRun& run) {
    ForEachDirectory(run.tree.Root(), [&](IsoDirectory& directory) {
        if (directory.Has(kDirectoryNotInIso)) {
            return;
        }
        if (directory.iso_extent == 0) {
            directory.iso_extent = run.plan_sector;
        }
        run.plan_sector += SectorsOf(directory.iso_size);
        run.plan_sector += SectorsOf(directory.continuation_bytes);
    });
}

// Done in the write pass, because only now do all entries have their extents.
void WriteDirectory(IsoDirectory& directory, SectorStream& stream, std::vector<uint8_t>& sectors,
                    std::vector<uint8_t>& areas) {
    sectors.assign(RoundToSectors(directory.iso_size), 0);
    areas.assign(RoundToSectors(directory.continuation_bytes), 0);
    const uint32_t areasSector = stream.WrittenSector() + SectorsOf(directory.iso_size);
    uint32_t offset = 0;
    uint32_t areasOffset = 0;
    for (IsoEntry* entry = directory.entries; entry != nullptr; entry = entry->next) {
        if (entry->Has(kEntryNotInIso)) {
            continue;
        }
        ForEachRecord(*entry, [&](IsoEntry& shown) {
            const DirectoryRecord& record = shown.record;
            // The areas come first: the CE that points to them is in the part copied next.
            areasOffset = WriteContinuations(shown, areasOffset, areasSector, areas);
            offset = PlaceInSector(offset, record.length);
            const std::span<uint8_t> bytes = std::span(sectors).subspan(offset, record.length);
            record.Write(bytes);
            if (shown.rr_inline_size != 0) {
                const auto nameBytes = static_cast<uint32_t>(record.name.size());
                FieldWriter(bytes).Bytes(DirectoryRecord::PlainLength(nameBytes),
                                         std::span(shown.rr_data).first(shown.rr_inline_size));
            }
            offset += record.length;
        });
    }
    stream.Write(sectors);
    stream.Write(areas);
}

} // namespace

void WriteTreePlace(FieldWriter& writer, const PathTables& tables, const DirectoryRecord& root) {
    writer.Both32(kVdAtPathTableSize, tables.bytes);
    writer.Little32(kVdAtLittleTable, tables.start);
    writer.Big32(kVdAtBigTable, tables.start + tables.sectors);
    root.Write(writer.Field(kVdAtRootRecord, root.length));
}

OutputFragment PrimaryDescriptorFragment(VolumeRun& run) {
    OutputFragment fragment{.name = "Primary Volume Descriptor"};
    fragment.size = TakeSectors(run, 1);
    fragment.generate = [&run] { run.root_record = RootRecord(run); };
    fragment.write = [&run](SectorStream& stream) {
        run.primary_descriptor = PrimaryDescriptor(run);
        stream.Write(run.primary_descriptor);
    };
    return fragment;
}

OutputFragment EnhancedDescriptorFragment(VolumeRun& run) {
    OutputFragment fragment{.name = "Enhanced Volume Descriptor"};
    fragment.size = TakeSectors(run, 1);
    fragment.write = [&run](SectorStream& stream) {
        Sector sector = run.primary_descriptor;
        FieldWriter writer(sector);
        writer.U8(kVdAtType, kTypeSupplementary);
        writer.U8(kVdAtVersion, kEnhancedVersion);
        writer.U8(kVdAtFileStructure, kEnhancedVersion);
        stream.Write(sector);
    };
    return fragment;
}

OutputFragment EndDescriptorFragment(VolumeRun& run) {
    OutputFragment fragment{.name = "End Volume Descriptor"};
    fragment.size = TakeSectors(run, 1);
    fragment.write = [](SectorStream& stream) {
        Sector sector = {};
        FieldWriter writer(sector);
        WriteDescriptorHead(writer, kTypeTerminator);
        stream.Write(sector);
    };
    return fragment;
}

OutputFragment VersionBlockFragment(VolumeRun& run) {
    OutputFragment fragment{.name = "Version block"};
    fragment.size = TakeSectors(run, 1);
    fragment.write = [&run](SectorStream& stream) { stream.Write(VersionBlock(run)); };
    return fragment;
}

OutputFragment PathTableFragment(VolumeRun& run) {
    return PathTablesFragment(run, "Path table", &VolumeRun::iso_tables,
                              {.excluded = kDirectoryNotInIso,
                               .extent = &IsoDirectory::iso_extent,
                               .index = &IsoDirectory::iso_path_index,
                               .parentOf = PlainParent,
                               .nameOf = RecordName,
                               .emptySlot = "Internal error #945.",
                               .noSelf = "Internal error #946.",
                               .parentTooHigh = "Internal error #947."});
}

OutputFragment DirectoryTreeFragment(VolumeRun& run) {
    OutputFragment fragment{.name = "Directory tree"};
    fragment.size = [&run] { AssignExtents(run); };
    fragment.write = [&run](SectorStream& stream) {
        std::vector<uint8_t> sectors;
        std::vector<uint8_t> areas;
        ForEachDirectory(run.tree.Root(), [&](IsoDirectory& directory) {
            if (!directory.Has(kDirectoryNotInIso) && directory.iso_extent > run.session_base) {
                WriteDirectory(directory, stream, sectors, areas);
            }
        });
    };
    return fragment;
}

} // namespace larkspin
