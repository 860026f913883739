// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The source tree: the single in-memory model of the volume, of which ISO 9660, Joliet, Rock Ridge
// and UDF are views. A file's contents are stored on the volume once, and every view refers to
// them.
//
// Entries and directories belong to their IsoTree and live until it is cleared; all pointers here
// are non-owning references into it. Used only by the generator's thread.
#pragma once

#include "volume/model/directory_record.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace larkspin {

struct IsoDirectory;

// Bits of IsoEntry::flags.
inline constexpr uint32_t kEntryMayBeKept = 0x0001; // contents may stay in the previous session
inline constexpr uint32_t kEntryNotInJoliet = 0x0008;
inline constexpr uint32_t kEntryPlaceholder = 0x0020; // takes the place of a relocated directory
inline constexpr uint32_t kEntryNotInIso = 0x0040;
inline constexpr uint32_t kEntryBootCatalog = 0x0080;

// Bits of IsoDirectory::flags.
inline constexpr uint16_t kDirectoryHasDot = 0x0002;
inline constexpr uint16_t kDirectoryHasDotDot = 0x0004;
inline constexpr uint16_t kDirectoryNotInJoliet = 0x0008;
inline constexpr uint16_t kDirectoryNotInIso = 0x0040;

// IsoEntry::priority: decides who keeps the name in a clash.
inline constexpr uint16_t kPriorityUnset = 0;
inline constexpr uint16_t kPriorityOrdinary = 0x7FFF;
inline constexpr uint16_t kPriorityFixed = 0x8000; // relocation, boot catalog

// IsoEntry::inode and device of entries without a file on disk.
inline constexpr uint16_t kNoInode = 0x7FFF;
inline constexpr uint16_t kMemoryInode = 0x7FFE; // has memory_contents
inline constexpr uint32_t kNoDevice = 0x7FFFFFFF;
inline constexpr uint32_t kPreviousSessionDevice = 0x7FFFFFFD;

// A file of this size or more does not fit on any volume.
inline constexpr uint64_t kFileSizeLimit = uint64_t{kMostSectors} * kSectorBytes;

// One name in a directory, including "." and "..".
struct IsoEntry {
    IsoEntry* next = nullptr;        // chain of the ISO view
    IsoEntry* joliet_next = nullptr; // chain of the Joliet view
    DirectoryRecord record;
    uint32_t start_sector = 0; // first sector of the contents
    uint64_t size = 0;         // size of the contents in bytes, all sections together
    uint16_t priority = kPriorityUnset;
    uint16_t inode = kNoInode;
    uint32_t device = kNoDevice;
    uint32_t flags = 0;
    std::u16string name; // the name on disk, shown by Joliet, Rock Ridge and UDF
    // Contents held in memory instead of in a file, or null.
    std::unique_ptr<std::vector<uint8_t>> memory_contents;
    // The folder on disk that holds the file; null if there is no file on disk.
    const std::u16string* source_folder = nullptr;
    // The file's name on disk if it is not `name`, or null.
    const std::u16string* source_name = nullptr;
    // What Joliet and UDF show if `name` would clash with another entry there, or null.
    const std::u16string* joliet_name = nullptr;
    IsoDirectory* directory = nullptr;     // holds this entry
    IsoDirectory* own_directory = nullptr; // its `self` is this; null for files and dots
    // Link between the entry of a relocated directory and the placeholder at its real place.
    IsoEntry* relocated_from = nullptr;
    IsoEntry* relocated_to = nullptr;
    // Further records with this entry's name: the other sections of its file (see sections.h) and,
    // in a previous session, associated files. They come right before it, linked through `next`.
    IsoEntry* same_name = nullptr;
    std::vector<uint8_t> rr_data; // System Use data, continuation areas included
    uint32_t rr_inline_size = 0;  // how much of rr_data is in the directory record
    uint32_t udf_entry_sector = 0;
    uint8_t joliet_record_length = 0;
    bool rr_name_seen = false; // an NM entry of a previous session gave `name`

    bool Has(uint32_t flag) const { return (flags & flag) != 0; }
    // The path on disk; empty when there is none.
    std::u16string SourcePath() const;
    // Length on disc of the ISO record with its System Use data; may exceed 255, which no record
    // can hold.
    uint32_t RecordLength() const;
};

