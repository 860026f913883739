// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/model/sections.h"

#include <algorithm>

namespace larkspin {

namespace {

// Adds a record like that of `entry` after `last`, the link that ends its sections.
IsoEntry** AddSection(IsoTree& tree, const IsoEntry& entry, IsoEntry** last, uint32_t bytes) {
    IsoEntry& section = tree.NewEntry();
    section.record = entry.record;
    section.record.flags |= DirectoryRecord::kFlagMoreExtents;
    section.record.size = bytes;
    section.rr_data = entry.rr_data;
    section.rr_inline_size = entry.rr_inline_size;
    *last = &section;
    return &section.next;
}

} // namespace

void MakeSections(IsoTree& tree, IsoEntry& entry, uint64_t bytes) {
    entry.size = bytes;
    entry.same_name = nullptr;
    IsoEntry** last = &entry.same_name;
    for (; bytes > kLongestSection; bytes -= kLongestSection) {
        last = AddSection(tree, entry, last, kLongestSection);
    }
    entry.record.size = static_cast<uint32_t>(bytes);
}

void KeepSections(IsoTree& tree, IsoEntry& entry, const std::vector<IsoEntry>& inFront,
                  const IsoEntry& old) {
    entry.same_name = nullptr;
    IsoEntry** last = &entry.same_name;
    for (const IsoEntry& section : inFront) {
        IsoEntry** const next = AddSection(tree, entry, last, section.record.size);
        (*last)->record.extent = section.record.extent;
        last = next;
    }
    entry.record.extent = old.record.extent;
    entry.record.size = old.record.size;
    entry.start_sector = inFront.empty() ? old.record.extent : inFront.front().record.extent;
    entry.flags |= kEntryMayBeKept;
}

} // namespace larkspin
