// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What the source files of DVD recording, erasing and appending share. Not for other libraries.
#pragma once

#include "drive/aspi_cd.h"

#include <atomic>
#include <cstdint>
#include <span>
#include <utility>

namespace larkspin {

// Logical block of a DVD, and the blocks of one ECC block, the smallest unit that is recorded.
constexpr int64_t kDvdBlockBytes = 2048;
constexpr uint32_t kEccBlocks = 16;
// Where the volume descriptors of a session begin, from its start (ECMA-119 6.2.1).
constexpr int32_t kFirstDescriptorBlock = 16;
constexpr uint32_t kDvdChunkBlocks = static_cast<uint32_t>(kDvdChunkBytes / kDvdBlockBytes);

// WriteDvdChunk's result when the user cancelled while the drive was busy: nothing was written,
// nothing failed.
constexpr int kChunkCancelled = -2;

// A pause that comes out shorter, because a drive claims an absurd speed, would be a busy loop.
constexpr uint32_t kShortestPauseMs = 5;

// Selects the long time-out of WRITE(10) while it is not 0. Process-wide and kept from one
// recording to the next: -1 asks the next chunk for m_bDaoMode. Only the thread that owns the
// drives changes it.
extern std::atomic<int> s_nDaoToggle;

// Sets CAspiCD::m_pCancel for the length of one operation, and puts it back after it. With null,
// nothing inside can be cancelled.
class CancelScope {
  public:
    CancelScope(CAspiCD& drive, const CancelFunctor* cancel)
        : m_drive(drive), m_pBefore(std::exchange(drive.m_pCancel, cancel)) {}
    CancelScope(const CancelScope&) = delete;
    CancelScope& operator=(const CancelScope&) = delete;
    ~CancelScope() { m_drive.m_pCancel = m_pBefore; }

  private:
    CAspiCD& m_drive;
    const CancelFunctor* m_pBefore;
};

// Writes one chunk at m_nCurrentOffset and moves that on. False once the user has cancelled;
// throws CgrowisofsException when the drive did not take the whole chunk.
bool WriteNextChunk(CAspiCD& drive, const uint8_t* chunk);

// Reports how far m_nCurrentOffset is on its way from m_nStartOffset to m_nFinalOffset.
void ReportProgress(const CAspiCD& drive, const ProgressFunctor& progress);

// Whole blocks of `bytes`, rounded up to ECC blocks.
uint32_t BlocksInFullEcc(int64_t bytes);

// READ TRACK INFORMATION of one track; the answer's size is the allocation length (below 256).
int ReadTrackInformation(CScsiCommand& command, uint32_t track, std::span<uint8_t> answer);

// SYNCHRONIZE CACHE with at least that much time; immediate returns before the cache is empty.
int SynchronizeCache(CScsiCommand& command, bool immediate, uint32_t timeoutSeconds = 0);

// True for a block that begins like a primary volume descriptor (ECMA-119 8.4).
bool IsPrimaryDescriptor(const uint8_t* block);

// Where an anchor of ECMA-167 may lie, from the start of the disc and from its end (3/8.4.2.1).
constexpr uint32_t kFirstAnchor = 256;
// True for a block that begins like one: a descriptor tag of type 2 with its checksum (3/7.2,
// 3/10.2).
bool IsAnchor(std::span<const uint8_t> block);

// Volume Space Size, a both-endian number of blocks, in a volume descriptor (ECMA-119 8.4.8).
constexpr size_t kVolumeSpaceSize = 80;

// The block behind a volume that begins at block `start`, by its primary volume descriptor.
int64_t VolumeEnd(const CAspiCD& drive, const uint8_t* descriptor, int64_t start);

} // namespace larkspin
