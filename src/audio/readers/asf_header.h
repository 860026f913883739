// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The few facts of an ASF header that are needed before trying a decoder: whether the content is
// encrypted, and how long it plays. From the ASF specification, revision 01.20.03.
//
// The walk is bounded: it reads a fixed number of bytes for each object and at most kMaxAsfObjects
// objects, and does not trust a size that exceeds the enclosing object.
#pragma once

#include "platform/files.h"

#include <cstdint>
#include <optional>

namespace larkspin {

constexpr int kMaxAsfObjects = 4096;

struct AsfHeader {
    // There is a Content Encryption, Extended or Advanced Content Encryption Object.
    bool isProtected = false;
    // Actual playing time in units of 100 ns: the play duration less the preroll, which players
    // buffer and do not play. Nothing for a file that was streamed and never completed.
    std::optional<uint64_t> duration;
};

// Reads from the start of `file` and leaves its position anywhere. Nothing if the file does not
// begin with an ASF header.
std::optional<AsfHeader> ReadAsfHeader(ISequentialFile& file);

} // namespace larkspin
