// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/formats/dvdvideo.h"

#include "platform/byte_order.h"
#include "platform/paths.h"
#include "platform/text.h"
#include "volume/model/tree.h"

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <tuple>
#include <utility>

namespace larkspin {

namespace {

constexpr std::u16string_view kFolderName = u"VIDEO_TS";
constexpr uint32_t kMostVobs = 9;
constexpr uint32_t kMostTitleSets = 99;
// More than a double-layer disc has: control data that ask for more are wrong.
constexpr int64_t kMostSectors = 0x400000;

// Offsets in an IFO file. "Set" is the video manager or a title set.
constexpr size_t kAtLastSector = 12;    // of the set
constexpr size_t kAtIfoLastSector = 28; // of the IFO
constexpr size_t kAtTitleSets = 62;     // how many; video manager only
constexpr size_t kAtMenuStart = 192;
constexpr size_t kAtTitleTable = 196; // video manager: sector of the title search pointers
constexpr size_t kAtTitleStart = 196; // title set: start of the title VOBs
constexpr size_t kHeadBytes = 200;

// Ends the making of a set.
struct DoesNotFit {};

void Require(bool holds) {
    if (!holds) {
        throw DoesNotFit();
    }
}

const IsoEntry* FindFile(const IsoDirectory& folder, std::u16string_view name) {
    for (const IsoEntry* entry = folder.entries; entry != nullptr; entry = entry->next) {
        if (entry->name == name && !entry->record.IsDirectory()) {
            return entry;
        }
    }
    return nullptr;
}

// The size of a file in sectors; nothing if there is no such file.
std::optional<int64_t> FileSectors(const IsoDirectory& folder, std::u16string_view name) {
    const IsoEntry* entry = FindFile(folder, name);
    if (entry == nullptr) {
        return std::nullopt;
    }
    Require(entry->size % kSectorBytes == 0); // its last sector would shift everything after it
    return entry->size / kSectorBytes;
}

class Ifo {
  public:
    // Fails if there is no such file, or if it does not begin with `magic` and a zero byte.
    Ifo(IFileSystem& files, const IsoDirectory& folder, std::u16string_view name,
        std::string_view magic) {
        const IsoEntry* entry = FindFile(folder, name);
        Require(entry != nullptr);
        m_pFile = files.OpenSequential(entry->SourcePath());
        Require(m_pFile != nullptr);
        m_nSectors = *FileSectors(folder, name);
        Read(0, m_head);
        Require(std::equal(magic.begin(), magic.end(), m_head.begin()) &&
                m_head[magic.size()] == 0);
    }

    int64_t Sectors() const { return m_nSectors; }
    uint32_t U16(size_t offset) const { return LoadBe16(&m_head[offset]); }
    int64_t U32(size_t offset) const { return LoadBe32(&m_head[offset]); }
    void Read(uint64_t offset, std::span<uint8_t> bytes) {
        Require(m_pFile->Seek(offset) && ReadUpTo(*m_pFile, bytes) == bytes.size());
    }

  private:
    std::unique_ptr<ISequentialFile> m_pFile;
    int64_t m_nSectors = 0;
    std::array<uint8_t, kHeadBytes> m_head = {};
};

// The starts of the title sets, in ascending order, from the start of the video manager.
std::vector<int64_t> TitleSetStarts(Ifo& manager) {
    constexpr size_t kTableHead = 8;
    constexpr size_t kTitleBytes = 12;
    constexpr size_t kAtStart = 8; // of the title's set
    const uint64_t table = static_cast<uint64_t>(manager.U32(kAtTitleTable)) * kSectorBytes;
    std::array<uint8_t, 2> count = {};
    manager.Read(table, count);
    std::vector<uint8_t> titles(LoadBe16(count.data()) * kTitleBytes);
    manager.Read(table + kTableHead, titles);
    std::vector<int64_t> starts;
    for (size_t at = 0; at < titles.size(); at += kTitleBytes) {
        starts.push_back(LoadBe32(&titles[at + kAtStart]));
    }
    std::sort(starts.begin(), starts.end());
    starts.erase(std::unique(starts.begin(), starts.end()), starts.end());
    return starts;
}

// Sectors that the control data allot to the parts of a set.
struct Areas {
    int64_t ifo = 0;
    int64_t menu = 0;
    int64_t title = 0;

