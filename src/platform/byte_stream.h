// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The ends of a byte stream, and the block device with a previous session.
//
// Each object is used by one thread at a time unless an implementation says otherwise.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace larkspin {

class IByteSource {
  public:
    virtual ~IByteSource() = default;

    // Reads up to `bytes` bytes and returns their number, which may be less. 0 is the end of the
    // stream, -1 a failure. Blocks until there is at least one byte, the end or a failure.
    virtual std::ptrdiff_t Read(void* buffer, size_t bytes) = 0;
};

// Reads into `buffer` until its first `needed` bytes are there or the source ends. Returns the
// number of bytes read, which may exceed `needed`; nothing if reading fails. The rest of the buffer
// is not changed.
std::optional<size_t> ReadUpTo(IByteSource& source, std::span<uint8_t> buffer, size_t needed);

inline std::optional<size_t> ReadUpTo(IByteSource& source, std::span<uint8_t> buffer) {
    return ReadUpTo(source, buffer, buffer.size());
}

class IByteSink {
  public:
    virtual ~IByteSink() = default;

    // Writes all of `bytes` bytes, blocking as needed. False if the reader has gone or the write
    // failed; how much was written before that is unknown.
    virtual bool Write(const void* data, size_t bytes) = 0;
};

// A disc that can be read in blocks of 2048 bytes.
class IBlockReader {
  public:
    virtual ~IBlockReader() = default;

    // Reads `count` blocks (1 to 16) from block address `lba` into `buffer`. True on success.
    virtual bool ReadBlocks(void* buffer, uint32_t count, uint32_t lba) = 0;
};

} // namespace larkspin
