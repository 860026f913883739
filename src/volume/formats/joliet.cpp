// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/formats/joliet.h"

#include "platform/text.h"
#include "volume/formats/iso9660.h"
#include "volume/formats/path_tables.h"
#include "volume/model/error.h"
#include "volume/model/names.h"
#include "volume/model/run.h"
#include "volume/model/sector_stream.h"
#include "volume/model/sector_writers.h"

#include <algorithm>
#include <array>
#include <deque>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace larkspin {

namespace {

constexpr uint32_t kRecordHead = 34; // record head and a name of one byte, or the pad of a long one
constexpr uint8_t kTypeSupplementary = 2;
constexpr char16_t kStrayBytes = 0xDC00; // a byte that is not UTF-8 is stored as this plus the byte
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

// Bytes of a name in a Joliet record.
uint32_t NameBytes(std::u16string_view shown) {
    return 2 * static_cast<uint32_t>(shown.size());
}

// Makes the Joliet names in one directory unique.
class JolietNames {
  public:
    explicit JolietNames(VolumeRun& run) : m_run(run) {}

    void Add(IsoEntry& entry) {
        const auto [place, isNew] = m_names.emplace(Key(JolietName(entry, m_run.options)), &entry);
        if (isNew) {
            return;
        }
        IsoEntry& holder = *place->second;
        const bool takesName = entry.priority > holder.priority;
        m_losers.push_back(takesName ? &holder : &entry);
        if (takesName) {
            place->second = &entry;
        }
    }
    // Renames entries whose name is taken, once all have been added.
    void RenameLosers() {
        for (IsoEntry* entry : m_losers) {
            Rename(*entry);
        }
    }

  private:
    // The name as a reader shows it.
    std::u16string_view Key(std::u16string_view name) {
        for (size_t i = 0; i < name.size(); ++i) {
            if (JolietUnit(name, i) != name[i]) {
                std::u16string& shown = m_shown.emplace_back(name);
                for (; i < name.size(); ++i) {
                    shown[i] = JolietUnit(name, i);
                }
                return shown;
            }
        }
        return name;
    }

    void Rename(IsoEntry& entry) {
        constexpr size_t kLongestExtension = 16;
        constexpr size_t kDigits = 3;
        const std::u16string_view name = entry.name;
        const size_t dot = name.rfind(u'.');
        const bool hasExtension =
            dot != std::u16string_view::npos && dot != 0 && name.size() - dot <= kLongestExtension;
        const std::u16string_view extension = hasExtension ? name.substr(dot) : u"";
        const size_t room = m_run.options.joliet_name_limit - kDigits - extension.size();
        const std::u16string_view root =
            name.substr(0, std::min(name.size() - extension.size(), room));
        // Names are only ever added, so each search continues where the last one for its name
        // ended.
        uint32_t& number = m_next[std::u16string(root) + u'\0' + std::u16string(extension)];
        for (; number < ClashName::kCandidates; ++number) {
            std::u16string candidate(root);
            candidate += ToWide(ClashDigits(number));
            candidate += extension;
            const std::u16string* kept = m_run.tree.KeepPath(std::move(candidate));
            if (m_names.emplace(Key(*kept), &entry).second) {
                entry.joliet_name = kept;
                if (entry.relocated_to != nullptr) {
                    entry.relocated_to->joliet_name = kept; // for the path tables
                }
                return;
            }
        }
        Fail("Internal error #907. Cannot sort Joliet file tree.");
    }

