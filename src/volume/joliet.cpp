#include "volume/joliet.h"

#include "platform/text.h"
#include "volume/iso9660.h"
#include "volume/run.h"
#include "volume/sector_stream.h"
#include "volume/sector_writers.h"

#include <algorithm>
#include <array>
#include <optional>
#include <unordered_set>
#include <utility>
#include <vector>

namespace larkspin {

namespace {

constexpr uint32_t kRecordHead = 34; // record head and a name of one byte, or the pad of a long one
constexpr uint8_t kTypeSupplementary = 2;
constexpr char16_t kStrayBytes = 0xDC00; // a byte that is no UTF-8 is held as this plus the byte
constexpr char16_t kReplacement = u'_';

// What stands for each unit of ASCII.
constexpr std::array<char16_t, 0x80> kShownAscii = [] {
    constexpr std::u16string_view kForbidden = u"*/:;?\\";
    std::array<char16_t, 0x80> shown = {};
    for (size_t i = 0; i < shown.size(); ++i) {
        const auto unit = static_cast<char16_t>(i);
        const bool isControl = unit < 0x20 || unit == 0x7F;
        const bool isForbidden = kForbidden.find(unit) != std::u16string_view::npos;
        shown[i] = isControl || isForbidden ? kReplacement : unit;
    }
    return shown;
}();

bool IsHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool IsLowSurrogate(char16_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

[[noreturn]] void Fail(const char* text) {
    throw CCDWriterISOGenException(ToWide(text));
}

// True if Joliet has a directory of its own for `directory`.
bool IsShown(const IsoDirectory& directory) {
    return !directory.Has(kDirectoryNotInJoliet);
}

// A name cut to what Joliet can show.
std::u16string_view Shown(const IsoEntry& entry, uint32_t limit) {
    return std::u16string_view(entry.name).substr(0, limit);
}

// What stands first whatever its letters.
uint32_t Rank(const IsoEntry& entry, bool dvdVideo) {
    if (entry.record.IsDot()) {
        return 0;
    }
    if (entry.record.IsDotDot()) {
        return 1;
    }
    return dvdVideo && entry.name == u"VIDEO_TS.IFO" ? 2 : 3;
}

bool JolietLess(const IsoEntry* a, const IsoEntry* b, const GenOptions& options) {
    const uint32_t rankOfA = Rank(*a, options.dvd_video);
    const uint32_t rankOfB = Rank(*b, options.dvd_video);
    if (rankOfA != rankOfB) {
        return rankOfA < rankOfB;
    }
    const std::u16string_view nameOfA = Shown(*a, options.joliet_name_limit);
    const std::u16string_view nameOfB = Shown(*b, options.joliet_name_limit);
    const size_t common = std::min(nameOfA.size(), nameOfB.size());
    for (size_t i = 0; i < common; ++i) {
        if (nameOfA[i] == u';' || nameOfB[i] == u';') {
            return nameOfB[i] != u';';
        }
        const char16_t unitOfA = JolietUnit(nameOfA, i);
        const char16_t unitOfB = JolietUnit(nameOfB, i);
        if (unitOfA != unitOfB) {
            return unitOfA < unitOfB;
        }
    }
    return nameOfA.size() < nameOfB.size();
}

// Length of each record, and the path table's share of the directory's entries.
void MeasureEntries(VolumeRun& run, IsoDirectory& directory) {
    const bool isRoot = &directory == &run.tree.Root();
    for (IsoEntry* entry = directory.entries; entry != nullptr; entry = entry->next) {
        if (entry->Has(kEntryNotInJoliet)) {
            continue;
        }
        const bool isDots = entry->record.IsDots();
        const uint32_t nameBytes = isDots ? 0 : JolietNameLength(entry->name, run.options);
        entry->joliet_record_length = static_cast<uint8_t>(kRecordHead + nameBytes);
        if (isRoot && entry->record.IsDot()) {
            run.joliet_tables.CountRecord(1);
        } else if (entry->record.IsDirectory() && !isDots) {
            run.joliet_tables.CountRecord(nameBytes);
        }
    }
}

// Links the Joliet chain and measures the directory. Gives the number of clashes.
uint32_t SortEntries(const GenOptions& options, IsoDirectory& directory) {
    std::vector<IsoEntry*> entries;
    for (IsoEntry* entry = directory.entries; entry != nullptr; entry = entry->next) {
        if (!entry->Has(kEntryNotInJoliet)) {
            entries.push_back(entry);
        }
    }
    std::sort(entries.begin(), entries.end(),
              [&](const IsoEntry* a, const IsoEntry* b) { return JolietLess(a, b, options); });
    std::unordered_set<std::u16string_view> names;
    uint32_t clashes = 0;
    directory.joliet_size = 0;
    for (size_t i = 0; i < entries.size(); ++i) {
        entries[i]->joliet_next = i + 1 < entries.size() ? entries[i + 1] : nullptr;
        if (!names.insert(Shown(*entries[i], options.joliet_name_limit)).second) {
            ++clashes;
        }
        const uint32_t length = entries[i]->joliet_record_length;
        ForEachRecord(*entries[i], [&](IsoEntry&) {
            directory.joliet_size = PlaceInSector(directory.joliet_size, length) + length;
        });
    }
    directory.joliet_entries = entries.empty() ? nullptr : entries.front();
    return clashes;
}

uint32_t SortBelow(VolumeRun& run, IsoDirectory& directory) {
    uint32_t clashes = 0;
    if (IsShown(directory) || &directory == run.tree.RelocationDirectory()) {
        MeasureEntries(run, directory);
    }
    if (IsShown(directory)) {
        clashes = SortEntries(run.options, directory);
    }
    for (IsoDirectory* child = directory.first_child; child != nullptr && clashes == 0;
         child = child->next) {
        clashes = SortBelow(run, *child);
    }
    return clashes;
}

// The directory that a directory record of the Joliet tree leads to.
const IsoDirectory& TargetOf(const IsoDirectory& holder, const IsoEntry& entry) {
    if (entry.record.IsDot()) {
        return holder;
    }
    if (entry.record.IsDotDot()) {
        return *holder.TrueParent();
    }
    if (entry.own_directory == nullptr) {
        Fail("Internal error #924.");
    }
    return *entry.own_directory;
}

// `section`: `shown` itself, or another record under its name.
DirectoryRecord JolietRecord(const GenOptions& options, const IsoDirectory& holder,
                             const IsoEntry& shown, const IsoEntry& section) {
    const IsoEntry* entry = &section;
    if (shown.Has(kEntryPlaceholder)) {
        entry = shown.relocated_to;
        if (entry == nullptr) {
            Fail("Internal error #923.");
        }
    }
    DirectoryRecord record = entry->record;
    record.length = shown.joliet_record_length;
    if (record.IsDirectory()) {
        const IsoDirectory& target = TargetOf(holder, *entry);
        record.extent = target.joliet_extent;
        record.size = RoundToSectors(target.joliet_size);
    }
    if (!record.IsDots()) {
        record.name = ToJoliet(shown.name, JolietNameLength(shown.name, options));
    }
    return record;
}

void WriteDirectory(const GenOptions& options, const IsoDirectory& directory, SectorStream& stream,
                    std::vector<uint8_t>& sectors) {
    sectors.assign(RoundToSectors(directory.joliet_size), 0);
    uint32_t offset = 0;
    for (IsoEntry* entry = directory.joliet_entries; entry != nullptr; entry = entry->joliet_next) {
        ForEachRecord(*entry, [&](const IsoEntry& section) {
            const DirectoryRecord record = JolietRecord(options, directory, *entry, section);
            offset = PlaceInSector(offset, record.length);
            record.Write(std::span(sectors).subspan(offset, record.length));
            offset += record.length;
        });
    }
    stream.Write(sectors);
}

void WriteText(FieldWriter& writer, size_t offset, size_t width,
               const std::optional<std::u16string>& text) {
    if (text) {
        writer.Text(offset, ToJoliet(*text, width));
    }
}

std::optional<std::u16string> Widen(const std::optional<std::string>& text) {
    return text ? std::optional(ToWide(*text)) : std::nullopt;
}

char UcsLevelLetter(uint32_t level) {
    switch (level) {
    case 1:
        return '@';
    case 2:
        return 'C';
    default:
        return 'E';
    }
}

std::array<uint8_t, kSectorBytes> SupplementaryDescriptor(const VolumeRun& run) {
    const GenOptions& options = run.options;
    std::array<uint8_t, kSectorBytes> sector = run.primary_descriptor;
    FieldWriter writer(sector);
    writer.U8(kVdAtType, kTypeSupplementary);
    WriteText(writer, kVdAtSystemId, kVdSystemIdBytes, options.joliet_system_id);
    WriteText(writer, kVdAtVolumeId, kVdVolumeIdBytes, options.joliet_volume_id);
    writer.Text(kVdAtEscapes, Format("%%/%c", UcsLevelLetter(options.ucs_level)));
    WriteTreePlace(writer, run.joliet_tables, run.joliet_root_record);
    WriteText(writer, kVdAtVolumeSetId, kVdTextBytes, options.joliet_volume_set_id);
    WriteText(writer, kVdAtPublisherId, kVdTextBytes, options.joliet_publisher_id);
    WriteText(writer, kVdAtPreparerId, kVdTextBytes, options.joliet_preparer_id);
    WriteText(writer, kVdAtApplicationId, kVdTextBytes, options.joliet_application_id);
    WriteText(writer, kVdAtCopyrightFile, kVdFileNameBytes, Widen(options.copyright_file));
    WriteText(writer, kVdAtAbstractFile, kVdFileNameBytes, Widen(options.abstract_file));
    WriteText(writer, kVdAtBibliographicFile, kVdFileNameBytes, Widen(options.bibliographic_file));
    return sector;
}

IsoDirectory* TrueParent(const IsoDirectory& directory) {
    return directory.TrueParent();
}

// Visits the shown directories from parent to child as Joliet has them, so that a reader that can't
// go back finds each directory behind its parent.
template <typename Visit>
void ForEachShown(VolumeRun& run, IsoDirectory& top, const Visit& visit) {
    if (&top == run.tree.RelocationDirectory()) {
        return; // its directories are met at their true places
    }
    if (IsShown(top)) {
        visit(top);
    }
    for (IsoDirectory* child = top.first_child; child != nullptr; child = child->next) {
        ForEachShown(run, *child, visit);
    }
    for (const IsoEntry* entry = top.joliet_entries; entry != nullptr; entry = entry->joliet_next) {
        if (entry->Has(kEntryPlaceholder) && entry->relocated_to != nullptr) {
            ForEachShown(run, *entry->relocated_to->own_directory, visit);
        }
    }
}

} // namespace

char16_t JolietUnit(std::u16string_view text, size_t index) {
    const char16_t unit = text[index];
    if (unit < kShownAscii.size()) {
        return kShownAscii[unit];
    }
    if (IsHighSurrogate(unit)) {
        const bool isPair = index + 1 < text.size() && IsLowSurrogate(text[index + 1]);
        return isPair ? unit : kReplacement;
    }
    if (IsLowSurrogate(unit)) {
        if (index > 0 && IsHighSurrogate(text[index - 1])) {
            return unit;
        }
        const bool isStrayByte = unit >= kStrayBytes + 0x80 && unit <= kStrayBytes + 0xFF;
        return isStrayByte ? static_cast<char16_t>(unit - kStrayBytes) : kReplacement;
    }
    return unit;
}

uint32_t JolietNameLength(std::u16string_view name, const GenOptions& options) {
    return 2 * static_cast<uint32_t>(std::min<size_t>(name.size(), options.joliet_name_limit));
}

std::string ToJoliet(std::u16string_view text, size_t byteCount) {
    std::string bytes(byteCount, '\0');
    text = text.substr(0, std::min(text.find(u'\0'), byteCount / 2));
    for (size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = JolietUnit(text, i);
        bytes[2 * i] = static_cast<char>(unit >> 8);
        bytes[2 * i + 1] = static_cast<char>(unit & 0xFF);
    }
    return bytes;
}

uint32_t SortJolietTree(VolumeRun& run) {
    const uint32_t clashes = SortBelow(run, run.tree.Root());
    run.joliet_tables.FixSectors();
    return clashes;
}

OutputFragment JolietDescriptorFragment(VolumeRun& run) {
    OutputFragment fragment{.name = "Joliet Volume Descriptor"};
    fragment.size = [&run] { ++run.plan_sector; };
    fragment.generate = [&run] {
        run.joliet_root_record = run.root_record;
        run.joliet_root_record.extent = run.tree.Root().joliet_extent;
        run.joliet_root_record.size = RoundToSectors(run.tree.Root().joliet_size);
    };
    fragment.write = [&run](SectorStream& stream) { stream.Write(SupplementaryDescriptor(run)); };
    return fragment;
}

OutputFragment JolietPathTableFragment(VolumeRun& run) {
    const auto nameOf = [&run](const IsoDirectory& directory) {
        const std::u16string& name = directory.self->name;
        return ToJoliet(name, JolietNameLength(name, run.options));
    };
    return PathTablesFragment(run, "Joliet path table", &VolumeRun::joliet_tables,
                              {.excluded = kDirectoryNotInJoliet,
                               .extent = &IsoDirectory::joliet_extent,
                               .index = &IsoDirectory::joliet_path_index,
                               .parentOf = TrueParent,
                               .nameOf = nameOf,
                               .emptySlot = "Internal error #925.",
                               .noSelf = "Internal error #926.",
                               .parentTooHigh = "Internal error #927."});
}

OutputFragment JolietDirectoryTreeFragment(VolumeRun& run) {
    OutputFragment fragment{.name = "Joliet directory tree"};
    fragment.size = [&run] {
        ForEachShown(run, run.tree.Root(), [&](IsoDirectory& directory) {
            if (directory.joliet_extent == 0) {
                directory.joliet_extent = run.plan_sector;
            }
            run.plan_sector += SectorsOf(directory.joliet_size);
        });
    };
    fragment.write = [&run](SectorStream& stream) {
        std::vector<uint8_t> sectors;
        ForEachShown(run, run.tree.Root(), [&](const IsoDirectory& directory) {
            WriteDirectory(run.options, directory, stream, sectors);
        });
    };
    return fragment;
}

} // namespace larkspin
