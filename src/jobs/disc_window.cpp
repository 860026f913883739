// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "jobs/disc_window.h"

#include "audio/reader.h"
#include "drive/sense.h"
#include "jobs/file_list.h"

#include <algorithm>
#include <utility>

namespace larkspin {

namespace {

// The most that a shim transfers at once.
constexpr uint32_t kPieceBytes = 65'536;
// If a piece gets no answer, it may be too large for a host adapter. This is the size used when
// writing.
constexpr uint32_t kFewestBlocks = 8;
constexpr int kMostTries = 3;

int64_t BlockOf(int64_t position, int64_t blockBytes) {
    return position >= 0 ? position / blockBytes : (position - blockBytes + 1) / blockBytes;
}

// Any other error concerns the drive, and may be temporary.
bool ConcernsTheBlocks(int code) {
    const int key = code >> 16;
    return code > 0 && key != kKeyNotReady && key != kKeyUnitAttention;
}

} // namespace

DiscWindow::DiscWindow(CAspiCD& drive, Format format, uint64_t end, CAspiCD::GoOn goOn)
    : m_drive(drive), m_format(format),
      m_nBlockBytes(format == Format::Data ? kSectorBytes : kCdBlockBytes),
      m_nEnd(BlockOf(static_cast<int64_t>(end) - 1, m_nBlockBytes) + 1), m_goOn(std::move(goOn)),
      m_nPieceBlocks(kPieceBytes / m_nBlockBytes), m_buffer(size_t{m_nPieceBlocks} * m_nBlockBytes),
      m_nSinglyUntil(INT64_MIN) {}

std::span<const uint8_t> DiscWindow::From(int64_t position) {
    const int64_t block = BlockOf(position, m_nBlockBytes);
    if (block < m_nBegin || block >= m_nBegin + m_nCount) {
        Load(block);
    }
    const size_t filled = size_t{m_nCount} * m_nBlockBytes;
    return filled == 0 ? std::span<const uint8_t>()
                       : std::span<const uint8_t>(m_buffer).first(filled).subspan(
                             static_cast<size_t>(position - m_nBegin * m_nBlockBytes));
}

void DiscWindow::Load(int64_t block) {
    const int64_t left = std::max<int64_t>(m_nEnd - block, 1);
    uint32_t count =
        block < m_nSinglyUntil ? 1 : static_cast<uint32_t>(std::min<int64_t>(m_nPieceBlocks, left));
    m_nBegin = block;
    m_nCount = 0;
    m_nError = Read(block, count);
    if (m_nError != 0 && count > 1 && m_state == CAspiCD::UnitState::Ready) {
        m_nSinglyUntil = block + count;
        if (m_nError < 0 && m_nPieceBlocks / 2 >= kFewestBlocks) {
            m_nPieceBlocks /= 2;
        }
        count = 1;
        m_nError = Read(block, count);
    }
    m_nCount = m_nError == 0 ? count : 0;
}

int DiscWindow::Read(int64_t block, uint32_t count) {
    const int mostTries = count > 1 ? 1 : kMostTries; // a piece is retried block by block
    for (int tries = 1;; ++tries) {
        const int code =
            m_format == Format::Data
                ? m_drive.ReadData(m_buffer.data(), count, static_cast<uint32_t>(block))
                : m_drive.ReadAudio(m_buffer.data(), count, static_cast<int32_t>(block));
        if (code == 0 || ConcernsTheBlocks(code)) {
            return code;
        }
        m_state = m_drive.AwaitUnit(m_goOn);
        if (m_state != CAspiCD::UnitState::Ready || tries == mostTries) {
            return code;
        }
    }
}

} // namespace larkspin
