// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Builds the data of an answer: a growing sequence of bytes, with big-endian numbers (SPC, MMC).
#pragma once

#include "platform/byte_order.h"

#include <cstdint>
#include <initializer_list>
#include <span>
#include <vector>

namespace larkspin {

class CAnswer {
  public:
    // Starts with `size` zero bytes, to be filled in by offset.
    explicit CAnswer(size_t size = 0) : m_bytes(size) {}

    size_t Size() const { return m_bytes.size(); }
    std::span<const uint8_t> Bytes() const { return m_bytes; }
    uint8_t& operator[](size_t offset) { return m_bytes[offset]; }

    void Set16(size_t offset, uint32_t value) {
        StoreBe16(&m_bytes[offset], static_cast<uint16_t>(value));
    }
    void Set32(size_t offset, uint32_t value) { StoreBe32(&m_bytes[offset], value); }

    // Appends zero bytes; returns the offset of the first.
    size_t Grow(size_t bytes) {
        m_bytes.resize(m_bytes.size() + bytes);
        return m_bytes.size() - bytes;
    }
    void Append(std::initializer_list<uint8_t> bytes) {
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    }
    void Append(std::span<const uint8_t> bytes) {
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    }
    void Append16(uint32_t value) {
        m_bytes.resize(m_bytes.size() + 2);
        Set16(m_bytes.size() - 2, value);
    }
    void Append32(uint32_t value) {
        m_bytes.resize(m_bytes.size() + 4);
        Set32(m_bytes.size() - 4, value);
    }

  private:
    std::vector<uint8_t> m_bytes;
};

} // namespace larkspin
