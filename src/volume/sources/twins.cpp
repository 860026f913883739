// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/sources/twins.h"

#include "platform/text.h"
#include "volume/formats/rockridge.h"
#include "volume/model/names.h"
#include "volume/model/run.h"
#include "volume/model/sections.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace larkspin {

namespace {

constexpr size_t kLongestName = 255; // bytes, NAME_MAX of Linux

// True for what may not be renamed.
bool KeepsName(const IsoEntry& entry) {
    return entry.record.IsDirectory() || entry.Has(kEntryPlaceholder) ||
           entry.source_folder == nullptr;
}

// Gives a file of the queue another name than on disk.
void RenameFile(VolumeRun& run, IsoEntry& entry, std::u16string name) {
    FileStatus status;
    if (!run.files.Status(entry.SourcePath(), &status)) {
        status.mode = kModeRegular; // it has just gone, and will be unreadable when its turn comes
    }
    NormalizeStatus(run.options, status);
    if (entry.source_name == nullptr) {
        entry.source_name = run.tree.KeepPath(entry.name);
    }
    entry.name = std::move(name);
    const std::string native = ToNative(entry.name);
    entry.record.name = MakeIsoName(native, false, run.options);
    MakeRockRidge(run, native, entry, 0, status);
    MakeSections(run.tree, entry, entry.size);
}

} // namespace

std::u16string NumberedName(std::u16string_view name, uint32_t number) {
    const size_t dot = name.rfind(u'.');
    const bool hasExtension = dot != std::u16string_view::npos && dot != 0;
    std::u16string_view stem = name.substr(0, hasExtension ? dot : name.size());
    const std::u16string tail =
        FormatWide(" (%u)", number) + std::u16string(name.substr(stem.size()));
    std::u16string numbered;
    do {
        numbered = std::u16string(stem) + tail;
        const bool isPair = stem.size() > 1 && (stem.back() & 0xFC00) == 0xDC00 &&
                            (stem[stem.size() - 2] & 0xFC00) == 0xD800;
        stem.remove_suffix(std::min<size_t>(stem.size(), isPair ? 2 : 1));
    } while (ToNative(numbered).size() > kLongestName && !stem.empty());
    return numbered;
}

void SeparateTwins(VolumeRun& run, IsoDirectory& directory) {
    std::vector<IsoEntry*> files; // latest first, as the chain is
    std::unordered_set<std::u16string> names;
    for (IsoEntry* entry = directory.entries; entry != nullptr; entry = entry->next) {
        if (KeepsName(*entry)) {
            names.insert(entry->name);
        } else {
            files.push_back(entry);
        }
    }
    std::unordered_set<std::u16string> sources;
    std::vector<IsoEntry*> twins;
    for (auto file = files.rbegin(); file != files.rend(); ++file) {
        if (names.insert((*file)->name).second) {
            sources.insert((*file)->SourcePath());
        } else {
            twins.push_back(*file);
        }
    }
    std::unordered_map<std::u16string, uint32_t> next; // number to try, by name
    for (IsoEntry* twin : twins) {
        if (!sources.insert(twin->SourcePath()).second) {
            directory.RemoveEntry(*twin);
            continue;
        }
        const std::u16string& plain =
            twin->source_name != nullptr ? *twin->source_name : twin->name;
        uint32_t& number = next.try_emplace(plain, 2).first->second;
        std::u16string name = NumberedName(plain, number);
        while (!names.insert(name).second) {
            name = NumberedName(plain, ++number);
        }
        RenameFile(run, *twin, std::move(name));
    }
}

} // namespace larkspin
