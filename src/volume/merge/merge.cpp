// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/merge/merge.h"

#include "volume/formats/rockridge.h"
#include "volume/formats/system_use.h"
#include "volume/merge/cut_session.h"
#include "volume/merge/old_directory.h"
#include "volume/merge/previous_disc.h"
#include "volume/model/run.h"
#include "volume/model/sections.h"
#include "volume/model/sector_writers.h"
#include "volume/sources/scan.h"
#include "volume/sources/twins.h"

#include <algorithm>
#include <map>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace larkspin {

namespace {

// Deeper than any path can name, and still no danger to the walks over the tree.
constexpr uint32_t kDeepest = 1024;

// The directory that shows under the name of `entry`, wherever relocation has put it; null for a
// file.
IsoDirectory* ShownDirectory(const IsoEntry& entry) {
    return entry.relocated_to != nullptr ? entry.relocated_to->own_directory : entry.own_directory;
}

// The names from the root down to what the directory holds, each with a '/' behind.
std::u16string PathOf(const IsoDirectory& directory) {
    std::u16string path;
    for (const IsoDirectory* at = &directory; at->parent != at; at = at->parent) {
        path.insert(0, at->self->name + u"/");
    }
    return path;
}

bool HasName(const IsoDirectory& directory, std::u16string_view name) {
    for (const IsoEntry* entry = directory.entries; entry != nullptr; entry = entry->next) {
        if (entry->name == name) {
            return true;
        }
    }
    return false;
}

void HideFromJoliet(IsoDirectory& directory) {
    directory.flags |= kDirectoryNotInJoliet;
    directory.self->flags |= kEntryNotInJoliet;
}

// The change time that the Rock Ridge data of an entry of the queue holds.
RecordDate ChangeTimeOf(IsoEntry& fresh) {
    constexpr size_t kAtChangeTime = 19; // behind modification and access
    RecordDate date = {};
    const std::span<const uint8_t> tf = FindSystemUse(fresh, "TF");
    if (tf.size() >= kAtChangeTime + date.size()) {
        std::copy_n(tf.begin() + kAtChangeTime, date.size(), date.begin());
    }
    return date;
}

// True if the file on disk is the one that the disc has already: its name agrees, and so do size,
// date and what Rock Ridge says of them, the time of the last change of attributes included: some
// programs write into a file and set its date back. A time zone or a file system that changes the
// date makes it another file, which costs space but loses nothing.
// Contents held in memory are filled in while the volume is sent, so they are never the old ones.
bool IsUnchanged(IsoEntry& fresh, const OldEntry& old) {
    bool isPlain = fresh.memory_contents == nullptr && !old.transformed;
    uint64_t bytes = 0;
    const auto addSection = [&](const DirectoryRecord& section) {
        isPlain &= section.extended_length == 0 && section.unit_size == 0 && section.gap == 0 &&
                   (section.flags & DirectoryRecord::kFlagAssociated) == 0 &&
                   (section.extent != 0 || section.size == 0);
        bytes += section.size;
    };
    for (const IsoEntry& section : old.same_name) {
        addSection(section.record);
    }
    addSection(old.entry.record);
    if (!isPlain || bytes != fresh.size || old.entry.record.date != fresh.record.date) {
        return false;
    }
    if (old.mode) {
        const std::span<const uint8_t> px = FindSystemUse(fresh, "PX");
        if (px.empty() || ((ReadLittle32(px, kAtPxMode) ^ *old.mode) & kModeTypeMask) != 0) {
            return false;
        }
    }
    if (old.modified && *old.modified != fresh.record.date) {
        return false;
    }
    const RecordDate changed = ChangeTimeOf(fresh);
    return (!old.created || *old.created == changed) && (!old.changed || *old.changed == changed);
}

// What the old session may refer to ends where it does, not where the new one begins: there is a
// gap between them.
uint32_t RecordedEnd(const VolumeRun& run) {
    const uint32_t end = run.options.previous_end;
    return end > run.previous_base ? std::min(end, run.session_base) : run.session_base;
}

class Merger {
  public:
    Merger(VolumeRun& run, IBlockReader& drive)
        : m_run(run), m_disc(drive, RecordedEnd(run), run.session_base), m_reader(m_disc) {}

