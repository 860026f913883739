// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Typed writers for the fields of disc structures, and the matching readers.
//
// Offsets are in bytes from the start of the structure, counted from 0.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <span>
#include <string_view>

namespace larkspin {

class FieldWriter {
  public:
    explicit FieldWriter(std::span<uint8_t> bytes) : m_bytes(bytes) {}

    void U8(size_t offset, uint8_t value) { Number(offset, value, 1, false); }
    void Little16(size_t offset, uint16_t value) { Number(offset, value, 2, false); }
    void Little32(size_t offset, uint32_t value) { Number(offset, value, 4, false); }
    void Little64(size_t offset, uint64_t value) { Number(offset, value, 8, false); }
    void Big16(size_t offset, uint16_t value) { Number(offset, value, 2, true); }
    void Big32(size_t offset, uint32_t value) { Number(offset, value, 4, true); }
    // ECMA-119 7.2.3 and 7.3.3: the value twice, little-endian first.
    void Both16(size_t offset, uint16_t value) {
        Little16(offset, value);
        Big16(offset + 2, value);
    }
    void Both32(size_t offset, uint32_t value) {
        Little32(offset, value);
        Big32(offset + 4, value);
    }
    void Bytes(size_t offset, std::span<const uint8_t> bytes) {
        assert(offset + bytes.size() <= m_bytes.size());
        std::copy(bytes.begin(), bytes.end(), m_bytes.begin() + offset);
    }
    // The bytes of `text` without padding.
    void Text(size_t offset, std::string_view text) {
        assert(offset + text.size() <= m_bytes.size());
        std::copy(text.begin(), text.end(), m_bytes.begin() + offset);
    }
    // `text` in a field of `width` bytes, truncated or padded with spaces.
    void PaddedText(size_t offset, size_t width, std::string_view text) {
        Fill(offset, width, ' ');
        Text(offset, text.substr(0, width));
    }
    void Fill(size_t offset, size_t width, uint8_t value) {
        assert(offset + width <= m_bytes.size());
        std::fill_n(m_bytes.begin() + offset, width, value);
    }
    std::span<uint8_t> Field(size_t offset, size_t width) { return m_bytes.subspan(offset, width); }

  private:
    void Number(size_t offset, uint64_t value, size_t width, bool bigEndian) {
        assert(offset + width <= m_bytes.size());
        for (size_t i = 0; i < width; ++i) {
            const size_t place = bigEndian ? width - 1 - i : i;
            m_bytes[offset + place] = static_cast<uint8_t>(value >> (8 * i));
        }
    }

    std::span<uint8_t> m_bytes;
};

inline uint32_t ReadLittle32(std::span<const uint8_t> bytes, size_t offset) {
    assert(offset + 4 <= bytes.size());
    return bytes[offset] | (uint32_t{bytes[offset + 1]} << 8) |
           (uint32_t{bytes[offset + 2]} << 16) | (uint32_t{bytes[offset + 3]} << 24);
}

} // namespace larkspin
