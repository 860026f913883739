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

// Deeper than any path can be, but still harmless to the recursive walks over the tree.
constexpr uint32_t kDeepest = 1024;

// The directory that shows under the name of `entry`, wherever relocation has put it; null for a
// file.
IsoDirectory* ShownDirectory(const IsoEntry& entry) {
    return entry.relocated_to != nullptr ? entry.relocated_to->own_directory : entry.own_directory;
}

// The names from the root down to the directory, each followed by a '/'.
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

// The change time in the Rock Ridge data of an entry of the queue.
RecordDate ChangeTimeOf(IsoEntry& fresh) {
    constexpr size_t kAtChangeTime = 19; // after modification and access
    RecordDate date = {};
    const std::span<const uint8_t> tf = FindSystemUse(fresh, "TF");
    if (tf.size() >= kAtChangeTime + date.size()) {
        std::copy_n(tf.begin() + kAtChangeTime, date.size(), date.begin());
    }
    return date;
}

// True if the file on disk is the one already on the disc: its name matches, and so do size, date
// and their Rock Ridge values, including the time of the last attribute change, as some programs
// write into a file and restore its date. A time zone or a file system that changes the date makes
// it a different file, which costs space but loses nothing. Contents held in memory are filled in
// while the volume is sent, so they never count as unchanged.
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

// The old session may only refer to what lies before its own end, not up to the start of the new
// one: there is a gap between them.
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
    // A directory of the new tree, and the old one whose entries have yet to be added to it.
    struct Pending {
        IsoDirectory* directory;
        OldExtent extent;
        uint32_t level; // number of names from the root
    };
    // An entry with RE, and the new directory for the old one in which it was found.
    struct Moved {
        OldEntry old;
        const IsoDirectory* holder;
    };
    // A CL entry whose directory hasn't been found yet.
    struct Placeholder {
        IsoEntry* entry;         // its entry in the new tree; null if `directory` is set
        IsoDirectory* directory; // the new directory with which the old one merges
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

    // Earlier sessions, and other programs, have relocation directories of their own. One with no
    // other contents becomes, or joins, that of this volume; any other one keeps its ordinary
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

    // Handles an entry of the queue and an old one of the same name. False if the old one stays on
    // the volume.
    bool Overlay(IsoEntry& fresh, OldEntry& old, uint32_t level) {
        IsoDirectory* const directory = ShownDirectory(fresh);
        const bool isOldFolder = old.entry.record.IsDirectory() || old.child_link;
        if (directory == nullptr) {
            if (!isOldFolder && IsUnchanged(fresh, old)) {
                KeepSections(m_run.tree, fresh, old.same_name, old.entry);
            } else if (fresh.source_name != nullptr) {
                return false; // the replaced name would be a made-up one that nobody has asked for
            } else if (isOldFolder) {
                // A file that replaced a folder would hide all its contents.
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
            FailToMerge(); // the user never asked for that name to be replaced
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

    // Directories get new addresses, and lose their extended attributes.
    static void ClearExtent(IsoEntry& entry) {
        entry.flags = 0;
        entry.record.extent = 0;
        entry.record.size = 0;
        entry.record.extended_length = 0;
        entry.record.flags &= DirectoryRecord::kFlagDirectory | DirectoryRecord::kFlagHidden;
        entry.size = 0;
    }

    // A ".." identifies the real parent of a moved directory, but of no other. One that doesn't fit
    // is made anew together with any missing dots.
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

    // Gives the relocated directories found so far their places; true if that has added more to
    // read. Those without a placeholder come last, because placeholders may need what they contain.
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

    // Rock Ridge hides a directory without a placeholder, and readers without Rock Ridge find it
    // where it was. Some programs hide their relocation directory in this way: it stays in the
    // root.
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
