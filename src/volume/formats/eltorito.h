// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Bootable volumes: the El Torito boot catalog and its Boot Record descriptor, and the boot area in
// the first 16 sectors.
//
// The components of paths in the volume's tree are separated by '\', or by '/' if the path begins
// with '/'.
//
// With `patch_boot_info` the user's own image file is changed on disk (boot_patches.h). All images
// are checked before the first is patched.
#pragma once

#include "volume/model/fragment.h"

namespace larkspin {

struct VolumeRun;

// Puts the boot catalog into the tree, at `boot_catalog_path`. The queue must be there already.
void AddBootCatalog(VolumeRun& run);

// The Boot Record Volume Descriptor. Its write step also fills the catalog and patches the images.
OutputFragment BootRecordFragment(VolumeRun& run);

// The first 16 sectors, from `generic_boot_path`.
OutputFragment GenericBootFragment(VolumeRun& run);

} // namespace larkspin
