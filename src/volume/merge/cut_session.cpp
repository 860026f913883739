// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/merge/cut_session.h"

#include "volume/merge/old_directory.h"
#include "volume/merge/previous_disc.h"
#include "volume/model/error.h"
#include "volume/model/run.h"

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace larkspin {

namespace {

// A folder of the cut session, and the one of the same name in the new volume, or null.
struct Folder {
    OldExtent extent;
    IsoDirectory* shown;
    std::u16string path; // followed by a '/'; empty for the root
};

std::unordered_map<std::u16string_view, IsoEntry*> EntriesOf(const IsoDirectory* directory) {
    std::unordered_map<std::u16string_view, IsoEntry*> entries;
    for (IsoEntry* entry = directory != nullptr ? directory->entries : nullptr; entry != nullptr;
         entry = entry->next) {
        entries.emplace(entry->name, entry);
    }
    return entries;
}

// The contents of a folder of the cut session; nothing if the folder is one of those missing.
std::vector<OldEntry> ReadIfThere(OldDirectoryReader& reader, const OldExtent& extent) {
    try {
        return reader.Read(extent);
    } catch (const CCDWriterISOGenException&) {
        return {};
    }
}

} // namespace

void TellCutSession(VolumeRun& run, IBlockReader& drive, const CutSession& session) {
    run.Tell(NoticeReason::OldCut, {});
    PreviousDisc disc(drive, session.end, session.end);
    OldDirectoryReader reader(disc);
    std::vector<Folder> pending;
    try {
        const OldExtent root = disc.FindPreviousRoot(session.start);
        reader.DetectRockRidge(root);
        pending.push_back({root, &run.tree.Root(), {}});
    } catch (const CCDWriterISOGenException&) {
        return; // not even the root is there: no names are known
    }
    while (!pending.empty()) {
        const Folder folder = std::move(pending.back());
        pending.pop_back();
        const auto shown = EntriesOf(folder.shown);
        for (const OldEntry& old : ReadIfThere(reader, folder.extent)) {
            const DirectoryRecord& record = old.entry.record;
            if (record.IsDots() || old.child_link) {
                continue;
            }
            const auto match = shown.find(old.entry.name);
            IsoEntry* const present = match != shown.end() ? match->second : nullptr;
            std::u16string path = folder.path + old.entry.name;
            if (record.IsDirectory()) {
                IsoDirectory* const directory = present == nullptr ? nullptr
                                                : present->relocated_to != nullptr
                                                    ? present->relocated_to->own_directory
                                                    : present->own_directory;
                pending.push_back({{record.extent + record.extended_length, record.size},
                                   directory,
                                   path + u"/"});
            } else if (present == nullptr || (record.extent >= session.start &&
                                              present->device == kPreviousSessionDevice)) {
                run.Tell(NoticeReason::OldBroken, std::move(path));
            }
        }
    }
}

} // namespace larkspin
