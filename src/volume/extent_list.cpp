// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/extent_list.h"

#include "platform/paths.h"
#include "platform/text.h"
#include "volume/model/fragment.h"
#include "volume/model/run.h"

namespace larkspin {

namespace {

void AddContents(const VolumeRun& run, ExtentList* list) {
    list->AddEmptyFiles(run.empty_files);
    for (const DeferredFile& file : run.contents) {
        const ExtentList::Extent extent{uint64_t{file.extent} * kSectorBytes, file.size};
        const IsoEntry& entry = *file.entry;
        const std::u16string& name = entry.source_name != nullptr ? *entry.source_name : entry.name;
        if (entry.source_folder != nullptr) {
            list->AddFile(extent, *entry.source_folder, name);
        } else {
            list->Add(extent, name);
        }
    }
}

} // namespace

void ExtentList::AddRow(const Extent& extent, uint32_t folder, const std::u16string& name) {
    if (extent.bytes == 0) {
        return;
    }
    m_strNames += ToNative(name);
    m_rows.push_back({extent, folder, static_cast<uint32_t>(m_strNames.size())});
    m_nBytes += extent.bytes;
}

void ExtentList::Add(const Extent& extent, const std::u16string& name) {
    AddRow(extent, kNoFolder, name);
}

void ExtentList::AddFile(const Extent& extent, const std::u16string& folder,
                         const std::u16string& name) {
    ++m_nFiles;
    m_nFileBytes += extent.bytes;
    if (m_folders.empty() || m_folders.back() != folder) {
        m_folders.push_back(folder);
    }
    AddRow(extent, static_cast<uint32_t>(m_folders.size() - 1), name);
}

std::u16string ExtentList::NameOf(size_t index) const {
    const uint32_t begin = index > 0 ? m_rows[index - 1].nameEnd : 0;
    const Row& row = m_rows[index];
    const std::u16string name =
        ToWide(std::string_view(m_strNames).substr(begin, row.nameEnd - begin));
    return row.folder != kNoFolder ? JoinPath(m_folders[row.folder], name) : name;
}

ExtentList ListExtents(const VolumeRun& run, const std::vector<OutputFragment>& fragments) {
    ExtentList list;
    list.Reserve(fragments.size() + run.contents.size());
    for (const OutputFragment& fragment : fragments) {
        if (fragment.kind == OutputFragment::Kind::Contents) {
            AddContents(run, &list);
        } else if (fragment.kind == OutputFragment::Kind::Structure) {
            list.Add({uint64_t{fragment.start} * kSectorBytes,
                      uint64_t{fragment.sectors} * kSectorBytes},
                     ToWide(fragment.name));
        }
    }
    return list;
}

} // namespace larkspin