    void Merge() {
        const OldExtent root = m_disc.FindPreviousRoot(m_run.previous_base);
        m_reader.DetectRockRidge(root);
        m_pending.push_back({&m_run.tree.Root(), root, 0});
        do {
            ReadPending();
        } while (PlaceRelocated());
    }

  private:
    // A directory of the new tree, and the old one whose entries are still to be added to it.
    struct Pending {
        IsoDirectory* directory;
        OldExtent extent;
        uint32_t level; // of names from the root down
    };
    // An entry with RE, and the directory of the new tree whose old one it was met in.
    struct Moved {
        OldEntry old;
        const IsoDirectory* holder;
    };
    // A CL entry, whose directory hasn't been met yet.
    struct Placeholder {
        IsoEntry* entry;         // stands for it in the new tree; null if `directory` does
        IsoDirectory* directory; // of the new tree, with which the old one merges
        uint32_t level;
    };

    void ReadPending() {
        while (!m_pending.empty()) {
            const Pending next = m_pending.back();
            m_pending.pop_back();
            if (next.level > kDeepest) {
                FailToMerge();
            }
            std::vector<OldEntry> entries = m_reader.Read(next.extent);
            TakeRelocationDirectory(*next.directory, entries);
            AddEntries(next, entries);
        }
    }

    // Earlier sessions, and other programs, have relocation directories of their own. One that
    // holds nothing else becomes that of this volume, or joins it; any other keeps its ordinary
    // entries.
    void TakeRelocationDirectory(IsoDirectory& directory, const std::vector<OldEntry>& entries) {
        IsoDirectory& root = m_run.tree.Root();
        IsoDirectory* const present = m_run.tree.RelocationDirectory();
        if (&directory == &root || directory.parent != &root || &directory == present ||
            directory.self->device != kPreviousSessionDevice) {
            return;
        }
        bool hasRelocated = false;
        for (const OldEntry& old : entries) {
            if (!old.relocated && !old.entry.record.IsDots()) {
                return;
            }
            hasRelocated |= old.relocated;
        }
        if (!hasRelocated && directory.self->name != RelocationName(m_run.options)) {
            return;
        }
        HideFromJoliet(directory);
        if (present == nullptr) {
            m_run.tree.SetRelocationDirectory(directory);
        } else {
            directory.flags |= kDirectoryNotInIso;
            directory.self->flags |= kEntryNotInIso;
        }
    }

    void AddEntries(const Pending& place, std::vector<OldEntry>& entries) {
        IsoDirectory& directory = *place.directory;
        const bool isRelocation = &directory == m_run.tree.RelocationDirectory();
        const bool isFresh =
            directory.self != nullptr && directory.self->device == kPreviousSessionDevice;
        std::unordered_map<std::u16string_view, IsoEntry*> queued;
        bool hasNew = false;
        bool hasTwins = false;
        for (IsoEntry* entry = directory.entries; entry != nullptr; entry = entry->next) {
            if (!entry->record.IsDots() && !isRelocation) {
                queued.emplace(entry->name, entry);
                hasNew = true;
            }
        }
        for (OldEntry& old : entries) {
            if (old.relocated && !old.entry.record.IsDots()) {
                AddMoved(directory, old);
                continue;
            }
            if (old.entry.record.IsDots()) {
                if (isFresh && !old.is_broken) {
                    AdoptDot(directory, old);
                }
                continue;
            }
            const auto match = queued.find(old.entry.name);
            if (old.is_broken) {
                if (match == queued.end() || ShownDirectory(*match->second) != nullptr) {
                    m_run.Tell(NoticeReason::OldBroken, PathOf(directory) + old.entry.name);
                }
                continue;
            }
            const bool isReplaced =
                match != queued.end() && Overlay(*match->second, old, place.level);
            hasTwins |= match != queued.end() && !isReplaced;
            if (!isReplaced && (!old.is_translation_table || !hasNew)) {
                Adopt(directory, old, place.level);
            }
        }
        if (hasTwins) {
            SeparateTwins(m_run, directory);
        }
    }

