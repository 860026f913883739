// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// An anonymous pipe within the process: one writer thread, one reader thread, a ring of bytes.
//
// A full pipe blocks the writer and an empty one the reader; there is no other flow control. To
// keep the two threads from alternating for every piece, a writer that found the pipe full
// continues when half of it is free. Closing the read end makes a blocked or later Write fail;
// closing the write end gives the reader the end of the stream once the ring is empty. Both ends
// may be closed from any thread, and more than once. The ring's memory is allocated once, at
// construction.
#pragma once

#include "platform/byte_stream.h"

#include <condition_variable>
#include <memory>
#include <mutex>

namespace larkspin {

class BytePipe final : public IByteSource, public IByteSink {
  public:
    // `capacity` in bytes, at least 1. Throws std::bad_alloc.
    explicit BytePipe(size_t capacity);

    std::ptrdiff_t Read(void* buffer, size_t bytes) override; // returns what is there; never -1
    // Waits for all `bytes`; returns the number read, which is less only at the end of the stream.
    size_t ReadFully(void* buffer, size_t bytes);
    bool Write(const void* data, size_t bytes) override;

    void CloseRead();
    void CloseWrite();

  private:
    size_t Take(void* buffer, size_t bytes, size_t wanted);

    size_t m_nCapacity;
    std::unique_ptr<std::byte[]> m_pRing;
    std::mutex m_mutex;
    std::condition_variable m_readable;
    std::condition_variable m_writable;
    size_t m_nHead = 0;   // where the next byte is read
    size_t m_nFilled = 0; // bytes in the ring
    size_t m_nWanted = 1; // bytes in the ring for which the reader waits, at most half of it
    bool m_bReadClosed = false;
    bool m_bWriteClosed = false;
};

} // namespace larkspin
