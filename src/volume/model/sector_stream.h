// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The way of sectors to the sink: gathers them into larger writes and counts them.
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
    // `firstSector`: the absolute number of the first sector that goes out.
    SectorStream(IByteSink& sink, uint32_t firstSector);

    // First sector not yet handed to this stream.
    uint32_t WrittenSector() const { return m_nWrittenSector; }

    // `sectors` is a multiple of 2048 bytes long.
    void Write(std::span<const uint8_t> sectors);
    void WriteZeros(uint32_t sectors);

    // Memory of 1 to `sectors` sectors to be filled in place; its contents are undefined.
    std::span<uint8_t> Space(uint32_t sectors);
    // The first `sectors` sectors of what Space gave are filled.
    void Commit(uint32_t sectors);

    // Sends what is still gathered.
    void Flush();

  private:
    // Large enough that the cost of a write call vanishes, small enough to stay in the processor's
    // cache between reading and sending.
    static constexpr uint32_t kBufferSectors = 256;
    // On a page's border: the kernel's copies to and from an address that isn't aligned made the
    // whole run of large files a fifth longer.
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
