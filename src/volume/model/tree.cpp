// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/model/tree.h"

#include "platform/paths.h"
#include "platform/text.h"
#include "volume/model/error.h"

#include <functional>
#include <utility>

namespace larkspin {

std::u16string IsoEntry::SourcePath() const {
    return source_folder != nullptr
               ? JoinPath(*source_folder, source_name != nullptr ? *source_name : name)
               : std::u16string();
}

uint32_t IsoEntry::RecordLength() const {
    const auto nameBytes = static_cast<uint32_t>(record.name.size());
    return RoundToEven(DirectoryRecord::PlainLength(nameBytes) + rr_inline_size);
}

void IsoDirectory::AddEntry(IsoEntry& entry) {
    entry.directory = this;
    entry.next = entries;
    entries = &entry;
}

void IsoDirectory::RemoveEntry(const IsoEntry& entry) {
    IsoEntry** link = &entries;
    while (*link != &entry) {
        link = &(*link)->next;
    }
    *link = entry.next;
}

IsoDirectory* IsoDirectory::TrueParent() const {
    const IsoEntry* placeholder = self != nullptr ? self->relocated_from : nullptr;
    return placeholder != nullptr ? placeholder->directory : parent;
}

IsoTree::IsoTree(uint32_t relocationDepth) : m_nRelocationDepth(relocationDepth) {
    m_pRoot = &m_directories.emplace_back();
    m_pRoot->parent = m_pRoot;
}

IsoEntry& IsoTree::NewEntry() {
    return m_entries.emplace_back();
}

void IsoTree::CheckDepth(const IsoDirectory& parent, const std::u16string& sourcePath) const {
    if (&parent != m_pRoot && parent.depth > m_nRelocationDepth) {
        throw CCDWriterISOGenException(FormatWide(
            "Directories too deep for '%s' (%d) max is %d.", ToNative(sourcePath).c_str(),
            static_cast<int>(parent.depth), static_cast<int>(m_nRelocationDepth)));
    }
}

IsoDirectory& IsoTree::MakeDirectory(IsoDirectory& parent, IsoEntry& self,
                                     std::u16string sourcePath, std::u16string leafName) {
    IsoDirectory& directory = m_directories.emplace_back();
    directory.parent = &parent;
    directory.depth = parent.depth + 1;
    directory.self = &self;
    directory.source_path = std::move(sourcePath);
    directory.leaf_name = std::move(leafName);
    self.own_directory = &directory;
    return directory;
}

void IsoTree::Append(IsoDirectory& parent, IsoDirectory& directory) {
    (parent.last_child != nullptr ? parent.last_child->next : parent.first_child) = &directory;
    parent.last_child = &directory;
}

IsoDirectory& IsoTree::NewDirectory(IsoDirectory& parent, IsoEntry& self, std::u16string sourcePath,
                                    std::u16string leafName) {
    CheckDepth(parent, sourcePath);
    IsoDirectory& directory =
        MakeDirectory(parent, self, std::move(sourcePath), std::move(leafName));
    Append(parent, directory);
    return directory;
}

IsoDirectory& IsoTree::AdoptDirectory(IsoDirectory& parent, IsoEntry& self) {
    IsoDirectory& directory = MakeDirectory(parent, self, {}, self.name);
    Append(parent, directory);
    return directory;
}

IsoDirectory& IsoTree::NewFirstDirectory(IsoDirectory& parent, IsoEntry& self,
                                         std::u16string sourcePath, std::u16string leafName) {
    IsoDirectory& directory =
        MakeDirectory(parent, self, std::move(sourcePath), std::move(leafName));
    directory.next = parent.first_child;
    parent.first_child = &directory;
    if (parent.last_child == nullptr) {
        parent.last_child = &directory;
    }
    return directory;
}

size_t IsoTree::PlaceHash::operator()(const Place& place) const {
    return std::hash<std::u16string>()(place.name) ^
           (std::hash<const IsoDirectory*>()(place.parent) * 31);
}

IsoDirectory* IsoTree::FindDirectory(const IsoDirectory& parent, std::u16string_view name) const {
    const auto found = m_places.find(Place{&parent, std::u16string(name)});
    return found != m_places.end() ? found->second : nullptr;
}

void IsoTree::NameDirectory(const IsoDirectory& parent, std::u16string_view name,
                            IsoDirectory& directory) {
    m_places.emplace(Place{&parent, std::u16string(name)}, &directory);
}

const std::u16string* IsoTree::KeepPath(std::u16string path) {
    return &m_paths.emplace_back(std::move(path));
}

void IsoTree::Clear() {
    m_places.clear();
    m_entries.clear();
    m_directories.clear();
    m_pRoot = nullptr;
    m_pRelocation = nullptr;
}

} // namespace larkspin
