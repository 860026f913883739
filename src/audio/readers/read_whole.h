// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Reads from a file that may give less than it is asked for.
#pragma once

#include "platform/files.h"

#include <cstddef>
#include <cstdint>

namespace larkspin {

// Reads until `bytes` are there or the file ends or fails; the count.
inline size_t ReadWhole(ISequentialFile& file, void* buffer, size_t bytes) {
    size_t filled = 0;
    while (filled < bytes) {
        const std::ptrdiff_t got =
            file.Read(static_cast<uint8_t*>(buffer) + filled, bytes - filled);
        if (got <= 0) {
            break;
        }
        filled += static_cast<size_t>(got);
    }
    return filled;
}

} // namespace larkspin
