// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Tags, which surround the sound of a file without being part of it: ID3v2 (2.2 to 2.4), ID3v1 and
// APE tags. Their contents may look like frames of sound, so they must be skipped according to
// their own sizes.
#pragma once

#include "platform/files.h"

#include <cstdint>
#include <span>

namespace larkspin {

// Bytes of the ID3v2 or APE tag at the start of `head`, including its header and footer; 0 if there
// is none. 32 bytes are enough. The file may be shorter than that.
uint64_t TagBytes(std::span<const uint8_t> head);

// The end of what belongs to no tag at the end of `file`; 0 if the file's size is unknown. Only
// tags at the very end of the file count, any number of each kind. Leaves the file's position
// anywhere.
uint64_t OffsetOfTagsBehind(ISequentialFile& file);

} // namespace larkspin
