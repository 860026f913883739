// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The kinds of media that a disc folder can hold.
#pragma once

#include "virtualdrive/medium.h"

#include <cstdint>
#include <memory>
#include <string_view>

namespace larkspin {

struct MediumKind {
    std::string_view name; // as in VirtualDrive::CreateDisc
    uint32_t capacity;     // usual capacity in blocks
    std::unique_ptr<IMedium> (*make)(CDiscStore& store);
};

// Null for an unknown name.
const MediumKind* FindMediumKind(std::string_view name);

} // namespace larkspin
