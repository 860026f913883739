// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CCDWriterISOGen: turns a list of paths into one stream of 2048-byte sectors.
//
// The volume is never staged: a size pass and a generate pass place everything, then the write pass
// sends each sector once, in address order. The generator runs on one thread; only the sink and the
// callbacks connect it to others.
#pragma once

#include "platform/byte_stream.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "volume/layout.h"
#include "volume/model/error.h"
#include "volume/model/options.h"
#include "volume/model/volume_notice.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace larkspin {

class CCDWriterISOGen {
  public:
    using SizeReady = larkspin::SizeReady;
    using ExtentsReady = larkspin::ExtentsReady;
    // Called on the generator's thread: before SizeReady for each name left out of the volume, and
    // after it, but before the last sector goes out, for each file that has changed meanwhile.
    using Notice = VolumeNoticeTaker;

    CCDWriterISOGen(IFileSystem& files, IClock& clock);
    CCDWriterISOGen(const CCDWriterISOGen&) = delete;
    CCDWriterISOGen& operator=(const CCDWriterISOGen&) = delete;
    ~CCDWriterISOGen();

    // Clears all state and sets the defaults of GenOptions. Required before each run.
    void ResetOptions();
    // The options of the next run. MakeVolume overrides some of them for a data disc.
    GenOptions& Options();
    void SetNotice(Notice notice);
    void SetExtentsReady(ExtentsReady extentsReady);

    // Writes a fresh volume of `queue` that begins at block `sessionBase`. Returns when the last
    // sector has gone out, or as soon as `stream` reports that its reader has gone, which is not a
    // failure of the generator. Throws CCDWriterISOGenException or std::bad_alloc; after a failure
    // later than `sizeReady`, the stream is incomplete. Paths below a queue item may have 1024
    // UTF-16 units. A longer one fails the run; paths are never truncated.
    void MakeVolume(const std::vector<std::u16string>& queue, IByteSink& stream,
                    uint32_t previousBase, uint32_t sessionBase, const SizeReady& sizeReady);
    // The same, merged with the session that begins at `previousBase`. That is read through `drive`
    // before `sizeReady` is called, and never afterwards.
    void MakeMergedVolume(const std::vector<std::u16string>& queue, IByteSink& stream,
                          uint32_t previousBase, uint32_t sessionBase, IBlockReader& drive,
                          const SizeReady& sizeReady);

  private:
    struct State;
    std::unique_ptr<State> m_pState;
};

} // namespace larkspin
