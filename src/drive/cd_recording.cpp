// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CAspiCD: recording a CD, track at once and session at once.
#include "drive/direct_command.h"
#include "drive/mmc.h"
#include "drive/mode_pages.h"
#include "drive/waiting.h"
#include "platform/byte_order.h"

#include <algorithm>

namespace larkspin {

namespace {

constexpr int32_t kPreGapBlocks = 150;

// At most this many blocks go into one WRITE: 32,768 bytes of data, 18,816 bytes of audio.
constexpr int32_t kDataChunkBlocks = 16;
constexpr int32_t kOtherChunkBlocks = 8;

constexpr uint32_t kFullBufferPauseMs = 40;

constexpr uint64_t kFlushPollMs = 1000;
constexpr uint64_t kLeadOutPollMs = 2000;

constexpr uint8_t kDataTrack = 4; // track mode: data, recorded in one piece

int32_t ChunkBlocks(uint32_t blockSize) {
    return blockSize == kLogicalBlockBytes ? kDataChunkBlocks : kOtherChunkBlocks;
}

enum class ChunkResult { Written, Cancelled, Failed };

// One WRITE, repeated for as long as the drive's buffer is full.
ChunkResult WriteChunk(CAspiCD& drive, int32_t address, uint8_t* data, int32_t blocks,
                       const CancelFunctor* cancel, uint32_t blockSize) {
    IClock& clock = drive.Clock();
    Cdb cdb(mmc::kWrite10);
    StoreBe32(&cdb[2], static_cast<uint32_t>(address));
    StoreBe16(&cdb[7], static_cast<uint16_t>(blocks));
    const uint32_t length = static_cast<uint32_t>(blocks) * blockSize;
    int attentions = 0;
    BusyWait wait(drive, cancel);
    while (!IsCancelled(cancel)) {
        const DirectResult result = SendDirect(drive, SRB_DIR_OUT, cdb, data, length);
        if (!result.Failed()) {
            return ChunkResult::Written;
        }
        if (result.Key() == kKeyNotReady && result.Asc() == kAscNotReady) {
            if (!wait.ShortPause(kFullBufferPauseMs) && drive.IsGivenUp()) {
                return ChunkResult::Failed;
            }
        } else if (result.Key() == kKeyUnitAttention && result.Asc() == kAscMediumChanged &&
                   attentions < kMaxAttentionRepeats) {
            ++attentions;
            clock.Sleep(std::chrono::milliseconds(kAttentionPauseMs));
        } else {
            return ChunkResult::Failed;
        }
    }
    return ChunkResult::Cancelled;
}

// The result of SYNCHRONIZE CACHE for blocks that the drive had accepted before.
enum class FlushResult { Done, Busy, Lost };

FlushResult FlushOnce(CAspiCD& drive) {
    const DirectResult result = SendDirect(drive, SRB_DIR_OUT, Cdb(mmc::kSynchronizeCache));
    switch (result.Key()) {
    case kKeyNotReady: // not ready any more: the disc or the drive has gone
        return result.Asc() == kAscNotReady ? FlushResult::Busy : FlushResult::Lost;
    case kKeyUnitAttention: // a reset empties the cache without writing it
        return result.Asc() == kAscReset ? FlushResult::Lost : FlushResult::Busy;
    case kKeyIllegalRequest: // usually: there is nothing to flush
        return result.Asc() == kAscIncompatibleMedium ? FlushResult::Lost : FlushResult::Done;
    default:
        return IsRecordingError(result.Key()) || result.Unanswered() ? FlushResult::Lost
                                                                     : FlushResult::Done;
    }
}

int WritePreGap(CAspiCD& drive, const CancelFunctor* cancel, uint32_t blockSize) {
    const std::vector<uint8_t> zeros(size_t{kDataChunkBlocks} * blockSize);
    int32_t address = drive.Disk().m_nNextAddress - kPreGapBlocks;
    for (int32_t left = kPreGapBlocks; left > 0 && !IsCancelled(cancel);) {
        const int32_t blocks = std::min(left, ChunkBlocks(blockSize));
        if (drive.WriteBlocks(&address, zeros.data(), blocks, cancel, blockSize) != 0) {
            return 1;
        }
        left -= blocks;
    }
    return 0;
}

} // namespace

int CAspiCD::SetTaoParameters() {
    // The first attempts may run into the report of a reset or of a new disc. A drive without
    // buffer underrun protection refuses the bit that enables it.
    constexpr int kTries = 4;
    constexpr int kTriesWithBufe = 2;
    for (int tries = 0; tries < kTries; ++tries) {
        std::array<uint8_t, 256> page = {};
        if (ModeSense(kPageWriteParameters, page) != 0) {
            continue;
        }
        page[0] &= static_cast<uint8_t>(~kParametersSavable);
        page[kWriteType] = (page[kWriteType] & 0xB1) | kWriteTypeTrackAtOnce |
                           (tries < kTriesWithBufe ? kBufe : 0);
        page[kTrackMode] = (page[kTrackMode] & 0xF4) | kDataTrack | kMultiSessionOpen;
        page[kDataBlockType] = (page[kDataBlockType] & 0xF8) | kMode1Block;
        page[kSessionFormat] = 0;
        std::fill_n(page.begin() + kCatalogNumber, 16, uint8_t{0});
        if (ModeSelect(page) == 0) {
            return 0;
        }
    }
    return 1;
}

void CAspiCD::SendOpc() {
    Cdb cdb(mmc::kSendOpcInformation);
    cdb[1] = 1; // do it now
    SendDirect(*this, SRB_DIR_OUT, cdb);
}

int CAspiCD::PrepareSaoWrite(bool burnFree, bool speedControl, std::span<const uint8_t> cueSheet,
                             const CancelFunctor* cancel, uint32_t blockSize) {
    if (LockAndDismount().Refused()) {
        return 1;
    }

    std::array<uint8_t, 56> page = {};
    std::array<uint8_t, kModeHeaderBytes> header = {};
    if (ModeSense(kPageWriteParameters, page, header.data()) != 0) {
        return 1;
    }
    SelectSessionAtOnce(page);
    ReadCapabilities();
    if ((m_dwCapabilities & CAP_BUFE) != 0) {
        page[kWriteType] =
            static_cast<uint8_t>((page[kWriteType] & ~kBufe) | (burnFree ? kBufe : 0));
    }
    SetVendorWriteOptions(burnFree, speedControl);
    page[kTrackMode] &= 0x30;
    page[kDataBlockType] &= 0xF0;
    page[kSessionFormat] = 0;
    if (ModeSelect(page, header.data()) != 0) {
        return 1;
    }

    if (IsCancelled(cancel)) {
        return 0;
    }
    SendOpc();
    ReadNextWritableAddress(nullptr);
    if (IsCancelled(cancel)) {
        return 0;
    }

    Cdb cdb(mmc::kSendCueSheet);
    cdb[6] = static_cast<uint8_t>(cueSheet.size() >> 16);
    StoreBe16(&cdb[7], static_cast<uint16_t>(cueSheet.size()));
    std::vector<uint8_t> sheet(cueSheet.begin(), cueSheet.end());
    const auto length = static_cast<uint32_t>(sheet.size());
    if (SendDirect(*this, SRB_DIR_OUT, cdb, sheet.data(), length).Failed()) {
        return 1;
    }
    return WritePreGap(*this, cancel, blockSize);
}

int CAspiCD::WriteBlocks(int32_t* address, const void* buffer, int32_t count,
                         const CancelFunctor* cancel, uint32_t blockSize) {
    // The request block has one pointer for both directions; the data is not written to.
    auto* data = static_cast<uint8_t*>(const_cast<void*>(buffer));
    while (count > 0) {
        const int32_t blocks = std::min(count, ChunkBlocks(blockSize));
        switch (WriteChunk(*this, *address, data, blocks, cancel, blockSize)) {
        case ChunkResult::Cancelled:
            return 0;
        case ChunkResult::Failed:
            return 1;
        case ChunkResult::Written:
            break;
        }
        count -= blocks;
        data += static_cast<size_t>(blocks) * blockSize;
        *address += blocks;
    }
    return 0;
}

int CAspiCD::SyncCache(const CancelFunctor* cancel) {
    BusyWait wait(*this, cancel);
    FlushResult result = FlushOnce(*this);
    while (result == FlushResult::Busy && wait.Pause(kFlushPollMs)) {
        result = FlushOnce(*this);
    }
    if (result == FlushResult::Lost || (result == FlushResult::Busy && !IsCancelled(cancel))) {
        m_bCacheLost = true;
    }
    return 0;
}

int CAspiCD::FinishSaoWrite(const CancelFunctor* cancel) {
    // A drive that is already busy with the lead-out is waited for below.
    if (FlushOnce(*this) == FlushResult::Lost) {
        m_bCacheLost = true;
    }
    BusyWait wait(*this, cancel);
    int busy = GetUnitBusy();
    while (busy == 2) {
        if (!wait.Pause(kLeadOutPollMs)) {
            return m_bGivenUp ? 1 : 0;
        }
        busy = GetUnitBusy();
    }
    SyncCache(cancel);
    return busy == 0 && !m_bCacheLost ? 0 : 1;
}

int CAspiCD::CloseSession() {
    Cdb cdb(mmc::kCloseTrackSession);
    cdb[2] = 2; // the session
    const DirectResult result = SendDirect(*this, SRB_DIR_OUT, cdb);
    return HasSense(result.sense) || result.Unanswered() ? -1 : 0;
}

int CAspiCD::TestUnitReady() {
    const DirectResult result = SendDirect(*this, SRB_DIR_OUT, Cdb(mmc::kTestUnitReady));
    if (result.Unanswered()) {
        return 1;
    }
    if (result.sense[0] == 0 || result.Key() == kKeyUnitAttention) {
        return 0;
    }
    return result.Key() == kKeyNotReady ? 2 : 1;
}

int CAspiCD::GetUnitBusy() {
    if (const int readiness = TestUnitReady(); readiness != 0) {
        return readiness;
    }
    // Only the sense of this command matters, but its answer is fetched all the same: a device
    // whose data nobody reads confuses ATAPI host adapters in the middle of a recording.
    constexpr uint8_t kAnswerBytes = 4;
    std::array<uint8_t, kAnswerBytes> answer = {};
    Cdb cdb(mmc::kReadDiscInformation);
    cdb[8] = kAnswerBytes;
    const DirectResult result = SendDirect(*this, SRB_DIR_IN, cdb, answer.data(), answer.size());
    constexpr size_t kAdditionalLength = 7;
    constexpr uint8_t kReachesQualifier = 6;
    const bool isWriting =
        result.Ascq() == kAscqLongWrite || result.Ascq() == kAscqOperationInProgress;
    return result.Key() == kKeyNotReady && result.sense[kAdditionalLength] >= kReachesQualifier &&
                   result.Asc() == kAscNotReady && isWriting
               ? 2
               : 0;
}

} // namespace larkspin
