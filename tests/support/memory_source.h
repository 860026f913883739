// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A source over bytes in memory, for tests: hands out short reads, fails where it is told to, and
// calls back at every read.
#pragma once

#include "platform/byte_stream.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <utility>
#include <vector>

namespace larkspin {

class MemorySource final : public IByteSource {
  public:
    // At most `largestRead` bytes are delivered at a time.
    explicit MemorySource(std::vector<uint8_t> bytes, size_t largestRead = SIZE_MAX)
        : m_bytes(std::move(bytes)), m_nLargestRead(largestRead) {}

    // The read that would begin at or behind this position fails.
    void FailAt(size_t position) { m_nFailAt = position; }
    // Called at the start of each read with the position.
    void SetOnRead(std::function<void(size_t)> onRead) { m_onRead = std::move(onRead); }
    size_t Position() const { return m_nPosition; }

    std::ptrdiff_t Read(void* buffer, size_t bytes) override {
        if (m_onRead) {
            m_onRead(m_nPosition);
        }
        if (m_nPosition >= m_nFailAt) {
            return -1;
        }
        const size_t end = std::min(m_bytes.size(), m_nFailAt);
        const size_t count = std::min({bytes, m_nLargestRead, end - m_nPosition});
        if (count > 0) {
            std::memcpy(buffer, m_bytes.data() + m_nPosition, count);
        }
        m_nPosition += count;
        return static_cast<std::ptrdiff_t>(count);
    }

  private:
    std::vector<uint8_t> m_bytes;
    size_t m_nLargestRead;
    size_t m_nFailAt = SIZE_MAX;
    size_t m_nPosition = 0;
    std::function<void(size_t)> m_onRead;
};

} // namespace larkspin
