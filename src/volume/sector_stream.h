// The way of sectors to the sink: gathers them into larger writes and counts them.
//
// A sink whose reader has gone ends the run: the next write that reaches it throws ReaderGone.
#pragma once

#include "platform/byte_stream.h"
#include "volume/sectors.h"

#include <cstdint>
#include <span>
#include <vector>

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
    void Send(std::span<const uint8_t> bytes);

    IByteSink& m_sink;
    uint32_t m_nWrittenSector;
    std::vector<uint8_t> m_buffer;
    size_t m_nFilled = 0;
};

} // namespace larkspin
