// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A file of the operating system, open for reading.
#pragma once

#include "platform/files.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <sys/stat.h>
#include <utility>

namespace larkspin {

// Closes descriptors in batches, with one call for neighbouring numbers, because system calls are
// half the cost of a small file. Used by one thread.
class ClosingBatch {
  public:
    ClosingBatch() = default;
    ClosingBatch(const ClosingBatch&) = delete;
    ClosingBatch& operator=(const ClosingBatch&) = delete;
    ~ClosingBatch() { Flush(); }

    void Add(int fd);
    void Flush();

  private:
    std::array<int, 64> m_fds = {};
    size_t m_nCount = 0;
};

void TakeStatus(const struct stat& st, FileStatus* status);

class PosixFile final : public ISequentialFile {
  public:
    // Takes over `fd`. If `closing` is not null, that will close it.
    explicit PosixFile(int fd, std::shared_ptr<ClosingBatch> closing = nullptr)
        : m_fd(fd), m_pClosing(std::move(closing)) {}
    PosixFile(const PosixFile&) = delete;
    PosixFile& operator=(const PosixFile&) = delete;
    ~PosixFile() override;

    std::ptrdiff_t Read(void* buffer, size_t bytes) override;
    int64_t Size() override;
    bool Seek(uint64_t offset) override;
    int64_t Tell() override;
    bool Status(FileStatus* status) override;
    bool HasWaited() const override { return m_bWaited; }
    void Prefetch(uint64_t bytes) override;

  private:
    const int m_fd;
    const std::shared_ptr<ClosingBatch> m_pClosing;
    bool m_bRead = false;
    bool m_bWaited = false;
};

} // namespace larkspin