    VolumeRun& m_run;
    std::unordered_map<std::u16string_view, IsoEntry*> m_names;
    std::unordered_map<std::u16string, uint32_t> m_next;
    std::deque<std::u16string> m_shown; // keys that are no entry's name
    std::vector<IsoEntry*> m_losers;
};

// What comes first regardless of its letters.
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
    const std::u16string_view nameOfA = JolietName(*a, options);
    const std::u16string_view nameOfB = JolietName(*b, options);
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
        const uint32_t nameBytes = isDots ? 0 : NameBytes(JolietName(*entry, run.options));
        entry->joliet_record_length = static_cast<uint8_t>(kRecordHead + nameBytes);
        if (isRoot && entry->record.IsDot()) {
            run.joliet_tables.CountRecord(1);
        } else if (entry->record.IsDirectory() && !isDots) {
            run.joliet_tables.CountRecord(nameBytes);
        }
    }
}

// Links the Joliet chain and measures the directory.
void SortEntries(const GenOptions& options, IsoDirectory& directory) {
    std::vector<IsoEntry*> entries;
    for (IsoEntry* entry = directory.entries; entry != nullptr; entry = entry->next) {
        if (!entry->Has(kEntryNotInJoliet)) {
            entries.push_back(entry);
        }
    }
    std::sort(entries.begin(), entries.end(),
              [&](const IsoEntry* a, const IsoEntry* b) { return JolietLess(a, b, options); });
    directory.joliet_size = 0;
    for (size_t i = 0; i < entries.size(); ++i) {
        entries[i]->joliet_next = i + 1 < entries.size() ? entries[i + 1] : nullptr;
        const uint32_t length = entries[i]->joliet_record_length;
        ForEachRecord(*entries[i], [&](IsoEntry&) {
            directory.joliet_size = PlaceInSector(directory.joliet_size, length) + length;
        });
    }
    directory.joliet_entries = entries.empty() ? nullptr : entries.front();
}

void SortBelow(VolumeRun& run, IsoDirectory& directory) {
    if (IsShown(directory) || &directory == run.tree.RelocationDirectory()) {
        MeasureEntries(run, directory);
    }
    if (IsShown(directory)) {
        SortEntries(run.options, directory);
    }
    for (IsoDirectory* child = directory.first_child; child != nullptr; child = child->next) {
        SortBelow(run, *child);
    }
}

// The directory that a directory record of the Joliet tree points to.
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
        const std::u16string_view name = JolietName(shown, options);
        record.name = ToJoliet(name, NameBytes(name));
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

// Visits the shown directories from parent to child in Joliet's order, so that a reader that can't
// seek back finds each directory after its parent.
template <typename Visit>
void ForEachShown(VolumeRun& run, IsoDirectory& top, const Visit& visit) {
    if (&top == run.tree.RelocationDirectory()) {
        return; // its directories are visited at their real places
    }
    if (IsShown(top)) {
        visit(top);
    }
    for (IsoDirectory* child = top.first_child; child != nullptr; child = child->next) {
        ForEachShown(run, *child, visit);
    }
    if (run.tree.RelocationDirectory() == nullptr) {
        return;
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

std::u16string_view JolietName(const IsoEntry& entry, const GenOptions& options) {
    const std::u16string_view name = entry.joliet_name != nullptr ? *entry.joliet_name : entry.name;
    return name.substr(0, options.joliet_name_limit);
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

void MakeJolietNamesUnique(VolumeRun& run) {
    std::vector<IsoEntry*> entries;
    ForEachDirectory(run.tree.Root(), [&](IsoDirectory& directory) {
        if (!IsShown(directory)) {
            return;
        }
        entries.clear();
        for (IsoEntry* entry = directory.entries; entry != nullptr; entry = entry->next) {
            if (!entry->Has(kEntryNotInJoliet) && !entry->record.IsDots()) {
                entries.push_back(entry);
            }
        }
        JolietNames names(run);
        for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
            names.Add(**entry); // the latest is first
        }
        names.RenameLosers();
    });
}

void SortJolietTree(VolumeRun& run) {
    SortBelow(run, run.tree.Root());
    run.joliet_tables.FixSectors();
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
        const std::u16string_view name = JolietName(*directory.self, run.options);
        return ToJoliet(name, NameBytes(name));
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
