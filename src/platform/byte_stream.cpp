// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "platform/byte_stream.h"

namespace larkspin {

std::optional<size_t> ReadUpTo(IByteSource& source, std::span<uint8_t> buffer, size_t needed) {
    size_t filled = 0;
    while (filled < needed) {
        const std::ptrdiff_t got = source.Read(buffer.data() + filled, buffer.size() - filled);
        if (got < 0) {
            return std::nullopt;
        }
        if (got == 0) {
            break;
        }
        filled += static_cast<size_t>(got);
    }
    return filled;
}

} // namespace larkspin
