// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/sources/contents.h"

#include "platform/paths.h"
#include "platform/text.h"
#include "volume/formats/dvdvideo.h"
#include "volume/model/error.h"
#include "volume/model/run.h"
#include "volume/model/sector_stream.h"
#include "volume/sources/open_ahead.h"

#include <algorithm>
#include <optional>
#include <span>
#include <unordered_map>
#include <utility>

namespace larkspin {

namespace {

void TakeExtentOf(const IsoDirectory& directory, DirectoryRecord& record) {
    record.extent = directory.iso_extent;
    record.size = RoundToSectors(directory.iso_size);
}

void AssignFile(VolumeRun& run, IsoEntry& entry, uint32_t padSectors) {
    entry.start_sector = run.plan_sector;
    uint32_t sector = run.plan_sector; // may overflow for a file that is refused below
    ForEachRecord(entry, [&](IsoEntry& section) {
        section.record.extent = sector;
        sector += SectorsOf(section.record.size);
    });
    if (entry.size == 0 && padSectors == 0) {
        run.empty_files += entry.source_folder != nullptr ? 1 : 0;
        return;
    }
    if (uint64_t{run.plan_sector} + SectorsOf(entry.size) + padSectors > kMostSectors) {
        throw CCDWriterISOGenException(u"The files are too large for one volume.");
    }
    DeferredFile& file = run.contents.emplace_back();
    file.entry = &entry;
    file.extent = run.plan_sector;
    file.size = entry.size;
    file.date = entry.record.date;
    file.pad_sectors = padSectors;
    run.plan_sector += SectorsOf(entry.size) + file.pad_sectors;
}

void AssignEntry(VolumeRun& run, const IsoDirectory& directory, IsoEntry& entry,
                 uint32_t padSectors) {
    // A file may begin at sector 0 of the disc, if it covers the start of a previous session.
    const bool isKept = entry.Has(kEntryMayBeKept) && entry.size != 0;
    if (entry.record.extent != 0 || isKept) {
        return;
    }
    if (entry.record.IsDot()) {
        TakeExtentOf(directory, entry.record);
    } else if (entry.record.IsDotDot()) {
        TakeExtentOf(*directory.parent, entry.record);
    } else if (entry.record.IsDirectory()) {
        if (entry.own_directory == nullptr) {
            throw CCDWriterISOGenException(
                FormatWide("Internal error #940. Could not find entry for '%s'.",
                           ToNative(entry.name).c_str()));
        }
        TakeExtentOf(*entry.own_directory, entry.record);
    } else {
        AssignFile(run, entry, padSectors);
    }
}

// The DVD-Video sets found on the way through the tree.
class DvdFolders {
  public:
    explicit DvdFolders(VolumeRun& run) : m_run(run) {}

    // The set that `directory` belongs to, its own or that of a sibling before it; null if there is
    // none.
    const DvdFileSet* SetOf(const IsoDirectory& directory) {
        if (!m_run.options.dvd_video) {
            return nullptr;
        }
        if (std::optional<DvdFileSet> set = BuildFileSet(m_run.files, directory)) {
            m_bFound = true;
            return &m_sets.insert_or_assign(directory.parent, *std::move(set)).first->second;
        }
        if (IsDvdFolder(directory)) {
            m_bFound = true;
            m_run.Tell(NoticeReason::DvdBroken, directory.source_path);
        }
        const auto found = m_sets.find(directory.parent);
        return found != m_sets.end() ? &found->second : nullptr;
    }

    // For use once all directories have been asked for.
    void TellIfNone() const {
        if (m_run.options.dvd_video && !m_bFound) {
            m_run.Tell(NoticeReason::NoDvd, u"VIDEO_TS");
        }
    }

