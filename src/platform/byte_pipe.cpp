// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "platform/byte_pipe.h"

#include <algorithm>
#include <cstring>

namespace larkspin {

// Bytes are copied outside the lock: the range from m_nHead to m_nHead + m_nFilled is only accessed
// by the reader, and the rest of the ring only by the writer.

BytePipe::BytePipe(size_t capacity)
    : m_nCapacity(std::max<size_t>(capacity, 1)), m_pRing(new std::byte[m_nCapacity]) {}

std::ptrdiff_t BytePipe::Read(void* buffer, size_t bytes) {
    return bytes == 0 ? 0 : static_cast<std::ptrdiff_t>(Take(buffer, bytes, 1));
}

size_t BytePipe::ReadFully(void* buffer, size_t bytes) {
    auto* const to = static_cast<std::byte*>(buffer);
    // At most half: a waiting writer and a waiting reader must not block each other.
    const size_t half = std::max<size_t>(m_nCapacity / 2, 1);
    size_t filled = 0;
    while (filled < bytes) {
        const size_t left = bytes - filled;
        const size_t got = Take(to + filled, left, std::min(left, half));
        if (got == 0) {
            break;
        }
        filled += got;
    }
    return filled;
}

// Waits for `wanted` bytes or the end of the stream, then takes up to `bytes`.
size_t BytePipe::Take(void* buffer, size_t bytes, size_t wanted) {
    std::unique_lock lock(m_mutex);
    m_nWanted = wanted;
    m_readable.wait(lock,
                    [this] { return m_nFilled >= m_nWanted || m_bWriteClosed || m_bReadClosed; });
    if (m_bReadClosed || m_nFilled == 0) {
        return 0;
    }
    const size_t head = m_nHead;
    const size_t count = std::min(bytes, m_nFilled);
    lock.unlock();
    const size_t first = std::min(count, m_nCapacity - head);
    std::memcpy(buffer, m_pRing.get() + head, first);
    std::memcpy(static_cast<std::byte*>(buffer) + first, m_pRing.get(), count - first);
    lock.lock();
    m_nHead = (head + count) % m_nCapacity;
    m_nFilled -= count;
    const bool halfFree = m_nFilled <= m_nCapacity / 2;
    lock.unlock();
    if (halfFree) {
        m_writable.notify_one();
    }
    return count;
}

bool BytePipe::Write(const void* data, size_t bytes) {
    const auto* from = static_cast<const std::byte*>(data);
    std::unique_lock lock(m_mutex);
    while (bytes > 0) {
        if (m_nFilled == m_nCapacity) {
            m_writable.wait(lock, [this] {
                return m_nFilled <= m_nCapacity / 2 || m_bReadClosed || m_bWriteClosed;
            });
        }
        if (m_bReadClosed || m_bWriteClosed) {
            return false;
        }
        const size_t tail = (m_nHead + m_nFilled) % m_nCapacity;
        const size_t count = std::min(bytes, m_nCapacity - m_nFilled);
        lock.unlock();
        const size_t first = std::min(count, m_nCapacity - tail);
        std::memcpy(m_pRing.get() + tail, from, first);
        std::memcpy(m_pRing.get(), from + first, count - first);
        from += count;
        bytes -= count;
        lock.lock();
        m_nFilled += count;
        if (m_nFilled >= m_nWanted) {
            m_readable.notify_one();
        }
    }
    return !m_bReadClosed && !m_bWriteClosed;
}

void BytePipe::CloseRead() {
    {
        const std::lock_guard lock(m_mutex);
        m_bReadClosed = true;
    }
    m_readable.notify_all();
    m_writable.notify_all();
}

void BytePipe::CloseWrite() {
    {
        const std::lock_guard lock(m_mutex);
        m_bWriteClosed = true;
    }
    m_readable.notify_all();
    m_writable.notify_all();
}

} // namespace larkspin
