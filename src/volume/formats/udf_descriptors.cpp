// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/formats/udf_descriptors.h"

#include "platform/text.h"
#include "volume/formats/udf_tag.h"
#include "volume/model/run.h"

#include <string_view>

namespace larkspin {

namespace {

constexpr uint32_t kDescriptorBytes = 512;      // of most descriptors, the tag included
constexpr uint32_t kLogicalVolumeBytes = 446;   // with one partition map
constexpr uint32_t kUnallocatedSpaceBytes = 24; // without an allocation
constexpr uint32_t kIntegrityBytes = 134;       // with one partition
constexpr uint32_t kFileSetExtentBytes = 2 * kSectorBytes;
constexpr uint32_t kIntegrityExtentBytes = 2 * kSectorBytes;
constexpr size_t kVolumeIdBytes = 32;
constexpr size_t kLogicalVolumeIdBytes = 128;
constexpr size_t kVolumeSetIdBytes = 128;
constexpr uint32_t kFirstCharacterSet = 1; // bit 0: CS0

void Finish(UdfSector& sector, uint32_t bytes, UdfTag tag, uint32_t location) {
    WriteUdfTag(std::span(sector).first(bytes), tag, location);
}

// ECMA-167 3/10.1. UDF 2.2.2.5 requires the first 16 characters of the volume set's identifier to
// be different for each volume.
UdfSector PrimaryVolume(const VolumeRun& run, uint32_t location) {
    UdfSector sector = {};
    FieldWriter writer(sector);
    writer.Little32(16, 0); // sequence number
    WriteUdfText(writer, 24, kVolumeIdBytes, run.options.joliet_volume_id);
    writer.Little16(56, 1); // volume sequence number
    writer.Little16(58, 1); // its maximum
    writer.Little16(60, 2); // interchange level
    writer.Little16(62, 2); // its maximum
    writer.Little32(64, kFirstCharacterSet);
    writer.Little32(68, kFirstCharacterSet);
    WriteUdfText(
        writer, 72, kVolumeSetIdBytes,
        FormatWide("%08X%08X", static_cast<uint32_t>(run.moment), run.moment_milliseconds));
    WriteUdfCharset(writer, 200); // of the descriptor
    WriteUdfCharset(writer, 264); // of explanatory texts
    WriteUdfTimestamp(writer, 376, MakeRecordDate(run.moment));
    WriteUdfDeveloper(writer, 388);
    Finish(sector, kDescriptorBytes, UdfTag::PrimaryVolume, location);
    return sector;
}

// ECMA-167 3/10.4, UDF 2.2.7
UdfSector ImplementationUse(const VolumeRun& run, uint32_t location) {
    UdfSector sector = {};
    FieldWriter writer(sector);
    writer.Little32(16, 1); // sequence number
    WriteUdfVolumeInfo(writer, 20);
    WriteUdfCharset(writer, 52);
    WriteUdfText(writer, 116, kLogicalVolumeIdBytes, run.options.joliet_volume_id);
    WriteUdfDeveloper(writer, 352);
    Finish(sector, kDescriptorBytes, UdfTag::ImplementationUse, location);
    return sector;
}

// ECMA-167 3/10.5
UdfSector Partition(const VolumeRun& run, uint32_t location) {
    constexpr uint8_t kContentsProtected = 2;
    UdfSector sector = {};
    FieldWriter writer(sector);
    writer.Little32(16, 2); // sequence number
    writer.Little16(20, 1); // flags: space is allocated
    writer.Little16(22, 0); // partition number
    writer.U8(24, kContentsProtected);
    writer.Text(25, "+NSR02");
    writer.Little32(184, 1); // access type: read only
    writer.Little32(188, run.udf.partition_start);
    writer.Little32(192, run.udf.PartitionSectors());
    WriteUdfDeveloper(writer, 196);
    Finish(sector, kDescriptorBytes, UdfTag::Partition, location);
    return sector;
}

// ECMA-167 3/10.6
UdfSector LogicalVolume(const VolumeRun& run, uint32_t location) {
    constexpr uint8_t kPartitionMapBytes = 6;
    UdfSector sector = {};
    FieldWriter writer(sector);
    writer.Little32(16, 3); // sequence number
    WriteUdfCharset(writer, 20);
    WriteUdfText(writer, 84, kLogicalVolumeIdBytes, run.options.joliet_volume_id);
    writer.Little32(212, kSectorBytes);
    WriteUdfDomain(writer, 216);
    writer.Little32(248, kFileSetExtentBytes); // of block 0 of partition 0
    writer.Little32(264, kPartitionMapBytes);
    writer.Little32(268, 1); // number of maps
    WriteUdfDeveloper(writer, 272);
    writer.Little32(432, kIntegrityExtentBytes);
    writer.Little32(436, run.udf.integrity_sequence);
    writer.U8(440, 1); // the map: type 1
    writer.U8(441, kPartitionMapBytes);
    writer.Little16(442, 1); // volume sequence number
    writer.Little16(444, 0); // partition number
    Finish(sector, kLogicalVolumeBytes, UdfTag::LogicalVolume, location);
    return sector;
}

// ECMA-167 3/10.8
UdfSector UnallocatedSpace(uint32_t location) {
    UdfSector sector = {};
    FieldWriter(sector).Little32(16, 4); // sequence number
    Finish(sector, kUnallocatedSpaceBytes, UdfTag::UnallocatedSpace, location);
    return sector;
}

} // namespace

std::vector<UdfSector> UdfRecognitionArea() {
    std::vector<UdfSector> sectors;
    for (const std::string_view identifier : {"BEA01", "NSR02", "TEA01"}) {
        FieldWriter writer(sectors.emplace_back());
        writer.Text(1, identifier);
        writer.U8(6, 1); // version
    }
    return sectors;
}

std::vector<UdfSector> UdfVolumeSequence(const VolumeRun& run, uint32_t start) {
    std::vector<UdfSector> sectors = {
        PrimaryVolume(run, start),   ImplementationUse(run, start + 1),
        Partition(run, start + 2),   LogicalVolume(run, start + 3),
        UnallocatedSpace(start + 4), UdfTerminatingDescriptor(start + 5)};
    sectors.resize(kUdfSequenceSectors);
    return sectors;
}

// ECMA-167 3/10.10, UDF 2.2.6.4
UdfSector UdfIntegrityDescriptor(const VolumeRun& run) {
    constexpr uint32_t kImplementationUseBytes = 46;
    UdfSector sector = {};
    FieldWriter writer(sector);
    WriteUdfTimestamp(writer, 16, MakeRecordDate(run.moment));
    writer.Little32(28, 1); // type: close
    writer.Little64(40, run.udf.last_entry);
    writer.Little32(72, 1); // number of partitions
    writer.Little32(76, kImplementationUseBytes);
    writer.Little32(80, 0); // free space
    writer.Little32(84, run.udf.PartitionSectors());
    WriteUdfDeveloper(writer, 88);
    writer.Little32(120, run.udf.files);
    writer.Little32(124, run.udf.directories);
    writer.Little16(128, kUdfRevision); // needed to read,
    writer.Little16(130, kUdfRevision); // needed to write,
    writer.Little16(132, kUdfRevision); // and the highest that has written
    Finish(sector, kIntegrityBytes, UdfTag::Integrity, run.udf.integrity_sequence);
    return sector;
}

UdfSector UdfTerminatingDescriptor(uint32_t location) {
    UdfSector sector = {};
    Finish(sector, kDescriptorBytes, UdfTag::Terminating, location);
    return sector;
}

// ECMA-167 3/10.2
UdfSector UdfAnchor(const VolumeRun& run, uint32_t sector) {
    constexpr uint32_t kSequenceBytes = kUdfSequenceSectors * kSectorBytes;
    UdfSector bytes = {};
    FieldWriter writer(bytes);
    writer.Little32(16, kSequenceBytes);
    writer.Little32(20, run.udf.main_sequence);
    writer.Little32(24, kSequenceBytes);
    writer.Little32(28, run.udf.reserve_sequence);
    Finish(bytes, kDescriptorBytes, UdfTag::AnchorPointer, sector);
    return bytes;
}

// ECMA-167 4/14.1
UdfSector UdfFileSetDescriptor(const VolumeRun& run) {
    UdfSector sector = {};
    FieldWriter writer(sector);
    WriteUdfTimestamp(writer, 16, MakeRecordDate(run.moment));
    writer.Little16(28, 3); // interchange level
    writer.Little16(30, 3); // its maximum
    writer.Little32(32, kFirstCharacterSet);
    writer.Little32(36, kFirstCharacterSet);
    WriteUdfCharset(writer, 48); // of the logical volume's identifier
    WriteUdfText(writer, 112, kLogicalVolumeIdBytes, run.options.joliet_volume_id);
    WriteUdfCharset(writer, 240); // of the file set
    WriteUdfText(writer, 304, kVolumeIdBytes, run.options.joliet_volume_id);
    writer.Little32(400, kSectorBytes); // the root's file entry
    writer.Little32(404, run.udf.BlockOf(run.udf.root_entry));
    WriteUdfDomain(writer, 416);
    Finish(sector, kDescriptorBytes, UdfTag::FileSet, 0);
    return sector;
}

} // namespace larkspin