  private:
    VolumeRun& m_run;
    bool m_bFound = false;
    std::unordered_map<const IsoDirectory*, DvdFileSet> m_sets; // by the parent of the siblings
};

uint32_t DvdPadSectors(const DvdFileSet& set, const IsoEntry& entry) {
    const int64_t padding = PadFor(set, entry.name);
    if (padding < 0) {
        throw CCDWriterISOGenException(u"Internal error #941.");
    }
    return static_cast<uint32_t>(padding);
}

[[noreturn]] void Fail(const char* format, const std::u16string& path) {
    throw CCDWriterISOGenException(FormatWide(format, ToNative(path).c_str()));
}

std::u16string PathOf(const DeferredFile& item) {
    return JoinPath(*item.source_folder, item.name);
}

// Fills `piece` from `file`, with zeros after the end of the file. Reading stops once the first
// `needed` bytes are there: what follows them in the last sector does not matter. Returns the
// number of bytes read; nothing if reading fails.
std::optional<size_t> ReadPiece(ISequentialFile& file, std::span<uint8_t> piece, size_t needed) {
    const std::optional<size_t> filled = ReadUpTo(file, piece, needed);
    if (filled) {
        std::fill(piece.begin() + static_cast<std::ptrdiff_t>(*filled), piece.end(), uint8_t{0});
    }
    return filled;
}

// How a file that has just been read differs from what the scan saw; nothing if it does not. Its
// name is looked up only if the open file is not enough to tell, because that takes time.
std::optional<NoticeReason> ChangeOf(VolumeRun& run, const DeferredFile& item,
                                     const OpenAhead::Opened& source, bool endedEarly) {
    FileStatus now;
    if (!source.file->Status(&now) && !source.folder->Status(item.name, &now)) {
        return NoticeReason::Vanished;
    }
    if (now.type != FileStatus::Type::Regular) {
        return NoticeReason::OtherKind;
    }
    if (endedEarly || now.size < item.size) {
        return NoticeReason::Shrank;
    }
    if (now.size > item.size) {
        return NoticeReason::Grew;
    }
    // A boot image is changed by the run itself.
    const bool isChanged =
        run.dates.Get(now.modifyTime) != item.date && !run.boot_patches.HasPatched(PathOf(item));
    return isChanged ? std::optional(NoticeReason::Changed) : std::nullopt;
}

// True if the disk had to be waited for.
bool StreamFile(VolumeRun& run, const DeferredFile& item, const OpenAhead::Opened& source,
                SectorStream& stream) {
    if (source.file == nullptr) {
        Fail("Cannot open \"%s\".", PathOf(item));
    }
    uint64_t left = item.size;
    bool endedEarly = false;
    while (left > 0) {
        const std::span<uint8_t> piece = stream.Space(SectorsOf(left));
        const auto needed = static_cast<uint32_t>(std::min<uint64_t>(left, piece.size()));
        const std::optional<size_t> filled = ReadPiece(*source.file, piece, needed);
        if (!filled) {
            Fail("Cannot read from \"%s\".", PathOf(item));
        }
        endedEarly = endedEarly || *filled < needed;
        stream.Commit(SectorsOf(piece.size()));
        left -= needed;
    }
    // The last sectors are still in the stream's buffer, so nobody considers the volume complete
    // before this is reported.
    if (const auto change = ChangeOf(run, item, source, endedEarly)) {
        run.Tell(*change, PathOf(item));
    }
    return source.file->HasWaited();
}

void StreamMemory(std::span<const uint8_t> bytes, SectorStream& stream) {
    std::vector<uint8_t> sectors(bytes.begin(), bytes.end());
    sectors.resize(RoundToSectors(static_cast<uint32_t>(bytes.size())));
    stream.Write(sectors);
}

} // namespace

void AssignContents(VolumeRun& run) {
    DvdFolders dvdFolders(run);
    ForEachDirectory(run.tree.Root(), [&](IsoDirectory& directory) {
        if (const DvdFileSet* set = dvdFolders.SetOf(directory)) {
            for (IsoEntry* entry : PlayersOrder(*set, directory)) {
                AssignEntry(run, directory, *entry, DvdPadSectors(*set, *entry));
            }
            return;
        }
        for (IsoEntry* entry = directory.entries; entry != nullptr; entry = entry->next) {
            AssignEntry(run, directory, *entry, 0);
        }
    });
    dvdFolders.TellIfNone();
}

void DetachContents(VolumeRun& run) {
    for (DeferredFile& file : run.contents) {
        file.source_folder = file.entry->source_folder;
        const std::u16string* sourceName = file.entry->source_name;
        if (sourceName != nullptr) {
            file.name = *sourceName;
        } else {
            file.name = std::move(file.entry->name);
        }
        file.memory_contents = std::move(file.entry->memory_contents);
        file.entry = nullptr;
    }
}

void StreamContents(VolumeRun& run, SectorStream& stream) {
    OpenAhead files(run.files, run.contents);
    for (; !run.contents.empty(); run.contents.pop_front()) {
        const DeferredFile& item = run.contents.front();
        bool hasWaited = false;
        if (item.memory_contents != nullptr) {
            StreamMemory(*item.memory_contents, stream);
        } else {
            hasWaited = StreamFile(run, item, files.TakeFront(), stream);
        }
        stream.WriteZeros(item.pad_sectors);
        files.FrontSent(hasWaited);
    }
}

} // namespace larkspin
