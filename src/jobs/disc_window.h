// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A disc's bytes in the order of the disc, read through its drive in pieces as large as a drive
// takes; where a piece can't be read, block by block, so that what is damaged can be named.
//
// Used by the job's thread.
#pragma once

#include "drive/aspi_cd.h"

#include <cstdint>
#include <span>
#include <vector>

namespace larkspin {

class DiscWindow {
  public:
    enum class Format { Data, Audio }; // READ(10), READ CD

    // Asks `goOn` where it waits for the drive. No block at or behind byte `end` is read ahead.
    DiscWindow(CAspiCD& drive, Format format, uint64_t end, CAspiCD::GoOn goOn);

    uint32_t BlockBytes() const { return m_nBlockBytes; }
    // The bytes from byte `position` of the disc on, one at least. They hold until the next call.
    // None: that block can't be read, or the drive has stopped working (Stopped).
    std::span<const uint8_t> From(int64_t position);
    // What the drive told of the block, as CScsiCommand::Transport gives it.
    int Error() const { return m_nError; }
    // Ready, unless the drive is not ready any more and nothing further can be read.
    CAspiCD::UnitState State() const { return m_state; }

  private:
    void Load(int64_t block);
    int Read(int64_t block, uint32_t count);

    CAspiCD& m_drive;
    const Format m_format;
    const uint32_t m_nBlockBytes;
    const int64_t m_nEnd; // block
    const CAspiCD::GoOn m_goOn;
    uint32_t m_nPieceBlocks;
    std::vector<uint8_t> m_buffer;
    int64_t m_nBegin = 0; // the blocks in the buffer
    uint32_t m_nCount = 0;
    int64_t m_nSinglyUntil = 0; // a piece that ends here could not be read as a whole
    int m_nError = 0;
    CAspiCD::UnitState m_state = CAspiCD::UnitState::Ready;
};

} // namespace larkspin
