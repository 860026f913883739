// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Seeks in a file as decoder libraries do: from the start, the current position or the end.
#pragma once

#include "platform/files.h"

#include <cstdint>
#include <cstdio>

namespace larkspin {

// `whence` is SEEK_SET, SEEK_CUR or SEEK_END. Returns the new offset in bytes from the start, or -1
// if it would lie before the start or seeking fails.
inline int64_t SeekFrom(ISequentialFile& file, int64_t offset, int whence) {
    int64_t base = whence == SEEK_SET ? 0 : -1;
    if (whence == SEEK_CUR) {
        base = file.Tell();
    } else if (whence == SEEK_END) {
        base = file.Size();
    }
    int64_t target = 0;
    if (base < 0 || __builtin_add_overflow(base, offset, &target) || target < 0 ||
        !file.Seek(static_cast<uint64_t>(target))) {
        return -1;
    }
    return target;
}

} // namespace larkspin
