// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Reads from a file that may return less than requested.
#pragma once

#include "platform/files.h"

#include <cstddef>
#include <cstdint>

namespace larkspin {

// Reads until `bytes` have been read or the file ends or fails; returns the number read.
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
