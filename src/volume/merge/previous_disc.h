// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The disc to which a session is added, as read for the merge.
//
// Whatever is on the disc, reading is bounded: nothing at or after the new session is read, and not
// much more than twice the number of sectors before it. All failures are CCDWriterISOGenExceptions.
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

// Ends the run: the old session can't be merged without loss.
[[noreturn]] void FailToMerge();

// Where contents are on the disc, in absolute sectors.
struct OldExtent {
    uint32_t sector = 0;
    uint32_t bytes = 0;

    // The contents of a record, after its extended attributes (ECMA-119 9.1.2).
    static OldExtent Of(const DirectoryRecord& record);
};

class PreviousDisc {
  public:
    // `endSector`: the end of the session to be read, according to the drive. `newSession`: the
    // first sector of the new one, not before that. `drive` must outlive this object.
    PreviousDisc(IBlockReader& drive, uint32_t endSector, uint32_t newSession);

    // True if the whole extent lies before the end.
    bool Holds(const OldExtent& extent) const;

    // Looks for a primary volume descriptor in the 100 sectors from `start` and returns the root
    // directory of the first. If the volume claims more than the drive reports, the end moves past
    // the last sector that has data on it nevertheless. Fails if there is none or if it is not a
    // single volume with 2048-byte sectors, and with CutSessionException if there is nothing but
    // zeros on the disc.
    OldExtent FindPreviousRoot(uint32_t start);

    // The whole sectors of the extent, read in pieces of up to 16. Fails if it isn't inside the
    // disc, with CutSessionException if the volume claims more than the disc has.
    std::vector<uint8_t> ReadSectors(const OldExtent& extent);

    // True if the volume found by FindPreviousRoot claims more than there is.
    bool IsCut() const { return m_bIsCut; }
    // The first sector after the volume found by FindPreviousRoot, as the volume claims, limited to
    // what the disc has.
    uint32_t VolumeEnd() const { return m_nVolumeEnd; }

    // Reads these sectors, neighbours in one go, for the following calls of Sector, and forgets
    // earlier ones. Skips sectors that the disc doesn't have.
    void Prefetch(std::vector<uint32_t> sectors);
    // One sector inside the disc. Valid until the next call of this or of Prefetch.
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
    uint64_t m_nSectorsLeft; // the number that may still be read
    std::map<uint32_t, SectorBytes> m_sectors;
};

} // namespace larkspin
