// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Reading past short reads.
#pragma once

#include "platform/byte_stream.h"

#include <cstdint>
#include <optional>
#include <span>

namespace larkspin {

// Reads into `buffer` until its first `needed` bytes are there or the source ends, and gives the
// count of bytes read, which may exceed `needed`; nothing if reading fails. The rest of the buffer
// stays as it is.
std::optional<size_t> ReadUpTo(IByteSource& source, std::span<uint8_t> buffer, size_t needed);

inline std::optional<size_t> ReadUpTo(IByteSource& source, std::span<uint8_t> buffer) {
    return ReadUpTo(source, buffer, buffer.size());
}

} // namespace larkspin
