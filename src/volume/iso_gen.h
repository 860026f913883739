// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CCDWriterISOGen: turns a list of paths into one stream of 2048-byte sectors.
//
// The volume is never staged: a size pass and a generate pass place everything, then the write pass
// sends each sector once, in address order. One thread runs the generator; its only link to others
// is the sink, and OnSizeReady.
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
    // Told on the generator's thread: before SizeReady of each name left out of the volume, and
    // after it, before the last sector goes out, of each file that has changed meanwhile.
    using Notice = VolumeNoticeTaker;

    CCDWriterISOGen(IFileSystem& files, IClock& clock);
    CCDWriterISOGen(const CCDWriterISOGen&) = delete;
    CCDWriterISOGen& operator=(const CCDWriterISOGen&) = delete;
    ~CCDWriterISOGen();

    // Clears all state and sets the defaults of GenOptions. Needed before each run.
    void ResetOptions();
    // The options of the next run; a data disc's own settings are laid over them by MakeVolume.
    GenOptions& Options();
    void SetNotice(Notice notice);
    void SetExtentsReady(ExtentsReady extentsReady);

    // Writes a fresh volume of `queue` that begins at block `sessionBase`. Returns when the last
    // sector has gone out, or as soon as `stream` says that its reader has gone: that is no failure
    // of the generator, and whoever took the reader away knows why. Throws
    // CCDWriterISOGenException or std::bad_alloc; a failure after `sizeReady` leaves the stream cut
    // short. Paths below a queue item may have 1024 UTF-16 units, longer ones fail the run; no path
    // is ever cut.
    void MakeVolume(const std::vector<std::u16string>& queue, IByteSink& stream,
                    uint32_t previousBase, uint32_t sessionBase, const SizeReady& sizeReady);
    // The same over the session that begins at `previousBase`, read through `drive` before
    // `sizeReady` is called and never after.
    void MakeMergedVolume(const std::vector<std::u16string>& queue, IByteSink& stream,
                          uint32_t previousBase, uint32_t sessionBase, IBlockReader& drive,
                          const SizeReady& sizeReady);

  private:
    struct State;
    std::unique_ptr<State> m_pState;
};

} // namespace larkspin
