// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/model/sector_stream.h"

#include <algorithm>
#include <cassert>

namespace larkspin {

SectorStream::SectorStream(IByteSink& sink, uint32_t firstSector)
    : m_sink(sink), m_nWrittenSector(firstSector), m_pBuffer(std::make_unique<Buffer>()) {}

void SectorStream::Send(std::span<const uint8_t> bytes) {
    if (!bytes.empty() && !m_sink.Write(bytes.data(), bytes.size())) {
        throw ReaderGone();
    }
}

void SectorStream::Write(std::span<const uint8_t> sectors) {
    assert(sectors.size() % kSectorBytes == 0);
    if (sectors.size() > m_pBuffer->bytes.size()) {
        Flush();
        Send(sectors);
    } else {
        if (sectors.size() > m_pBuffer->bytes.size() - m_nFilled) {
            Flush();
        }
        std::copy(sectors.begin(), sectors.end(),
                  m_pBuffer->bytes.begin() + static_cast<std::ptrdiff_t>(m_nFilled));
        m_nFilled += sectors.size();
    }
    m_nWrittenSector += SectorsOf(sectors.size());
}

void SectorStream::WriteZeros(uint32_t sectors) {
    while (sectors > 0) {
        const std::span<uint8_t> space = Space(sectors);
        std::fill(space.begin(), space.end(), uint8_t{0});
        const uint32_t taken = SectorsOf(space.size());
        Commit(taken);
        sectors -= taken;
    }
}

std::span<uint8_t> SectorStream::Space(uint32_t sectors) {
    const size_t wanted = size_t{std::min(sectors, kBufferSectors)} * kSectorBytes;
    if (wanted > m_pBuffer->bytes.size() - m_nFilled) {
        Flush();
    }
    return std::span(m_pBuffer->bytes).subspan(m_nFilled, wanted);
}

void SectorStream::Commit(uint32_t sectors) {
    m_nFilled += size_t{sectors} * kSectorBytes;
    m_nWrittenSector += sectors;
}

void SectorStream::Flush() {
    Send(std::span(m_pBuffer->bytes).first(m_nFilled));
    m_nFilled = 0;
}

} // namespace larkspin
