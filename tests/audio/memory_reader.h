// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A source of given bytes and format, for the tests of the stages.
#pragma once

#include "audio/reader.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

namespace larkspin {

struct SourceFormat {
    int32_t rate = 44100;
    int32_t channels = 2;
    int32_t bits = 16;
};

class MemoryReader final : public CReader {
  public:
    // Gives at most `most` bytes in one read.
    MemoryReader(std::vector<uint8_t> bytes, SourceFormat format, uint32_t most = UINT32_MAX)
        : m_bytes(std::move(bytes)), m_nMost(most) {
        m_nLength = static_cast<int32_t>(m_bytes.size());
        m_nSampleRate = format.rate;
        m_nChannels = format.channels;
        m_nBits = format.bits;
    }
    void Read(void* buffer, uint32_t bytes, uint32_t* bytesRead) override {
        const size_t count = std::min<size_t>({bytes, m_nMost, m_bytes.size() - m_nAt});
        std::copy_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(m_nAt), count,
                    static_cast<uint8_t*>(buffer));
        m_nAt += count;
        if (bytesRead != nullptr) {
            *bytesRead = static_cast<uint32_t>(count);
        }
    }

  private:
    std::vector<uint8_t> m_bytes;
    uint32_t m_nMost;
    size_t m_nAt = 0;
};

} // namespace larkspin
