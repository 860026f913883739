// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The disc that a session is added to, as the merge reads it.
//
// Whatever the disc holds, what is read from it is bounded: nothing at or behind the new session,
// no more than twice the sectors in front of it. Every failure is a CCDWriterISOGenException.
#pragma once

#include "platform/byte_stream.h"
#include "volume/model/directory_record.h"
#include "volume/model/sectors.h"

#include <array>
#include <cstdint>
#include <map>
#include <span>
#include <vector>

namespace larkspin {

// Ends the run: the old session can't be laid under the new one without loss.
[[noreturn]] void FailToMerge();

// Contents on the disc, in absolute sectors.
struct OldExtent {
    uint32_t sector = 0;
    uint32_t bytes = 0;

    // Where the contents of a record begin: behind its extended attributes (ECMA-119 9.1.2).
    static OldExtent Of(const DirectoryRecord& record);
};

class PreviousDisc {
  public:
    // `endSector`: where the session that is read ends, as the drive tells it. `newSession`: the
    // first sector of the new one, at or behind that. `drive` must outlive this object.
    PreviousDisc(IBlockReader& drive, uint32_t endSector, uint32_t newSession);

    // True if all of the extent lies in front of the end.
    bool Holds(const OldExtent& extent) const;

    // The first sector at or behind `start` that is a primary volume descriptor; looks at 100
    // sectors. Gives its root directory. If the volume claims more than the drive tells of, the end
    // moves behind the last sector that has data on it all the same. Fails if there is none or if
    // it is of another kind than 2048-byte sectors and a single volume, with CutSessionException if
    // nothing but zeros came to the disc.
    OldExtent FindPreviousRoot(uint32_t start);

    // Whole sectors of the extent, read in pieces of up to 16. Fails if it isn't inside the disc,
    // with CutSessionException if the volume claims more than the disc has.
    std::vector<uint8_t> ReadSectors(const OldExtent& extent);

    // True if the volume that FindPreviousRoot has found claims more than there is.
    bool IsCut() const { return m_bIsCut; }
    // The first sector behind the volume that FindPreviousRoot has found, by its own word, but none
    // that the disc doesn't have.
    uint32_t VolumeEnd() const { return m_nVolumeEnd; }

    // Reads these sectors, neighbours at one go, for the calls of Sector that follow, and forgets
    // those before. Sectors that the disc doesn't have are passed over.
    void Prefetch(std::vector<uint32_t> sectors);
    // One sector inside the disc. Holds until the next call of this or of Prefetch.
    std::span<const uint8_t> Sector(uint32_t sector);

  private:
    using SectorBytes = std::array<uint8_t, kSectorBytes>;

    void Read(void* buffer, uint32_t count, uint32_t sector);
    void MoveEndTo(uint64_t claimed);
    uint32_t ProvenEnd(uint32_t limit);

    IBlockReader& m_drive;
    uint32_t m_nEnd;
    uint32_t m_nNewSession;
    uint32_t m_nVolumeEnd = 0;
    bool m_bIsCut = false;
    uint64_t m_nSectorsLeft; // that may still be read
    std::map<uint32_t, SectorBytes> m_sectors;
};

} // namespace larkspin
