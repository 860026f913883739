// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The walk over the paths of a queue: one set of rules for all who ask what lies below them, the
// measures, the estimate, the tracks of an audio disc and the tree of a volume.
//
// Links are followed. A folder is known by device and inode. Below one item of the queue, and
// wherever links lead to, each is entered once; where it comes again it stays empty, and is told.
// Folders proper come first, and what links lead to when all items have been walked: so a folder's
// contents stand at their own place. A link to a folder around the item that it lies in is not
// followed, and told: it would bring in what nobody has picked. Two items that overlap were both
// picked by the user, and each is walked as a whole.
//
// The files of a folder come before those of its sub-folders. Devices, pipes and sockets are never
// opened.
#pragma once

#include "platform/files.h"
#include "volume/model/volume_notice.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <unordered_set>
#include <vector>

namespace larkspin {

struct IsoDirectory;

// Where names are found: the folder on disk, and what the visitor has made of it.
struct WalkPlace {
    IsoDirectory* directory = nullptr;
    const std::u16string* folder = nullptr; // lives as long as names of the folder come
};

// What the walk tells of. Exceptions end the walk.
class IWalkVisitor {
  public:
    virtual ~IWalkVisitor() = default;

    // Asked before each name. False ends the walk.
    virtual bool GoesOn(const std::u16string& folder) = 0;
    // False passes over the name.
    virtual bool Wants(const std::u16string& folder, const std::u16string& name) = 0;
    // Names of `folder` come next.
    virtual WalkPlace Open(IsoDirectory* directory, const std::u16string& folder) = 0;
    // A file that can be read.
    virtual void File(const WalkPlace& place, std::u16string name, const std::u16string& path,
                      const FileStatus& status) = 0;
    // A folder; its names may come later, or never. The result is given to Open then.
    virtual IsoDirectory* Folder(const WalkPlace& place, const std::u16string& name,
                                 const std::u16string& path, const FileStatus& status) = 0;
    // What is left out, or not as it stands on disk.
    virtual void Tell(NoticeReason reason, const std::u16string& path) = 0;
};

class FolderWalk {
  public:
    // The order of what a folder holds. Sorting by units costs less than it gains: a volume has its
    // names in nearly that order, and so walks through memory as it was filled.
    enum class Order {
        ByUnits,
        ByName, // of ReadsBefore
    };

    // The references are kept. Files of `sizeLimit` bytes or more have no place on the disc.
    FolderWalk(IFileSystem& files, IWalkVisitor& visitor, uint64_t sizeLimit,
               Order order = Order::ByUnits)
        : m_files(files), m_visitor(visitor), m_nSizeLimit(sizeLimit), m_order(order) {}

    // Walks an item of that status, but for links to folders. The names of one that counts as a
    // folder by its text (paths.h) come straight into `directory`.
    void Add(const std::u16string& item, const FileStatus& status, IsoDirectory* directory);
    // Walks what the links lead to that Add has met. To be called once, at the end.
    void FollowLinks();

  private:
    struct Identity {
        uint64_t device = 0;
        uint64_t inode = 0;
        bool operator==(const Identity&) const = default;
    };
    struct IdentityHash {
        size_t operator()(const Identity& identity) const {
            return identity.inode * 31 + identity.device;
        }
    };
    using Identities = std::unordered_set<Identity, IdentityHash>;
    struct FoundName {
        std::u16string name;
        std::u16string path;
        FileStatus status;
    };
    struct FoundLink {
        IsoDirectory* directory;
        std::u16string path;
        Identity target;
        const Identities* around;
    };

    static Identity IdentityOf(const FileStatus& status) { return {status.device, status.inode}; }
    bool List(const std::u16string& path, std::vector<std::u16string>* names);
    void AddFile(const WalkPlace& place, IFolder& folder, FoundName file);
    void AddFolder(const WalkPlace& place, FoundName folder);
    void AddNames(IsoDirectory* directory, const std::u16string& path,
                  std::vector<std::u16string> names);
    const Identities* Around();

    IFileSystem& m_files;
    IWalkVisitor& m_visitor;
    const uint64_t m_nSizeLimit;
    const Order m_order;
    Identities m_inItem;              // folders entered below the present item
    Identities m_taken;               // folders entered below earlier items, then behind links too
    Identities* m_pEntered = nullptr; // which of the two counts now
    const std::u16string* m_pItem = nullptr;
    std::deque<Identities> m_arounds;      // of the items that hold links
    const Identities* m_pAround = nullptr; // the one for the links that are found now
    std::deque<FoundLink> m_links;
};

// Why a name that has no status is not on the disc.
NoticeReason WhyMissing(IFileSystem& files, const std::u16string& path);

} // namespace larkspin
