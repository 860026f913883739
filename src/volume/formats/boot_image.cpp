// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/formats/boot_image.h"

#include "platform/text.h"
#include "volume/model/error.h"
#include "volume/model/sector_writers.h"
#include "volume/model/tree.h"

#include <algorithm>
#include <array>
#include <memory>
#include <optional>

namespace larkspin {

namespace {

constexpr uint32_t kVirtualSectors = 4; // of 512 bytes in a sector
constexpr uint8_t kNoEmulation = 0;
constexpr uint8_t kFloppy12 = 1;
constexpr uint8_t kFloppy144 = 2;
constexpr uint8_t kFloppy288 = 3;
constexpr uint8_t kHardDisk = 4;
constexpr size_t kChecksumFrom = kBootTableOffset + kBootTableBytes;

[[noreturn]] void Fail(const char* text) {
    throw CCDWriterISOGenException(ToWide(text));
}

[[noreturn]] void FailBad() {
    Fail("Bad boot image.");
}

std::unique_ptr<ISequentialFile> Open(IFileSystem& files, const IsoEntry& entry) {
    std::unique_ptr<ISequentialFile> file = files.OpenSequential(entry.SourcePath());
    if (file == nullptr) {
        Fail("Error opening boot image.");
    }
    return file;
}

// The type of the only partition in the master boot record of a hard disk image.
uint8_t PartitionType(IFileSystem& files, const IsoEntry& entry) {
    constexpr size_t kRecordBytes = 512;
    constexpr size_t kTableAt = 446;
    constexpr size_t kPartitions = 4;
    constexpr size_t kPartitionBytes = 16;
    constexpr size_t kTypeAt = 4;
    std::array<uint8_t, kRecordBytes> record = {};
    if (ReadUpTo(*Open(files, entry), record) != record.size()) {
        Fail("Error reading boot image.");
    }
    uint8_t type = 0;
    for (size_t i = 0; i < kPartitions; ++i) {
        const uint8_t found = record[kTableAt + i * kPartitionBytes + kTypeAt];
        if (found != 0 && type != 0) {
            FailBad();
        }
        type = std::max(type, found);
    }
    if (type == 0) {
        FailBad();
    }
    return type;
}

uint8_t FloppyMedia(uint32_t virtualSectors) {
    switch (virtualSectors) {
    case 2400:
        return kFloppy12;
    case 2880:
        return kFloppy144;
    case 5760:
        return kFloppy288;
    default:
        FailBad();
    }
}

} // namespace

BootImage ReadBootImage(IFileSystem& files, const BootEntry& boot, const IsoEntry& entry) {
    const uint32_t virtualSectors = SectorsOf(entry.size) * kVirtualSectors;
    BootImage image = {.start = entry.start_sector};
    uint32_t load = 1; // an emulated medium boots from its first sector
    if (boot.hard_disk_emulation) {
        image.media = kHardDisk;
        image.partition_type = PartitionType(files, entry);
    } else if (boot.no_emulation) {
        image.media = kNoEmulation;
        load = boot.load_size != 0 ? boot.load_size : virtualSectors;
    } else {
        image.media = FloppyMedia(virtualSectors);
    }
    if (entry.size == 0 || load > UINT16_MAX) {
        FailBad();
    }
    image.load_sectors = static_cast<uint16_t>(load);
    return image;
}

BootPatches::Patch MakeBootTable(IFileSystem& files, const IsoEntry& entry,
                                 uint32_t primaryDescriptor) {
    // The table would make the file longer, or its size does not fit into the table.
    if (entry.size < kChecksumFrom || entry.size > UINT32_MAX) {
        FailBad();
    }
    BootPatches::Patch patch;
    patch.path = entry.SourcePath();
    const std::unique_ptr<ISequentialFile> file = Open(files, entry);
    uint32_t checksum = 0;
    uint64_t total = 0;
    for (;;) {
        std::array<uint8_t, kSectorBytes> piece = {};
        const std::optional<size_t> got = ReadUpTo(*file, piece);
        if (!got) {
            Fail("Error reading boot image.");
        }
        if (total == 0) {
            std::copy_n(piece.begin() + kBootTableOffset, kBootTableBytes, patch.old.begin());
            std::fill_n(piece.begin(), kChecksumFrom, uint8_t{0});
        }
        for (size_t at = 0; at < piece.size(); at += 4) {
            checksum += ReadLittle32(piece, at);
        }
        total += *got;
        if (*got < piece.size()) {
            break;
        }
    }
    if (total != entry.size) {
        FailBad();
    }
    FieldWriter writer(patch.table);
    writer.Little32(0, primaryDescriptor);
    writer.Little32(4, entry.record.extent);
    writer.Little32(8, static_cast<uint32_t>(entry.size));
    writer.Little32(12, checksum);
    return patch;
}

} // namespace larkspin