    // An entry of the queue meets the old one of its name. False if the old one stays on the
    // volume.
    bool Overlay(IsoEntry& fresh, OldEntry& old, uint32_t level) {
        IsoDirectory* const directory = ShownDirectory(fresh);
        const bool isOldFolder = old.entry.record.IsDirectory() || old.child_link;
        if (directory == nullptr) {
            if (!isOldFolder && IsUnchanged(fresh, old)) {
                KeepSections(m_run.tree, fresh, old.same_name, old.entry);
            } else if (fresh.source_name != nullptr) {
                return false; // nobody has asked for the name that was made up to be replaced
            } else if (isOldFolder) {
                // A file that took the place of a folder would hide all that the folder holds.
                if (fresh.source_folder == nullptr) {
                    FailToMerge();
                }
                m_run.Tell(NoticeReason::HidesFolder, fresh.SourcePath());
                fresh.directory->RemoveEntry(fresh);
                return false;
            }
        } else if (old.child_link) {
            AddPlaceholder(*old.child_link, {nullptr, directory, level + 1});
        } else if (isOldFolder) {
            m_pending.push_back({directory, OldExtent::Of(old.entry.record), level + 1});
        } else if (directory == m_run.tree.RelocationDirectory()) {
            FailToMerge(); // no user has asked for that name to be replaced
        }
        return true;
    }

    IsoEntry& Take(OldEntry& old) {
        IsoEntry& entry = m_run.tree.NewEntry();
        entry = std::move(old.entry);
        IsoEntry** link = &entry.same_name;
        for (IsoEntry& section : old.same_name) {
            const bool isAssociated =
                (section.record.flags & DirectoryRecord::kFlagAssociated) != 0;
            entry.size += isAssociated ? 0 : section.size;
            *link = &m_run.tree.NewEntry();
            **link = std::move(section);
            link = &(*link)->next;
        }
        return entry;
    }

    void Adopt(IsoDirectory& directory, OldEntry& old, uint32_t level) {
        const OldExtent extent = OldExtent::Of(old.entry.record);
        IsoEntry& entry = Take(old);
        directory.AddEntry(entry);
        if (old.child_link) {
            entry.flags = kEntryPlaceholder;
            entry.record.flags &= static_cast<uint8_t>(~DirectoryRecord::kFlagDirectory);
            entry.record.extent = 0;
            entry.record.size = 0;
            entry.size = 0;
            AddPlaceholder(*old.child_link, {&entry, nullptr, level + 1});
        } else if (entry.record.IsDirectory()) {
            const bool isHidden = directory.Has(kDirectoryNotInJoliet);
            AdoptDirectory(directory, entry, extent, isHidden, level + 1);
        }
    }

    void AdoptDirectory(IsoDirectory& parent, IsoEntry& entry, const OldExtent& extent,
                        bool isHidden, uint32_t level) {
        ClearExtent(entry);
        IsoDirectory& directory = m_run.tree.AdoptDirectory(parent, entry);
        if (isHidden) {
            HideFromJoliet(directory);
        }
        m_pending.push_back({&directory, extent, level});
    }

    // Directories get new addresses, and have no extended attributes any more.
    static void ClearExtent(IsoEntry& entry) {
        entry.flags = 0;
        entry.record.extent = 0;
        entry.record.size = 0;
        entry.record.extended_length = 0;
        entry.record.flags &= DirectoryRecord::kFlagDirectory | DirectoryRecord::kFlagHidden;
        entry.size = 0;
    }