    int64_t Sum() const { return ifo + menu + title; }
};

DvdFileSet::Row ManagerRow(const IsoDirectory& folder, const Ifo& manager,
                           std::optional<int64_t> firstTitleSet) {
    const int64_t ifo = manager.Sectors();
    const int64_t last = manager.U32(kAtLastSector);
    const int64_t ifoEnd = manager.U32(kAtIfoLastSector) + 1;
    const std::optional<int64_t> menu = FileSectors(folder, u"VIDEO_TS.VOB");
    Require(2 * ifo + menu.value_or(0) <= last + 1);
    Areas areas;
    if (menu) {
        areas.ifo = std::max(manager.U32(kAtMenuStart), ifoEnd);
        areas.menu = last - ifo - areas.ifo + 1;
    } else {
        areas.ifo = 2 * ifo < last + 1 ? last + 1 - ifo : ifoEnd;
    }
    const int64_t backup = firstTitleSet.value_or(last + 1) - areas.Sum();
    return {.ifo_padding = areas.ifo - ifo,
            .menu_padding = areas.menu - menu.value_or(0),
            .backup_padding = backup - ifo};
}

// `length`: sectors up to the start of the next title set; nothing for the last one.
DvdFileSet::Row TitleSetRow(IFileSystem& files, const IsoDirectory& folder, uint32_t number,
                            std::optional<int64_t> length) {
    const Ifo control(files, folder, FormatWide("VTS_%02u_0.IFO", number), "DVDVIDEO-VTS");
    const int64_t ifo = control.Sectors();
    const int64_t last = control.U32(kAtLastSector);
    const int64_t ifoEnd = control.U32(kAtIfoLastSector) + 1;
    const int64_t menuStart = control.U32(kAtMenuStart);
    const int64_t titleStart = control.U32(kAtTitleStart);
    const std::optional<int64_t> menu = FileSectors(folder, FormatWide("VTS_%02u_0.VOB", number));
    DvdFileSet::Row row;
    int64_t title = 0;
    while (row.vob_count < kMostVobs) {
        const std::optional<int64_t> vob =
            FileSectors(folder, FormatWide("VTS_%02u_%u.VOB", number, row.vob_count + 1));
        if (!vob) {
            break;
        }
        title += *vob;
        ++row.vob_count;
    }
    const bool hasTitle = row.vob_count > 0;
    Require(2 * ifo + menu.value_or(0) + title <= last + 1);

    Areas areas;
    // A set with only a menu follows the same rule as one with titles: the menu starts where it
    // says.
    areas.ifo = menu || hasTitle ? std::max(menuStart, ifoEnd) : last - ifo + 1;
    if (menu && menuStart == 0) {
        Require(*menu == 0);
    } else if (menu) {
        const bool reachesBackup = !hasTitle && last > menuStart + *menu - 1 + ifo;
        areas.menu = reachesBackup ? last - menuStart - ifo + 1 : titleStart - menuStart;
    }
    if (hasTitle) {
        areas.title = last - ifo - areas.menu - areas.ifo + 1;
    }
    row.ifo_padding = areas.ifo - ifo;
    row.menu_padding = areas.menu - menu.value_or(0);
    row.title_padding = areas.title - title;
    row.backup_padding = length.value_or(last + 1) - areas.Sum() - ifo;
    return row;
}

void RequireRoom(const DvdFileSet::Row& row) {
    for (const int64_t padding :
         {row.ifo_padding, row.menu_padding, row.title_padding, row.backup_padding}) {
        Require(padding <= kMostSectors);
    }
}

DvdFileSet MakeFileSet(IFileSystem& files, const IsoDirectory& folder) {
    Ifo manager(files, folder, u"VIDEO_TS.IFO", "DVDVIDEO-VMG");
    const uint32_t titleSets = manager.U16(kAtTitleSets);
    Require(titleSets <= kMostTitleSets);
    const std::vector<int64_t> starts = TitleSetStarts(manager);
    Require(starts.size() == titleSets);
    DvdFileSet set;
    set.rows.push_back(
        ManagerRow(folder, manager, titleSets > 0 ? std::optional(starts.front()) : std::nullopt));
    for (uint32_t i = 0; i < titleSets; ++i) {
        const bool isLast = i + 1 == titleSets;
        set.rows.push_back(
            TitleSetRow(files, folder, i + 1,
                        isLast ? std::nullopt : std::optional(starts[i + 1] - starts[i])));
    }
    std::for_each(set.rows.begin(), set.rows.end(), RequireRoom);
    return set;
}

enum class Part { Ifo, Menu, Title, Backup, Other };

// A file of a VIDEO_TS folder, as identified by its name.
struct PartName {
    static constexpr uint32_t kNoSet = kMostTitleSets + 1;

