// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "volume/merge/previous_disc.h"

#include "platform/byte_order.h"
#include "platform/text.h"
#include "volume/formats/iso9660.h"
#include "volume/model/error.h"

#include <algorithm>
#include <cstring>

namespace larkspin {

namespace {

constexpr uint32_t kSectorsPerRead = 16;
constexpr uint32_t kSectorsSearched = 100;
constexpr uint64_t kSpareReads = 1024; // beyond what a normal disc of any size needs
constexpr size_t kMostSectorsKept = 4096;
constexpr uint8_t kTypePrimary = 1;
constexpr size_t kRootRecordBytes = 34;
// A track at once on a CD ends with two unreadable blocks that count as its own.
constexpr uint32_t kRunOutSectors = 2;
constexpr uint32_t kMostZeros = 4096; // examined after the data of a session

bool IsZero(std::span<const uint8_t> bytes) {
    return std::ranges::all_of(bytes, [](uint8_t byte) { return byte == 0; });
}

bool IsPrimaryDescriptor(std::span<const uint8_t> sector) {
    return sector[kVdAtType] == kTypePrimary &&
           std::memcmp(&sector[kVdAtIdentifier], "CD001", 5) == 0;
}

void CheckKind(std::span<const uint8_t> descriptor) {
    const uint16_t blockSize = LoadLe16(&descriptor[kVdAtBlockSize]);
    if (blockSize != kSectorBytes) {
        throw CCDWriterISOGenException(
            FormatWide("Previous session has incompatible sector size %d.", blockSize));
    }
    const uint16_t setSize = LoadLe16(&descriptor[kVdAtVolumeSetSize]);
    if (setSize != 1) {
        throw CCDWriterISOGenException(
            FormatWide("Previous session has volume set size %d (must be 1).", setSize));
    }
}

} // namespace

void FailToMerge() {
    throw CCDWriterISOGenException(u"Cannot merge previous session.");
}

OldExtent OldExtent::Of(const DirectoryRecord& record) {
    const uint64_t sector = uint64_t{record.extent} + record.extended_length;
    if (sector > UINT32_MAX) {
        FailToMerge();
    }
    return {static_cast<uint32_t>(sector), record.size};
}

PreviousDisc::PreviousDisc(IBlockReader& drive, uint32_t endSector, uint32_t newSession)
    : m_drive(drive), m_nEnd(endSector), m_nNewSession(newSession),
      m_nSectorsLeft(2 * uint64_t{newSession} + kSpareReads) {}

bool PreviousDisc::Holds(const OldExtent& extent) const {
    return uint64_t{extent.sector} + SectorsOf(extent.bytes) <= m_nEnd;
}

OldExtent PreviousDisc::FindPreviousRoot(uint32_t start) {
    bool isEmpty = true;
    for (uint32_t i = 0; i < kSectorsSearched && start + i + kRunOutSectors < m_nEnd; ++i) {
        SectorBytes sector;
        Read(sector.data(), 1, start + i);
        isEmpty &= IsZero(sector);
        if (IsPrimaryDescriptor(sector)) {
            CheckKind(sector);
            // Some volumes count from the start of their session, some from that of the disc.
            const uint64_t space = LoadLe32(&sector[kVdAtVolumeSpace]);
            const uint64_t claimed = space > start ? space : start + space;
            MoveEndTo(claimed);
            m_nVolumeEnd = static_cast<uint32_t>(std::min<uint64_t>(claimed, m_nEnd));
            const auto root = DirectoryRecord::Read(
                std::span<const uint8_t>(sector).subspan(kVdAtRootRecord, kRootRecordBytes));
            if (!root) {
                FailToMerge();
            }
            return OldExtent::Of(*root);
        }
    }
    if (isEmpty) {
        throw CutSessionException();
    }
    throw CCDWriterISOGenException(u"Unable to find previous session.");
}

// A volume that claims more than there is was cut off, unless the drive reports too little.
void PreviousDisc::MoveEndTo(uint64_t claimed) {
    if (claimed <= m_nEnd) {
        return;
    }
    const uint32_t proven =
        ProvenEnd(static_cast<uint32_t>(std::min<uint64_t>(claimed, m_nNewSession)));
    m_nEnd = proven > m_nEnd ? proven : m_nEnd - kRunOutSectors;
    m_bIsCut = claimed > m_nEnd;
}

// The sector after the last one before `limit` that has data on it; never below m_nEnd.
uint32_t PreviousDisc::ProvenEnd(uint32_t limit) {
    enum class Content { None, Zeros, Data };
    const auto look = [this](uint32_t sector) {
        SectorBytes bytes;
        return !m_drive.ReadBlocks(bytes.data(), 1, sector) ? Content::None
               : IsZero(bytes)                              ? Content::Zeros
                                                            : Content::Data;
    };
    if (limit <= m_nEnd || look(m_nEnd) == Content::None) {
        return m_nEnd;
    }
    uint32_t end = limit;
    for (uint32_t readable = m_nEnd; end - readable > 1;) {
        const uint32_t middle = readable + (end - readable) / 2;
        (look(middle) != Content::None ? readable : end) = middle;
    }
    // Zeros prove nothing: some drives return them for the gap between two sessions.
    const uint32_t least = end - std::min(end - m_nEnd, kMostZeros);
    while (end > least && look(end - 1) != Content::Data) {
        --end;
    }
    return end > least ? end : m_nEnd;
}

std::vector<uint8_t> PreviousDisc::ReadSectors(const OldExtent& extent) {
    if (!Holds(extent)) {
        if (m_bIsCut) {
            throw CutSessionException();
        }
        FailToMerge();
    }
    const uint32_t count = SectorsOf(extent.bytes);
    std::vector<uint8_t> bytes(size_t{count} * kSectorBytes);
    for (uint32_t done = 0; done < count; done += kSectorsPerRead) {
        Read(bytes.data() + size_t{done} * kSectorBytes, std::min(kSectorsPerRead, count - done),
             extent.sector + done);
    }
    return bytes;
}

void PreviousDisc::Prefetch(std::vector<uint32_t> sectors) {
    m_sectors.clear();
    std::sort(sectors.begin(), sectors.end());
    sectors.erase(std::unique(sectors.begin(), sectors.end()), sectors.end());
    while (!sectors.empty() && sectors.back() >= m_nEnd) {
        sectors.pop_back();
    }
    std::array<SectorBytes, kSectorsPerRead> piece;
    for (size_t i = 0; i < sectors.size();) {
        uint32_t count = 1;
        while (count < kSectorsPerRead && i + count < sectors.size() &&
               sectors[i + count] == sectors[i] + count) {
            ++count;
        }
        Read(piece.data(), count, sectors[i]);
        for (uint32_t k = 0; k < count; ++k) {
            m_sectors.emplace_hint(m_sectors.end(), sectors[i] + k, piece[k]);
        }
        i += count;
    }
}

std::span<const uint8_t> PreviousDisc::Sector(uint32_t sector) {
    if (m_sectors.size() >= kMostSectorsKept) {
        m_sectors.clear();
    }
    const auto [place, isNew] = m_sectors.try_emplace(sector);
    if (isNew) {
        Read(place->second.data(), 1, sector);
    }
    return place->second;
}

void PreviousDisc::Read(void* buffer, uint32_t count, uint32_t sector) {
    if (count > m_nSectorsLeft) {
        FailToMerge();
    }
    m_nSectorsLeft -= count;
    if (!m_drive.ReadBlocks(buffer, count, sector)) {
        throw CCDWriterISOGenException(u"Cannot read disk.");
    }
}

} // namespace larkspin
