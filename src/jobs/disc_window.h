// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Reads a disc's bytes in disc order, in pieces as large as the drive accepts. Where a piece can't
// be read, it goes block by block, so that the damaged part can be named.
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

    // `goOn` is called while waiting for the drive. Blocks at or after byte `end` are not read
    // ahead.
    DiscWindow(CAspiCD& drive, Format format, uint64_t end, CAspiCD::GoOn goOn);

    uint32_t BlockBytes() const { return m_nBlockBytes; }
    // The bytes from byte `position` of the disc on, at least one. Valid until the next call. Empty
    // if that block can't be read, or if the drive has stopped working (see State).
    std::span<const uint8_t> From(int64_t position);
    // The drive's error for that block, as CScsiCommand::Transport returns it.
    int Error() const { return m_nError; }
    // Ready, unless the drive is no longer ready and nothing more can be read.
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
    int64_t m_nSinglyUntil = 0; // a piece ending here could not be read as a whole
    int m_nError = 0;
    CAspiCD::UnitState m_state = CAspiCD::UnitState::Ready;
};

} // namespace larkspin
