// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Shared by the source files of DVD recording, erasing and appending. Not for other libraries.
#pragma once

#include "drive/aspi_cd.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace larkspin {

// Blocks in an ECC block, the smallest unit that is recorded.
constexpr uint32_t kEccBlocks = 16;
// Where a session's volume descriptors begin, counted from its start (ECMA-119 6.2.1).
constexpr int32_t kFirstDescriptorBlock = 16;
constexpr uint32_t kDvdChunkBlocks = static_cast<uint32_t>(kDvdChunkBytes / kLogicalBlockBytes);

// WriteDvdChunk's result when the user cancelled while the drive was busy: nothing was written, and
// nothing failed.
constexpr int kChunkCancelled = -2;

// A shorter pause, which a drive that claims an absurd speed would cause, would be a busy loop.
constexpr uint32_t kShortestPauseMs = 5;

// While not 0, WRITE(10) gets the long time-out. Process-wide, and kept from one recording to the
// next: -1 makes the next chunk look at m_bDaoMode. Changed only by the thread that owns the
// drives.
extern std::atomic<int> s_nDaoToggle;

// The DVD logic of a drive: the state of a recording and its steps. Operations with the same names
// as in CAspiCD are described there.
class DvdRecording {
  public:
    using CgrowisofsException = CAspiCD::CgrowisofsException;
    using DvdChunk = CAspiCD::DvdChunk;
    using Finisher = void (*)(DvdRecording& dvd);

    explicit DvdRecording(CAspiCD& drive) : m_drive(drive) {}
    DvdRecording(const DvdRecording&) = delete;
    DvdRecording& operator=(const DvdRecording&) = delete;

    CAspiCD& Drive() { return m_drive; }

    // --- what is in the drive (identification.cpp) ---
    // If there is no disc, closes the tray and waits up to two minutes for one: some drives never
    // report a disc that they can't read as ready. That counts as no disc.
    uint32_t IdentifyMedia(); // throws
    uint32_t GetDvdBlocks(CScsiCommand& command);
    int64_t GetDvdBytes();

    // --- from the state before a recording to the last chunk (dvd_recording.cpp) ---
    void ResetDvdState();
    void OpenDvdForWriting(bool ignorePrevious, double speed); // throws
    void WriteDvdFromHandle(IByteSource& source, int64_t offset, const ProgressFunctor& progress,
                            const CancelFunctor* cancel); // throws

    // --- setting up (dvd_prepare.cpp), one chunk (dvd_chunk.cpp), closing (dvd_finish.cpp) ---
    void PrepareDvdMedia(int64_t size);                                // throws
    void PrepareDvdRecording(CScsiCommand& command, uint32_t profile); // throws
    void SetupWriteParameters(CScsiCommand& command, uint32_t profile,
                              uint8_t writeMode); // throws
    // Writes kDvdChunkBytes at byte `offset`, waiting for a busy drive. Skips blocks before the
    // first writable one. Returns the number of bytes done, -1 on failure, or kChunkCancelled.
    int WriteDvdChunk(const uint8_t* buffer, int64_t offset);
    // Returns 0, or an error code. A medium or hardware error that the drive reports at any step
    // counts: it reports lost blocks once, and then is ready and flushes without an error. Without
    // alsoWait, a missing answer also counts as an error, but not a refusal to flush at once.
    int FlushDvdCache(bool alsoWait);
    // The finishers close what was written. They stop at the first step that fails, even if it
    // fails after the drive has accepted it, and can then be run again. They can't be cancelled. A
    // DVD-RAM needs no closing, but its cache has to be emptied, and it is not done until the disc
    // has stopped.
    void FinishPlusRw();
    void FinishPlusR();
    void FinishMinusRw();
    void FinishMinusR();
    void FinishRam();
    // Returns 0, or an error code.
    int StopUnit();
    void SplitPlusRDl(CScsiCommand& command, int64_t size); // throws

    // --- speeds (speeds.cpp) ---
    void SetVelocity(int32_t kilobytesPerSecond);
    std::vector<uint8_t> ReadPage2A(CScsiCommand& command); // mode header and page; throws
    int ReadCurrentPerformance(std::span<const uint8_t> answer, CScsiCommand& command); // throws
    // Selects the speed nearest to m_dSpeedFactor, if that is set. Returns the speed in KB/s, 0 if
    // none was selected, or -1 if the drive does not report its speeds.
    int SetDvdWriteSpeed(CScsiCommand& command, bool dashFamily,
                         std::vector<uint8_t>* page2A); // throws
    // What PrepareDvdRecording assumes when SetDvdWriteSpeed returned a negative value.
    void VelocityFromPage2A(bool dashFamily, std::span<const uint8_t> page2A);