    // A ".." tells the true parent of a moved directory, and of no other; one that doesn't fit is
    // made anew with the dots that are missing.
    void AdoptDot(IsoDirectory& directory, OldEntry& old) {
        const bool isDot = old.entry.record.IsDot();
        const bool isMoved = directory.parent == m_run.tree.RelocationDirectory();
        if (!isDot && old.has_parent_link != isMoved) {
            return;
        }
        IsoEntry& entry = Take(old);
        ClearExtent(entry);
        directory.AddEntry(entry);
        directory.flags |= isDot ? kDirectoryHasDot : kDirectoryHasDotDot;
    }

    void AddMoved(const IsoDirectory& holder, OldEntry& old) {
        const uint32_t sector = old.entry.record.extent;
        if (!old.entry.record.IsDirectory() ||
            !m_moved.emplace(sector, Moved{std::move(old), &holder}).second) {
            FailToMerge();
        }
        if (m_placeholders.contains(sector)) {
            m_met.insert(sector);
        }
    }

    void AddPlaceholder(uint32_t sector, const Placeholder& placeholder) {
        if (!m_placeholders.emplace(sector, placeholder).second) {
            FailToMerge();
        }
        if (m_moved.contains(sector)) {
            m_met.insert(sector);
        }
    }

    // Gives the relocated directories met so far their places; true if that has brought more to
    // read. Those that no placeholder leads to come last, as what they hold may be asked for.
    bool PlaceRelocated() {
        if (!m_met.empty()) {
            for (const uint32_t sector : std::exchange(m_met, {})) {
                PlaceMoved(m_moved.extract(sector).mapped().old,
                           m_placeholders.extract(sector).mapped());
            }
            return true;
        }
        if (m_moved.empty()) {
            if (!m_placeholders.empty()) {
                FailToMerge();
            }
            return false;
        }
        for (auto& [sector, moved] : std::exchange(m_moved, {})) {
            PlaceUnclaimed(moved);
        }
        return true;
    }

    // Rock Ridge hides a directory that no placeholder leads to, and readers without it find it
    // where it was. Some programs hide their relocation directory so: it stays in the root.
    void PlaceUnclaimed(Moved& moved) {
        IsoDirectory& root = m_run.tree.Root();
        IsoDirectory* const relocation = m_run.tree.RelocationDirectory();
        const std::u16string& name = moved.old.entry.name;
        const bool wasInRoot = moved.holder == &root;
        if (wasInRoot && relocation != nullptr && relocation->self->name == name) {
            m_pending.push_back({relocation, OldExtent::Of(moved.old.entry.record), 1});
        } else if (wasInRoot && !HasName(root, name)) {
            Adopt(root, moved.old, 0);
        } else {
            PlaceMoved(moved.old, {nullptr, nullptr, 1});
        }
    }

    void PlaceMoved(OldEntry& old, const Placeholder& placeholder) {
        const OldExtent extent = OldExtent::Of(old.entry.record);
        if (placeholder.directory != nullptr) {
            m_pending.push_back({placeholder.directory, extent, placeholder.level});
            return;
        }
        IsoDirectory& relocation = RelocationDirectory(m_run);
        IsoEntry& entry = Take(old);
        relocation.AddEntry(entry);
        bool isHidden = true;
        if (IsoEntry* const from = placeholder.entry) {
            entry.relocated_from = from;
            entry.name = from->name;
            from->relocated_to = &entry;
            isHidden = from->directory->Has(kDirectoryNotInJoliet);
        }
        AdoptDirectory(relocation, entry, extent, isHidden, placeholder.level);
    }

    VolumeRun& m_run;
    PreviousDisc m_disc;
    OldDirectoryReader m_reader;
    std::vector<Pending> m_pending;
    // By the sector that both name.
    std::map<uint32_t, Placeholder> m_placeholders;
    std::map<uint32_t, Moved> m_moved;
    std::set<uint32_t> m_met; // those that are in both
};

} // namespace

void MergePreviousSession(VolumeRun& run, IBlockReader& drive) {
    if (run.options.has_previous) {
        Merger(run, drive).Merge();
    }
    for (const CutSession& session : run.options.cut_sessions) {
        TellCutSession(run, drive, session);
    }
}

} // namespace larkspin
