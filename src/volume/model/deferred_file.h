// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The contents of a file between getting a place on the volume and being sent.
#pragma once

#include "volume/model/dates.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace larkspin {

struct IsoEntry;

// Contents to stream. Built when addresses are assigned, sent after the tree is gone.
struct DeferredFile {
    IsoEntry* entry = nullptr; // until DetachContents
    uint32_t extent = 0;       // first sector
    uint64_t size = 0;         // bytes, as the scan saw them
    RecordDate date = {};      // of its last change, as the scan saw it
    uint32_t pad_sectors = 0;  // empty sectors after the contents
    // DetachContents fills in the rest.
    const std::u16string* source_folder = nullptr;
    std::u16string name;
    std::unique_ptr<std::vector<uint8_t>> memory_contents;
};

} // namespace larkspin