    // --- formatting and overwriting (erasing.cpp) ---
    void FormatDvdRewritable(int64_t offset, bool quick, const ProgressFunctor& progress,
                             const CancelFunctor* cancel); // throws
    void FormatPlusRw(CScsiCommand& command);              // throws
    int RestartPlusRwFormat(CScsiCommand& command, int64_t size);
    int QuickGrowMinusRw(CScsiCommand& command, int64_t size);

    // --- appending (appending.cpp) ---
    // If the size of a volume on a disc that is written in place can't be true, it is not treated
    // as an ISO 9660 volume: the new data would overwrite the old.
    int32_t GetNextSessionStart(std::span<const uint8_t> descriptor,
                                int32_t* previousStart); // throws
    // A track that does not begin after the last session counts as unreadable.
    int32_t ReadSequentialSessionStart(int32_t* previousStart); // throws
    std::vector<DvdChunk> UpdateVolumeDescriptors();            // throws
    int ReadOverwriteDescriptors(uint8_t* buffer);              // throws

    // The state, with the values that ResetDvdState sets.
    bool m_bMediaWritten = false;
    int32_t m_nNextTrack = 1;
    bool m_bDaoMode = false;
    bool m_bQuickGrown = false;
    bool m_bStopAfterFinish = true;
    uint32_t m_nNextWriteAddress = 1;
    uint32_t m_nPollDelayMs = 189;
    uint32_t m_nDriveBufferKB = 512;
    std::array<uint8_t, 260> m_abyFormats = {};
    std::array<uint8_t, 32> m_abyDiscInfo = {};
    bool m_bDaoOnly = false;
    uint32_t m_nProfile = 0;
    double m_dSpeedFactor = 0.0;
    bool m_bZeroFill = false;
    int32_t m_nVelocity = 0; // KB/s, 0 when unknown
    Finisher m_pfnFinalize = nullptr;
    std::unique_ptr<uint8_t[]> m_pWriteBuffer; // kDvdBufferBytes once a disc was opened
    int32_t m_nPreviousStart = 0;
    int32_t m_nNextStart = 0;
    int32_t m_nSessionStart = 0;
    // The volume being recorded counts its size from block 0, not from the start of its session.
    bool m_bSpaceFromDiscStart = false;
    int64_t m_nStartOffset = 0;
    int64_t m_nCurrentOffset = 0;
    int64_t m_nFinalOffset = 0;
    // Why the last WriteDvdChunk returned -1.
    int m_nWriteError = 0;

  private:
    CAspiCD& m_drive;
};

// Sets CAspiCD::Cancel() for the duration of one operation and restores it afterwards. With null,
// nothing inside can be cancelled.
class CancelScope {
  public:
    CancelScope(CAspiCD& drive, const CancelFunctor* cancel)
        : m_drive(drive), m_pBefore(drive.ExchangeCancel(cancel)) {}
    CancelScope(const CancelScope&) = delete;
    CancelScope& operator=(const CancelScope&) = delete;
    ~CancelScope() { m_drive.ExchangeCancel(m_pBefore); }

  private:
    CAspiCD& m_drive;
    const CancelFunctor* m_pBefore;
};

// Writes one chunk at m_nCurrentOffset and advances that. False once the user has cancelled; throws
// CgrowisofsException when the drive did not accept the whole chunk.
bool WriteNextChunk(DvdRecording& dvd, const uint8_t* chunk);

// Reports the progress of m_nCurrentOffset from m_nStartOffset to m_nFinalOffset.
void ReportProgress(const DvdRecording& dvd, const ProgressFunctor& progress);

// The number of blocks for `bytes`, rounded up to whole ECC blocks.
uint32_t BlocksInFullEcc(int64_t bytes);

// READ TRACK INFORMATION for one track. The allocation length is the size of `answer` (below 256).
int ReadTrackInformation(CScsiCommand& command, uint32_t track, std::span<uint8_t> answer);

// SYNCHRONIZE CACHE with at least this time-out; `immediate` returns before the cache is empty.
int SynchronizeCache(CScsiCommand& command, bool immediate, uint32_t timeoutSeconds = 0);

// True for a block that begins like a primary volume descriptor (ECMA-119 8.4).
bool IsPrimaryDescriptor(const uint8_t* block);

// Where an ECMA-167 anchor may lie, counted from either end of the disc (3/8.4.2.1).
constexpr uint32_t kFirstAnchor = 256;
// True for a block that begins like an anchor: a descriptor tag of type 2 with its checksum (3/7.2,
// 3/10.2).
bool IsAnchor(std::span<const uint8_t> block);

// Volume Space Size, a both-endian number of blocks, in a volume descriptor (ECMA-119 8.4.8).
constexpr size_t kVolumeSpaceSize = 80;

// The block after a volume that begins at block `start`, by its primary volume descriptor.
int64_t VolumeEnd(const DvdRecording& dvd, const uint8_t* descriptor, int64_t start);

} // namespace larkspin
