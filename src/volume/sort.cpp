// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/sort.h"

#include "platform/text.h"
#include "volume/formats/rockridge.h"
#include "volume/model/error.h"
#include "volume/model/names.h"
#include "volume/model/run.h"
#include "volume/sources/scan.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace larkspin {

namespace {

[[noreturn]] void Fail(const char* text) {
    throw CCDWriterISOGenException(ToWide(text));
}

// Makes the ISO names in one directory unique.
class NameHash {
  public:
    explicit NameHash(const GenOptions& options) : m_options(options) {}

    void Add(IsoEntry& entry) {
        const auto [place, isNew] = m_names.emplace(Key(entry.record.name), &entry);
        if (isNew) {
            return;
        }
        IsoEntry& holder = *place->second;
        if (&holder == &entry) {
            Fail("Internal error #930.");
        }
        if (entry.priority < holder.priority) {
            Rename(entry);
        } else {
            place->second = &entry;
            Rename(holder);
        }
    }

  private:
    static std::string Key(std::string_view isoName) { return std::string(UniquePart(isoName)); }

    void Rename(IsoEntry& entry) {
        const ClashName clash(entry.record.name, entry.record.IsDirectory(), m_options);
        // Names are only ever added, so a taken name stays taken, and each family's search
        // continues where it ended.
        uint32_t& number = m_next[clash.Family()];
        for (; number < ClashName::kCandidates; ++number) {
            std::string candidate = clash.Candidate(number);
            if (m_names.emplace(Key(candidate), &entry).second) {
                entry.record.name = std::move(candidate);
                ++number;
                return;
            }
        }
        Fail("Internal error #931.");
    }

    const GenOptions& m_options;
    std::unordered_map<std::string, IsoEntry*> m_names;
    std::unordered_map<std::string, uint32_t> m_next;
};

void MakeNamesUnique(const VolumeRun& run, IsoDirectory& directory) {
    NameHash names(run.options);
    for (IsoEntry* entry = directory.entries; entry != nullptr; entry = entry->next) {
        if (!entry->Has(kEntryNotInIso)) {
            names.Add(*entry);
        }
    }
}

// Where an entry comes from, as a text for the user.
std::string OriginOf(const IsoEntry& entry) {
    constexpr size_t kShown = 40; // units at the end; the text of a failure is short
    std::u16string path = entry.SourcePath();
    if (path.empty()) {
        path = entry.name;
    }
    return ToNative(path.size() > kShown ? u"..." + path.substr(path.size() - kShown) : path);
}

// Fails if two entries would have the same Rock Ridge name.
void CheckTwins(std::vector<IsoEntry*> entries) {
    std::stable_sort(entries.begin(), entries.end(),
                     [](const IsoEntry* a, const IsoEntry* b) { return a->name < b->name; });
    const auto twin =
        std::adjacent_find(entries.begin(), entries.end(),
                           [](const IsoEntry* a, const IsoEntry* b) { return a->name == b->name; });
    if (twin != entries.end()) {
        throw CCDWriterISOGenException(FormatWide("Internal error #936. Rename \"%s\" or \"%s\".",
                                                  OriginOf(**twin).c_str(),
                                                  OriginOf(**(twin + 1)).c_str()));
    }
}

// Puts the visible entries in ISO order, followed by those outside the ISO tree.
void SortEntries(VolumeRun& run, IsoDirectory& directory) {
    std::vector<IsoEntry*> visible;
    std::vector<IsoEntry*> hidden;
    for (IsoEntry* entry = directory.entries; entry != nullptr; entry = entry->next) {
        (entry->Has(kEntryNotInIso) ? hidden : visible).push_back(entry);
    }
    const bool mayHoldTwins = &directory == run.tree.RelocationDirectory();
    if (visible.size() < 2) {
        Fail("Internal error #936.");
    }
    if (run.options.rock_ridge && !mayHoldTwins) {
        CheckTwins(visible);
    }
    std::sort(visible.begin(), visible.end(), [](const IsoEntry* a, const IsoEntry* b) {
        return IsoNameLess(a->record.name, b->record.name);
    });
    const auto sameName = [](const IsoEntry* a, const IsoEntry* b) {
        return a->record.name == b->record.name;
    };
    if (std::adjacent_find(visible.begin(), visible.end(), sameName) != visible.end()) {
        Fail("Internal error #936.");
    }
    visible.insert(visible.end(), hidden.begin(), hidden.end());
    for (size_t i = 0; i < visible.size(); ++i) {
        visible[i]->next = i + 1 < visible.size() ? visible[i + 1] : nullptr;
    }
    directory.entries = visible.front();
}

void MeasureRecord(IsoDirectory& directory, IsoEntry& entry) {
    uint32_t length = entry.RecordLength();
    if (length > DirectoryRecord::kLongest) {
        RefitSystemUse(entry); // the name was shorter in the earlier session
        length = entry.RecordLength();
    }
    if (length > DirectoryRecord::kLongest) {
        Fail("Internal error #935.");
    }
    entry.record.length = static_cast<uint8_t>(length);
    directory.iso_size = PlaceInSector(directory.iso_size, length) + length;
    directory.continuation_bytes = PlaceContinuations(entry, directory.continuation_bytes);
}

// Measures records, the directory and its continuation areas, and its share of the path table. The
// results are only valid for the sorted chain.
void MeasureDirectory(VolumeRun& run, IsoDirectory& directory) {
    const bool isRoot = &directory == &run.tree.Root();
    directory.iso_size = 0;
    directory.continuation_bytes = 0;
    for (IsoEntry* entry = directory.entries; entry != nullptr; entry = entry->next) {
        if (entry->source_name != nullptr) {
            run.Tell(NoticeReason::Renamed, entry->SourcePath(), entry->name);
        }
        if (entry->Has(kEntryNotInIso)) {
            continue;
        }
        ForEachRecord(*entry, [&](IsoEntry& record) {
            record.record.name = entry->record.name; // a clash may have renamed it
            MeasureRecord(directory, record);
        });
        if (entry->record.IsDirectory() &&
            (!entry->record.IsDots() || (isRoot && entry->record.IsDot()))) {
            run.iso_tables.CountRecord(static_cast<uint32_t>(entry->record.name.size()));
        }
    }
}

} // namespace

void SortIsoTree(VolumeRun& run) {
    ForEachDirectory(run.tree.Root(), [&](IsoDirectory& directory) {
        if (directory.Has(kDirectoryNotInIso)) {
            return;
        }
        AddDotEntries(run, directory);
        MakeNamesUnique(run, directory);
        SortEntries(run, directory);
        MeasureDirectory(run, directory);
    });
    run.iso_tables.FixSectors();
}

} // namespace larkspin
