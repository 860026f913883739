// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/model/boot_patches.h"

#include <algorithm>
#include <new>

namespace larkspin {

BootPatches::~BootPatches() {
    try {
        for (auto patch = m_applied.rbegin(); patch != m_applied.rend(); ++patch) {
            m_files.PatchBytes(patch->path, kBootTableOffset, patch->old);
        }
    } catch (const std::bad_alloc&) {
        return; // the run is ending for lack of memory, and there is nobody left to tell
    }
}

bool BootPatches::HasPatched(const std::u16string& path) const {
    return std::ranges::any_of(m_applied,
                               [&path](const Patch& patch) { return patch.path == path; });
}

bool BootPatches::Apply(const Patch& patch) {
    m_applied.push_back(patch); // first, because a failed write may have been partly done
    return m_files.PatchBytes(patch.path, kBootTableOffset, patch.table);
}

} // namespace larkspin
