// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What goes on the disc, extent by extent, for reading it back: places and names, a few dozen bytes
// each.
//
// Padding (before the descriptors, after a file's last byte, after the files) belongs to no extent.
// Not locked.
#pragma once

#include "volume/model/sectors.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace larkspin {

struct OutputFragment;
struct VolumeRun;

class ExtentList {
  public:
    // In bytes from block 0 of the disc.
    struct Extent {
        uint64_t begin = 0;
        uint64_t bytes = 0;

        uint64_t End() const { return begin + bytes; }
    };

    // Extents are added in disc order, each after the end of the previous one. An empty one is left
    // out.
    void Add(const Extent& extent, const std::u16string& name);
    // A file on disk. Consecutive files of one folder share its path.
    void AddFile(const Extent& extent, const std::u16string& folder, const std::u16string& name);
    void AddEmptyFiles(size_t count) { m_nFiles += count; }
    void Reserve(size_t extents) { m_rows.reserve(extents); }

    size_t Count() const { return m_rows.size(); }
    size_t Files() const { return m_nFiles; }
    uint64_t FileBytes() const { return m_nFileBytes; }
    // The total size.
    uint64_t Bytes() const { return m_nBytes; }
    Extent At(size_t index) const { return m_rows[index].extent; }
    // The path of a file, or the name that was given.
    std::u16string NameOf(size_t index) const;

  private:
    static constexpr uint32_t kNoFolder = UINT32_MAX;

    struct Row {
        Extent extent;
        uint32_t folder;
        uint32_t nameEnd; // in m_strNames; it begins where the previous row's ends
    };

    void AddRow(const Extent& extent, uint32_t folder, const std::u16string& name);

    std::vector<Row> m_rows;
    std::vector<std::u16string> m_folders;
    std::string m_strNames; // native
    size_t m_nFiles = 0;
    uint64_t m_nFileBytes = 0;
    uint64_t m_nBytes = 0;
};

// The extents of a volume whose fragments and files all have their places: the data that the
// fragments send, and each file that this run sends.
ExtentList ListExtents(const VolumeRun& run, const std::vector<OutputFragment>& fragments);

} // namespace larkspin
