// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The walk over the paths of a queue: one set of rules for everything that needs to know what is
// below them, that is the measures, the estimate, the tracks of an audio disc and the tree of a
// volume.
//
// Links are followed. Folders are identified by device and inode. Below one item of the queue, and
// wherever links lead, each folder is entered once; where it appears again it stays empty, which is
// reported. Real folders are walked first, and the targets of links after all items, so that a
// folder's contents appear at their own place. A link to a folder around its own queue item is not
// followed, but reported: it would add what nobody has picked. If two items overlap, the user has
// picked both, and each is walked completely.
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

// Where names are found: the folder on disk, and the directory that the visitor made for it.
struct WalkPlace {
    IsoDirectory* directory = nullptr;
    const std::u16string* folder = nullptr; // valid for as long as names of the folder follow
};

// Receives what the walk finds. Exceptions end the walk.
class IWalkVisitor {
  public:
    virtual ~IWalkVisitor() = default;

    // Called before each name. False ends the walk.
    virtual bool GoesOn(const std::u16string& folder) = 0;
    // False skips the name.
    virtual bool Wants(const std::u16string& folder, const std::u16string& name) = 0;
    // The names of `folder` come next.
    virtual WalkPlace Open(IsoDirectory* directory, const std::u16string& folder) = 0;
    // A readable file.
    virtual void File(const WalkPlace& place, std::u16string name, const std::u16string& path,
                      const FileStatus& status) = 0;
    // A folder. Its names may come later, or never; the result is then passed to Open.
    virtual IsoDirectory* Folder(const WalkPlace& place, const std::u16string& name,
                                 const std::u16string& path, const FileStatus& status) = 0;
    // Something is left out, or differs from what is on disk.
    virtual void Tell(NoticeReason reason, const std::u16string& path) = 0;
};

class FolderWalk {
  public:
    // The order of a folder's contents. Sorting by units costs less than it saves: a volume has its
    // names in nearly that order, so memory is read in the order in which it was filled.
    enum class Order {
        ByUnits,
        ByName, // as by ReadsBefore
    };

    // The references are kept. Files of `sizeLimit` bytes or more don't fit on the disc.
    FolderWalk(IFileSystem& files, IWalkVisitor& visitor, uint64_t sizeLimit,
               Order order = Order::ByUnits)
        : m_files(files), m_visitor(visitor), m_nSizeLimit(sizeLimit), m_order(order) {}

    // Walks an item of that status, except links to folders. The names in an item that counts as a
    // folder by its text (paths.h) go straight into `directory`.
    void Add(const std::u16string& item, const FileStatus& status, IsoDirectory* directory);
    // Walks the targets of the links that Add has found. To be called once, at the end.
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
    Identities m_inItem; // folders entered below the current item
    Identities m_taken;  // folders entered below earlier items, later through links too
    Identities* m_pEntered = nullptr; // which of the two is in use
    const std::u16string* m_pItem = nullptr;
    std::deque<Identities> m_arounds;      // of the items that hold links
    const Identities* m_pAround = nullptr; // the one for the links being found now
    std::deque<FoundLink> m_links;
};

// Why a name without a status is not on the disc.
NoticeReason WhyMissing(IFileSystem& files, const std::u16string& path);

} // namespace larkspin