    uint32_t set = kNoSet; // 0 for the video manager
    Part part = Part::Other;
    uint32_t vob = 0;

    auto Order() const { return std::tuple(set, part, vob); }
    // The name of the part in every set.
    std::u16string Proper() const {
        const char* const extension = part == Part::Ifo      ? "IFO"
                                      : part == Part::Backup ? "BUP"
                                                             : "VOB";
        return set == 0 ? FormatWide("VIDEO_TS.%s", extension)
                        : FormatWide("VTS_%02u_%u.%s", set, vob, extension);
    }
};

uint32_t Digit(char16_t unit, uint32_t otherwise) {
    return unit >= u'0' && unit <= u'9' ? static_cast<uint32_t>(unit - u'0') : otherwise;
}

PartName ParsePartName(std::u16string_view name) {
    constexpr std::u16string_view kTitleSet = u"VTS_";
    constexpr size_t kAtVob = 7;
    const auto contains = [&](std::u16string_view text) {
        return name.find(text) != std::u16string_view::npos;
    };
    PartName part;
    if (name.starts_with(kFolderName)) {
        part.set = 0;
    } else if (name.starts_with(kTitleSet) && name.size() > kAtVob) {
        part.set = std::min(10 * Digit(name[4], 10) + Digit(name[5], 100), PartName::kNoSet);
        part.vob = Digit(name[kAtVob], kMostVobs + 1);
    }
    if (part.set == PartName::kNoSet || (part.set == 0 && !name.starts_with(kFolderName))) {
        return {};
    }
    if (contains(u".IFO")) {
        part.part = Part::Ifo;
    } else if (contains(u".VOB")) {
        part.part = part.vob == 0 ? Part::Menu : Part::Title;
    } else if (contains(u".BUP")) {
        part.part = Part::Backup;
    } else {
        return {};
    }
    return part;
}

// The part of that name for which the control data have room; Other if they don't know it, like a
// title VOB after a gap.
PartName CountedPart(const DvdFileSet& set, std::u16string_view name) {
    const PartName part = ParsePartName(name);
    const bool isCounted = part.part != Part::Other && part.set <= set.TitleSets() &&
                           part.Proper() == name &&
                           (part.part != Part::Title || part.vob <= set.rows[part.set].vob_count) &&
                           (part.part == Part::Title || part.vob == 0);
    return isCounted ? part : PartName();
}

} // namespace

bool IsDvdFolder(const IsoDirectory& folder) {
    return LeafName(folder.source_path) == kFolderName;
}

std::optional<DvdFileSet> BuildFileSet(IFileSystem& files, const IsoDirectory& folder) {
    if (!IsDvdFolder(folder)) {
        return std::nullopt;
    }
    try {
        return MakeFileSet(files, folder);
    } catch (const DoesNotFit&) {
        return std::nullopt;
    }
}

int64_t PadFor(const DvdFileSet& set, std::u16string_view fileName) {
    const PartName name = ParsePartName(fileName);
    if (name.set > set.TitleSets()) {
        return 0;
    }
    const DvdFileSet::Row& row = set.rows[name.set];
    switch (name.part) {
    case Part::Ifo:
        return row.ifo_padding;
    case Part::Menu:
        return row.menu_padding;
    case Part::Title:
        return name.vob == row.vob_count ? row.title_padding : 0;
    case Part::Backup:
        return row.backup_padding;
    case Part::Other:
        break;
    }
    return 0;
}

std::vector<IsoEntry*> PlayersOrder(const DvdFileSet& set, const IsoDirectory& folder) {
    std::vector<std::pair<PartName, IsoEntry*>> parts;
    for (IsoEntry* entry = folder.entries; entry != nullptr; entry = entry->next) {
        parts.emplace_back(CountedPart(set, entry->name), entry);
    }
    std::stable_sort(parts.begin(), parts.end(), [](const auto& a, const auto& b) {
        return a.first.Order() < b.first.Order();
    });
    std::vector<IsoEntry*> entries(parts.size());
    std::transform(parts.begin(), parts.end(), entries.begin(),
                   [](const auto& part) { return part.second; });
    return entries;
}

} // namespace larkspin
