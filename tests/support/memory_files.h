// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Files in memory. They can give few bytes at a time, fail from an offset on, or never end.
#pragma once

#include "platform/files.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace larkspin {

struct MemoryFileData {
    std::vector<uint8_t> m_bytes;
    size_t m_nMost = SIZE_MAX;    // bytes that one read gives
    size_t m_nFailsAt = SIZE_MAX; // no byte from here on can be read
    bool m_bEndless = false;      // zeros without an end follow the bytes
    std::function<void()> m_onRead = [] {};
    mutable bool m_bCold = false;  // the disk must be waited for
    mutable uint64_t m_nAsked = 0; // bytes that were to be read ahead
};

// Borrows the data.
class MemoryFile final : public ISequentialFile {
  public:
    explicit MemoryFile(const MemoryFileData& data) : m_data(data) {}

    std::ptrdiff_t Read(void* buffer, size_t bytes) override {
        m_data.m_onRead();
        if (m_data.m_bCold) { // files that are read on several threads are warm
            m_bWaited = true;
            m_data.m_bCold = false;
        }
        const size_t left = m_data.m_bytes.size() - m_nAt;
        if (left == 0 && m_data.m_bEndless) {
            std::fill_n(static_cast<uint8_t*>(buffer), bytes, uint8_t{0});
            return static_cast<std::ptrdiff_t>(bytes);
        }
        const size_t count = std::min({bytes, m_data.m_nMost, left});
        if (m_nAt + count > m_data.m_nFailsAt) {
            return -1;
        }
        std::copy_n(m_data.m_bytes.data() + m_nAt, count, static_cast<uint8_t*>(buffer));
        m_nAt += count;
        return static_cast<std::ptrdiff_t>(count);
    }
    int64_t Size() override { return static_cast<int64_t>(m_data.m_bytes.size()); }
    bool Seek(uint64_t offset) override {
        m_nAt = std::min<uint64_t>(offset, m_data.m_bytes.size());
        return true;
    }
    int64_t Tell() override { return static_cast<int64_t>(m_nAt); }
    bool HasWaited() const override { return m_bWaited; }
    void Prefetch(uint64_t bytes) override {
        m_data.m_bCold = false;
        m_data.m_nAsked += bytes;
    }

  private:
    const MemoryFileData& m_data;
    bool m_bWaited = false;
    size_t m_nAt = 0;
};

// A file system of one file, whatever name is asked for.
class MemoryFiles final : public IFileSystem, public MemoryFileData {
  public:
    explicit MemoryFiles(std::vector<uint8_t> bytes) { m_bytes = std::move(bytes); }

    bool Status(const std::u16string& /*path*/, FileStatus* status) override {
        *status = {.size = m_bytes.size()};
        return true;
    }
    bool IsLink(const std::u16string& /*path*/) override { return false; }
    bool IsReadable(const std::u16string& /*path*/) override { return true; }
    bool Enumerate(const std::u16string& /*folder*/,
                   std::vector<std::u16string>* /*names*/) override {
        return false;
    }
    std::unique_ptr<ISequentialFile> OpenSequential(const std::u16string& /*path*/) override {
        return std::make_unique<MemoryFile>(*this);
    }
};

} // namespace larkspin