// One directory of the volume.
struct IsoDirectory {
    IsoDirectory* next = nullptr; // next sibling
    IsoDirectory* first_child = nullptr;
    IsoDirectory* last_child = nullptr;
    IsoDirectory* parent = nullptr;     // the root is its own parent
    IsoEntry* entries = nullptr;        // latest first until sorted, then in ISO order
    IsoEntry* joliet_entries = nullptr; // in Joliet order, once sorted
    IsoEntry* self = nullptr;           // the entry for this directory in its parent
    std::u16string source_path;         // on disk; empty if it only exists on the volume
    std::u16string leaf_name;
    uint32_t continuation_bytes = 0; // Rock Ridge areas after the directory's own sectors
    uint32_t depth = 0;              // 0 for the root
    uint32_t iso_size = 0;           // bytes, before rounding to sectors
    uint32_t iso_extent = 0;         // absolute sector; 0 until assigned
    uint32_t joliet_size = 0;
    uint32_t joliet_extent = 0;
    uint32_t iso_path_index = 0; // 1-based position in the path tables
    uint32_t joliet_path_index = 0;
    uint16_t flags = 0;

    bool Has(uint16_t flag) const { return (flags & flag) != 0; }
    // Puts `entry` at the head of the chain and sets its directory to this one.
    void AddEntry(IsoEntry& entry);
    // Removes `entry` from the chain; only before it is sorted.
    void RemoveEntry(const IsoEntry& entry);
    // The parent in the views without relocation: Joliet and UDF.
    IsoDirectory* TrueParent() const;
};

class IsoTree {
  public:
    // `relocationDepth`: the deepest level whose directories may still contain directories.
    explicit IsoTree(uint32_t relocationDepth);

    IsoDirectory& Root() { return *m_pRoot; }
    // Null until the first directory is relocated.
    IsoDirectory* RelocationDirectory() { return m_pRelocation; }
    // `directory` becomes the first child of the root and holds the relocated directories.
    void SetRelocationDirectory(IsoDirectory& directory) { m_pRelocation = &directory; }

    IsoEntry& NewEntry();
    // Always makes a new directory below `parent`, after its other children, with `self` as its
    // entry. Fails if `parent` is too deep to contain directories.
    IsoDirectory& NewDirectory(IsoDirectory& parent, IsoEntry& self, std::u16string sourcePath,
                               std::u16string leafName);
    // The same, but before the other children.
    IsoDirectory& NewFirstDirectory(IsoDirectory& parent, IsoEntry& self, std::u16string sourcePath,
                                    std::u16string leafName);
    // The same as NewDirectory for a directory of a previous session, at any depth.
    IsoDirectory& AdoptDirectory(IsoDirectory& parent, IsoEntry& self);
    // The directory shown as `name` in `parent`, wherever relocation has put it; null if there is
    // none. `name` must have been announced with NameDirectory.
    IsoDirectory* FindDirectory(const IsoDirectory& parent, std::u16string_view name) const;
    void NameDirectory(const IsoDirectory& parent, std::u16string_view name,
                       IsoDirectory& directory);

    // A copy of `path`, or of a name, that lives as long as the tree object, even after Clear.
    const std::u16string* KeepPath(std::u16string path);

    // Frees all entries and directories.
    void Clear();

  private:
    struct Place {
        const IsoDirectory* parent;
        std::u16string name;
        bool operator==(const Place&) const = default;
    };
    struct PlaceHash {
        size_t operator()(const Place& place) const;
    };

    void CheckDepth(const IsoDirectory& parent, const std::u16string& sourcePath) const;
    IsoDirectory& MakeDirectory(IsoDirectory& parent, IsoEntry& self, std::u16string sourcePath,
                                std::u16string leafName);
    static void Append(IsoDirectory& parent, IsoDirectory& directory);

    uint32_t m_nRelocationDepth;
    std::deque<IsoEntry> m_entries;
    std::deque<IsoDirectory> m_directories;
    std::deque<std::u16string> m_paths;
    std::unordered_map<Place, IsoDirectory*, PlaceHash> m_places;
    IsoDirectory* m_pRoot = nullptr;
    IsoDirectory* m_pRelocation = nullptr;
};

// Calls `visit` for each record with the name of `entry` in a directory, in order; the last one is
// `entry` itself.
template <typename Visit>
void ForEachRecord(IsoEntry& entry, Visit&& visit) {
    for (IsoEntry* record = entry.same_name; record != nullptr; record = record->next) {
        visit(*record);
    }
    visit(entry);
}

// Calls `visit` for each directory, depth first: a directory, its subdirectories, its siblings.
template <typename Visit>
void ForEachDirectory(IsoDirectory& top, Visit&& visit) {
    visit(top);
    for (IsoDirectory* child = top.first_child; child != nullptr; child = child->next) {
        ForEachDirectory(*child, visit);
    }
}

} // namespace larkspin
