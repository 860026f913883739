// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Tags, which stand around the sound of a file and are no part of it: ID3v2 (2.2 to 2.4), ID3v1
// and APE tags. Their contents may look like frames of sound, so that they have to be stepped over
// by their own sizes.
#pragma once

#include "platform/files.h"

#include <cstdint>
#include <span>

namespace larkspin {

// Bytes of the ID3v2 or APE tag that starts at the front of `head`, with its header and footer; 0
// if none does. 32 bytes of it are enough. Nobody has checked that the file is that long.
uint64_t TagBytes(std::span<const uint8_t> head);

// Offset behind the last byte of `file` that belongs to no tag; 0 for a file whose size can't be
// told. Only tags that stand at the very end of the file are seen, any number of each kind. Leaves
// the file's position anywhere.
uint64_t OffsetOfTagsBehind(ISequentialFile& file);

} // namespace larkspin
