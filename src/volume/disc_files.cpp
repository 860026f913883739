// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/disc_files.h"

#include "platform/paths.h"
#include "volume/iso_gen.h"
#include "volume/merge/old_directory.h"
#include "volume/merge/previous_disc.h"

#include <algorithm>
#include <utility>

namespace larkspin {

namespace {

class Lister {
  public:
    Lister(IBlockReader& drive, uint32_t end) : m_disc(drive, end, end), m_reader(m_disc) {}

    DiscVolume List(uint32_t start, const std::function<bool()>& goOn) {
        OldExtent root;
        try {
            root = m_disc.FindPreviousRoot(start);
        } catch (const CCDWriterISOGenException&) {
            return {};
        }
        m_volume.end = uint64_t{m_disc.VolumeEnd()} * kSectorBytes;
        m_pending.push_back({root, u"/"});
        try {
            m_reader.DetectRockRidge(root);
        } catch (const CCDWriterISOGenException&) {
            // The root reports its own problems.
        }
        while (!m_pending.empty() && goOn()) {
            const Folder folder = std::move(m_pending.back());
            m_pending.pop_back();
            ReadFolder(folder);
        }
        AddExtents();
        return std::move(m_volume);
    }

  private:
    struct Folder {
        OldExtent extent;
        std::u16string path;
    };
    struct Found {
        ExtentList::Extent extent;
        std::u16string folder;
        std::u16string name; // empty: the folder itself
    };

    static std::u16string FolderName(const std::u16string& path) { return u"Folder " + path; }
    static ExtentList::Extent InBytes(const OldExtent& extent) {
        return {uint64_t{extent.sector} * kSectorBytes, extent.bytes};
    }

    void ReadFolder(const Folder& folder) {
        if (m_disc.Holds(folder.extent)) {
            m_found.push_back({InBytes(folder.extent), folder.path, u""});
        }
        try {
            for (const OldEntry& old : m_reader.Read(folder.extent)) {
                AddEntry(folder, old);
            }
        } catch (const CCDWriterISOGenException&) {
            m_volume.problems.push_back(FolderName(folder.path) + u": nobody knows what is in it");
        }
    }

    void AddEntry(const Folder& folder, const OldEntry& old) {
        const IsoEntry& entry = old.entry;
        // The target of a CL is listed where it lies.
        if (entry.record.IsDots() || old.child_link) {
            return;
        }
        if (entry.record.IsDirectory()) {
            m_pending.push_back({OldExtent::Of(entry.record), JoinPath(folder.path, entry.name)});
            return;
        }
        ++m_volume.files;
        if (old.is_broken) {
            m_volume.problems.push_back(JoinPath(folder.path, entry.name) +
                                        u": is not on the disk as a whole");
            return;
        }
        AddFile(folder, entry.name, entry.record);
        for (const IsoEntry& section : old.same_name) {
            AddFile(folder, entry.name, section.record);
        }
    }

    void AddFile(const Folder& folder, const std::u16string& name, const DirectoryRecord& record) {
        m_volume.fileBytes += record.size;
        m_found.push_back({InBytes(OldExtent::Of(record)), folder.path, name});
    }

    void AddExtents() {
        std::ranges::stable_sort(m_found, {},
                                 [](const Found& found) { return found.extent.begin; });
        uint64_t done = 0;
        for (const Found& found : m_found) {
            const uint64_t end = found.extent.End();
            const uint64_t begin = std::max(found.extent.begin, done);
            if (begin >= end) {
                continue;
            }
            const ExtentList::Extent extent = {begin, end - begin};
            if (found.name.empty()) {
                m_volume.extents.Add(extent, FolderName(found.folder));
            } else {
                m_volume.extents.AddFile(extent, found.folder, found.name);
            }
            done = end;
        }
    }

    PreviousDisc m_disc;
    OldDirectoryReader m_reader;
    std::vector<Folder> m_pending;
    std::vector<Found> m_found;
    DiscVolume m_volume;
};

} // namespace

DiscVolume ListVolume(IBlockReader& drive, uint32_t start, uint32_t end,
                      const std::function<bool()>& goOn) {
    return Lister(drive, end).List(start, goOn);
}

} // namespace larkspin
