// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/sources/folder_walk.h"

#include "platform/natural_order.h"
#include "platform/paths.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace larkspin {

void FolderWalk::Add(const std::u16string& item, const FileStatus& status,
                     IsoDirectory* directory) {
    m_pItem = &item;
    m_pAround = nullptr;
    m_inItem.clear();
    m_pEntered = &m_inItem;
    if (IsFolderByName(item)) {
        std::vector<std::u16string> names;
        if (!List(item, &names)) {
            m_visitor.Tell(NoticeReason::FolderUnreadable, item);
        }
        m_inItem.insert(IdentityOf(status));
        AddNames(directory, item, std::move(names));
    } else {
        const std::u16string path(TrimSeparator(item));
        const std::u16string name(LeafName(path));
        const std::u16string parent(ParentPath(path));
        if (name.empty() || name == u"." || name == u"..") {
            m_visitor.Tell(NoticeReason::Nameless, item);
        } else if (const WalkPlace place = m_visitor.Open(directory, parent);
                   status.type == FileStatus::Type::Folder) {
            AddFolder(place, {name, path, status});
        } else {
            AddFile(place, *m_files.OpenFolder(parent), {name, path, status});
        }
    }
    m_taken.merge(m_inItem);
}

void FolderWalk::FollowLinks() {
    m_pEntered = &m_taken;
    for (; !m_links.empty(); m_links.pop_front()) {
        const FoundLink& link = m_links.front();
        if (!m_visitor.GoesOn(link.path)) {
            return;
        }
        m_pAround = link.around;
        std::vector<std::u16string> names;
        if (link.around->contains(link.target)) {
            m_visitor.Tell(NoticeReason::LeadsBack, link.path);
        } else if (!m_taken.insert(link.target).second) {
            m_visitor.Tell(NoticeReason::FolderTaken, link.path);
        } else if (!List(link.path, &names)) {
            m_visitor.Tell(NoticeReason::FolderUnreadable, link.path);
        } else {
            AddNames(link.directory, link.path, std::move(names));
        }
    }
}

// Reads the names in a folder. False if it has become something else since its status was taken. A
// folder that can't be read is reported; what could be read of it counts.
bool FolderWalk::List(const std::u16string& path, std::vector<std::u16string>* names) {
    const bool whole = m_files.Enumerate(path, names);
    if (m_order == Order::ByName) {
        std::ranges::sort(*names, ReadsBefore);
    } else {
        std::ranges::sort(*names);
    }
    if (whole) {
        return true;
    }
    if (!names->empty()) {
        m_visitor.Tell(NoticeReason::FolderIncomplete, path);
        return true;
    }
    FileStatus status;
    if (m_files.Status(path, &status) && status.type != FileStatus::Type::Folder) {
        return false;
    }
    m_visitor.Tell(NoticeReason::FolderUnreadable, path);
    return true;
}

void FolderWalk::AddNames(IsoDirectory* directory, const std::u16string& path,
                          std::vector<std::u16string> names) {
    const WalkPlace place = m_visitor.Open(directory, path);
    std::vector<FoundName> folders;
    std::unique_ptr<IFolder> here = m_files.OpenFolder(path);
    for (std::u16string& name : names) {
        if (!m_visitor.GoesOn(path)) {
            return;
        }
        if (!m_visitor.Wants(path, name)) {
            continue;
        }
        FoundName found = {std::move(name), {}, {}};
        found.path = JoinPath(path, found.name);
        if (!here->Status(found.name, &found.status)) {
            m_visitor.Tell(WhyMissing(m_files, found.path), found.path);
        } else if (found.status.type == FileStatus::Type::Folder) {
            folders.push_back(std::move(found));
        } else {
            AddFile(place, *here, std::move(found));
        }
    }
    here.reset(); // a deep tree must not use up all descriptors
    names = {};
    for (FoundName& folder : folders) {
        if (!m_visitor.GoesOn(path)) {
            return;
        }
        if (m_files.IsLink(folder.path)) {
            IsoDirectory* const empty =
                m_visitor.Folder(place, folder.name, folder.path, folder.status);
            m_links.push_back({empty, std::move(folder.path), IdentityOf(folder.status), Around()});
        } else {
            AddFolder(place, std::move(folder));
        }
    }
}

// Anything but a folder.
void FolderWalk::AddFile(const WalkPlace& place, IFolder& folder, FoundName file) {
    if (file.status.type != FileStatus::Type::Regular) {
        m_visitor.Tell(NoticeReason::Special, file.path);
    } else if (!folder.IsReadable(file.name, file.status)) {
        m_visitor.Tell(NoticeReason::Unreadable, file.path);
    } else if (file.status.size >= m_nSizeLimit) {
        m_visitor.Tell(NoticeReason::TooLarge, file.path);
    } else {
        m_visitor.File(place, std::move(file.name), file.path, file.status);
    }
}

void FolderWalk::AddFolder(const WalkPlace& place, FoundName folder) {
    if (!m_pEntered->insert(IdentityOf(folder.status)).second) {
        m_visitor.Folder(place, folder.name, folder.path, folder.status);
        m_visitor.Tell(NoticeReason::FolderTaken, folder.path);
        return;
    }
    std::vector<std::u16string> names;
    if (!List(folder.path, &names)) {
        folder.status.type = FileStatus::Type::Regular;
        folder.status.mode = (folder.status.mode & ~kModeTypeMask) | kModeRegular;
        folder.status.size = 0;
        const std::unique_ptr<IFolder> around =
            m_files.OpenFolder(std::u16string(ParentPath(folder.path)));
        AddFile(place, *around, std::move(folder));
        return;
    }
    IsoDirectory* const directory =
        m_visitor.Folder(place, folder.name, folder.path, folder.status);
    AddNames(directory, folder.path, std::move(names));
}

// The folders around the current item, whatever links its path goes through. After a link, those of
// the link.
const FolderWalk::Identities* FolderWalk::Around() {
    if (m_pAround == nullptr) {
        Identities& around = m_arounds.emplace_back();
        std::u16string path = *m_pItem;
        FileStatus status;
        do {
            path = JoinPath(path, u"..");
        } while (m_files.Status(path, &status) && around.insert(IdentityOf(status)).second);
        m_pAround = &around;
    }
    return m_pAround;
}

NoticeReason WhyMissing(IFileSystem& files, const std::u16string& path) {
    switch (files.WhyAbsent(path)) {
    case Absence::LeadsNowhere:
        return NoticeReason::LeadsNowhere;
    case Absence::Forbidden:
        return NoticeReason::Forbidden;
    case Absence::Unreachable:
        return NoticeReason::Unreachable;
    case Absence::NotThere:
        break;
    }
    return NoticeReason::Missing;
}

} // namespace larkspin
