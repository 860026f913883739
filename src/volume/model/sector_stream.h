// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Passes sectors to the sink: gathers them into larger writes and counts them.
//
// A sink whose reader has gone ends the run: the next write that reaches it throws ReaderGone.
#pragma once

#include "platform/byte_stream.h"
#include "volume/model/sectors.h"

#include <array>
#include <cstdint>
#include <memory>
#include <span>

namespace larkspin {

// Not a failure of the generator, so not of its exception class.
struct ReaderGone {};

class SectorStream {
  public:
    // `firstSector`: the absolute number of the first sector to go out.
    SectorStream(IByteSink& sink, uint32_t firstSector);

    // First sector not yet passed to this stream.
    uint32_t WrittenSector() const { return m_nWrittenSector; }

    // The size of `sectors` is a multiple of 2048 bytes.
    void Write(std::span<const uint8_t> sectors);
    void WriteZeros(uint32_t sectors);

    // Memory for 1 to `sectors` sectors to be filled in place; its contents are undefined.
    std::span<uint8_t> Space(uint32_t sectors);
    // The first `sectors` sectors of the memory from Space have been filled.
    void Commit(uint32_t sectors);

    // Sends whatever is still gathered.
    void Flush();

  private:
    // Large enough to make the cost of a write call negligible, small enough to stay in the
    // processor cache between reading and sending.
    static constexpr uint32_t kBufferSectors = 256;
    // Page-aligned: with an unaligned address, the kernel's copies made a whole run of large files
    // a fifth slower.
    struct alignas(4096) Buffer {
        std::array<uint8_t, size_t{kBufferSectors} * kSectorBytes> bytes;
    };

    void Send(std::span<const uint8_t> bytes);

    IByteSink& m_sink;
    uint32_t m_nWrittenSector;
    std::unique_ptr<Buffer> m_pBuffer;
    size_t m_nFilled = 0;
};

} // namespace larkspin
