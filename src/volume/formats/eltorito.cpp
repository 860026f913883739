// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/formats/eltorito.h"

#include "platform/paths.h"
#include "platform/text.h"
#include "volume/formats/boot_image.h"
#include "volume/formats/iso9660.h"
#include "volume/formats/rockridge.h"
#include "volume/model/error.h"
#include "volume/model/names.h"
#include "volume/model/run.h"
#include "volume/model/sector_stream.h"
#include "volume/model/sector_writers.h"

#include <algorithm>
#include <memory>
#include <string_view>

namespace larkspin {

namespace {

constexpr uint32_t kCatalogMode = 0x8124; // a file that all may read
constexpr size_t kCatalogEntryBytes = 32;
constexpr size_t kPublisherBytes = 23; // of 24, so that a zero byte ends it

[[noreturn]] void Fail(const char* text) {
    throw CCDWriterISOGenException(ToWide(text));
}

// The components of a path in the volume's tree.
std::vector<std::u16string> ComponentsOf(std::u16string_view path) {
    const char16_t separator = SeparatorOf(path);
    std::vector<std::u16string> components;
    while (!path.empty()) {
        const size_t end = std::min(path.find(separator), path.size());
        if (end > 0) {
            components.emplace_back(path.substr(0, end));
        }
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return components;
}

IsoEntry* FindEntry(const IsoDirectory& directory, std::u16string_view name) {
    for (IsoEntry* entry = directory.entries; entry != nullptr; entry = entry->next) {
        if (entry->name == name) {
            return entry;
        }
    }
    return nullptr;
}

// The file at `path` in the volume's tree; null if there is none.
IsoEntry* FindFile(VolumeRun& run, std::u16string_view path) {
    const std::vector<std::u16string> components = ComponentsOf(path);
    if (components.empty()) {
        return nullptr;
    }
    IsoDirectory* directory = &run.tree.Root();
    for (size_t i = 0; i + 1 < components.size(); ++i) {
        directory = run.tree.FindDirectory(*directory, components[i]);
        if (directory == nullptr) {
            return nullptr;
        }
    }
    IsoEntry* entry = FindEntry(*directory, components.back());
    const bool isFile =
        entry != nullptr && !entry->Has(kEntryPlaceholder) && !entry->record.IsDirectory();
    return isFile ? entry : nullptr;
}

// Where the catalog goes.
IsoDirectory& CatalogDirectory(VolumeRun& run, const std::vector<std::u16string>& components) {
    IsoDirectory* directory = &run.tree.Root();
    for (size_t i = 0; i + 1 < components.size(); ++i) {
        if (FindEntry(*directory, components[i]) == nullptr) {
            Fail("Internal error #954.");
        }
        directory = run.tree.FindDirectory(*directory, components[i]);
        if (directory == nullptr) {
            Fail("Internal error #955.");
        }
    }
    return *directory;
}

// El Torito 2.1: the sixteen words of the entry add up to 0.
void WriteValidationEntry(FieldWriter& writer, const std::optional<std::string>& publisher) {
    constexpr uint8_t kHeader = 1;
    constexpr size_t kAtPublisher = 4;
    constexpr size_t kAtChecksum = 28;
    writer.U8(0, kHeader);
    writer.U8(1, 0); // platform 80x86
    writer.Text(kAtPublisher, publisher.value_or("").substr(0, kPublisherBytes));
    writer.Bytes(30, std::array<uint8_t, 2>{0x55, 0xAA});
    const std::span<const uint8_t> entry = writer.Field(0, kCatalogEntryBytes);
    uint32_t sum = 0;
    for (size_t i = 0; i < entry.size(); i += 2) {
        sum += entry[i] | uint32_t{entry[i + 1]} << 8;
    }
    writer.Little16(kAtChecksum, static_cast<uint16_t>(0 - sum));
}

// El Torito 2.2
void WriteBootEntry(FieldWriter& writer, size_t at, const BootEntry& boot, const BootImage& image) {
    constexpr uint8_t kBootable = 0x88;
    writer.U8(at, boot.not_bootable ? 0 : kBootable);
    writer.U8(at + 1, image.media);
    writer.Little16(at + 2, boot.load_segment);
    writer.U8(at + 4, image.partition_type);
    writer.Little16(at + 6, image.load_sectors);
    writer.Little32(at + 8, image.start);
}

// Fills in the catalog and patches the images, but only after all images have been checked.
void FillCatalog(VolumeRun& run, std::span<uint8_t> catalog) {
    FieldWriter writer(catalog);
    WriteValidationEntry(writer, run.options.publisher_id);
    std::vector<BootPatches::Patch> patches;
    size_t at = kCatalogEntryBytes;
    for (const BootEntry& boot : run.options.boot_entries) {
        if (at >= catalog.size()) {
            Fail("Too many boot entries.");
        }
        const IsoEntry* entry = FindFile(run, boot.path);
        if (entry == nullptr) {
            Fail("Internal error #952.");
        }
        WriteBootEntry(writer, at, boot, ReadBootImage(run.files, boot, *entry));
        if (boot.patch_boot_info) {
            patches.push_back(
                MakeBootTable(run.files, *entry, run.session_base + kSystemAreaSectors));
        }
        at += kCatalogEntryBytes;
    }
    for (const BootPatches::Patch& patch : patches) {
        if (!run.boot_patches.Apply(patch)) {
            Fail("Error opening boot image.");
        }
    }
}

void WriteBootRecord(VolumeRun& run, SectorStream& stream) {
    constexpr size_t kAtSystem = 7;
    constexpr size_t kAtCatalog = 71;
    if (run.options.boot_entries.empty()) {
        Fail("No boot image specified.");
    }
    IsoEntry* catalog = FindFile(run, run.options.boot_catalog_path);
    if (catalog == nullptr || !catalog->Has(kEntryBootCatalog)) {
        Fail("Bad boot catalog.");
    }
    std::array<uint8_t, kSectorBytes> sector = {};
    FieldWriter writer(sector);
    writer.Text(1, "CD001");
    writer.U8(kVdAtVersion, 1);
    writer.Text(kAtSystem, "EL TORITO SPECIFICATION");
    writer.Little32(kAtCatalog, catalog->start_sector);
    FillCatalog(run, *catalog->memory_contents);
    stream.Write(sector);
}

// Reads up to 16 sectors; whatever the file lacks stays zero.
std::vector<uint8_t> ReadBootArea(const VolumeRun& run) {
    const std::unique_ptr<ISequentialFile> file =
        run.files.OpenSequential(run.options.generic_boot_path);
    if (file == nullptr) {
        Fail("Cannot open boot image.");
    }
    std::vector<uint8_t> area(size_t{kSystemAreaSectors} * kSectorBytes);
    if (!ReadUpTo(*file, area)) {
        Fail("Read error on boot image.");
    }
    return area;
}

} // namespace

void AddBootCatalog(VolumeRun& run) {
    const std::vector<std::u16string> components = ComponentsOf(run.options.boot_catalog_path);
    if (components.empty()) {
        Fail("Bad boot catalog.");
    }
    IsoDirectory& directory = CatalogDirectory(run, components);
    const std::string native = ToNative(components.back());
    IsoEntry& entry = run.tree.NewEntry();
    entry.name = components.back();
    entry.priority = kPriorityFixed;
    entry.inode = kMemoryInode;
    entry.flags = kEntryBootCatalog;
    entry.size = kSectorBytes;
    entry.memory_contents = std::make_unique<std::vector<uint8_t>>(kSectorBytes);
    entry.record.size = kSectorBytes;
    entry.record.date = run.dates.Get(run.default_status.modifyTime);
    entry.record.volume_sequence = run.options.volume_sequence;
    entry.record.name = MakeIsoName(native, false, run.options);
    directory.AddEntry(entry);
    FileStatus status = run.default_status;
    status.mode = kCatalogMode;
    status.links = 1;
    MakeRockRidge(run, native, entry, 0, status);
}

OutputFragment BootRecordFragment(VolumeRun& run) {
    OutputFragment fragment{.name = "Eltorito Volume Descriptor"};
    fragment.size = [&run] { ++run.plan_sector; };
    fragment.write = [&run](SectorStream& stream) { WriteBootRecord(run, stream); };
    return fragment;
}

OutputFragment GenericBootFragment(VolumeRun& run) {
    OutputFragment fragment{.name = "Generic Boot"};
    fragment.size = [&run] {
        if (run.plan_sector > run.session_base + 1) {
            Fail("Internal error #951.");
        }
        run.plan_sector = run.session_base + kSystemAreaSectors;
    };
    fragment.write = [&run](SectorStream& stream) {
        const std::vector<uint8_t> area = ReadBootArea(run);
        const uint32_t sent = stream.WrittenSector() - run.session_base;
        stream.Write(std::span(area).subspan(size_t{sent} * kSectorBytes));
    };
    return fragment;
}

} // namespace larkspin
