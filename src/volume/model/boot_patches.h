// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The boot information tables of a run. As boot loaders expect it, the user's own image files are
// changed on disk: a table of 56 bytes at byte 8 says where the image lies. A run that does not
// complete restores the old bytes, whatever ended it.
#pragma once

#include "platform/files.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace larkspin {

// Bytes from the start of an image to its table.
inline constexpr uint64_t kBootTableOffset = 8;
inline constexpr size_t kBootTableBytes = 56;

// What has been written into boot images during a run. The destructor restores each file's old
// bytes unless Keep was called.
class BootPatches {
  public:
    struct Patch {
        std::u16string path; // on disk
        std::array<uint8_t, kBootTableBytes> old = {};
        std::array<uint8_t, kBootTableBytes> table = {};
    };

    explicit BootPatches(IFileSystem& files) : m_files(files) {}
    BootPatches(const BootPatches&) = delete;
    BootPatches& operator=(const BootPatches&) = delete;
    ~BootPatches();

    // False if the file cannot be written.
    bool Apply(const Patch& patch);
    bool HasPatched(const std::u16string& path) const;
    void Keep() { m_applied.clear(); }

  private:
    IFileSystem& m_files;
    std::vector<Patch> m_applied;
};

} // namespace larkspin
