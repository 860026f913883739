// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Bootable volumes: the El Torito boot catalog and its Boot Record descriptor, and the boot area in
// the first 16 sectors.
//
// Paths in the volume's tree have their components parted by '\', or by '/' if they begin with it.
//
// With `patch_boot_info` the user's own image file is changed on disk, as boot loaders expect it: a
// table of 56 bytes at byte 8 that says where the image lies. All images are checked before the
// first is patched, and a run that does not come to its end puts the old bytes back, whatever ended
// it.
#pragma once

#include "platform/files.h"
#include "volume/fragment.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace larkspin {

struct VolumeRun;

inline constexpr size_t kBootTableBytes = 56;

// What has been written into boot images during a run. Gives each file its old bytes back when it
// goes, unless Keep was called.
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

// Puts the boot catalog into the tree, at `boot_catalog_path`. The queue must be there already.
void AddBootCatalog(VolumeRun& run);

// The Boot Record Volume Descriptor. Its write step also fills the catalog and patches the images.
OutputFragment BootRecordFragment(VolumeRun& run);

// The first 16 sectors, from `generic_boot_path`.
OutputFragment GenericBootFragment(VolumeRun& run);

} // namespace larkspin
