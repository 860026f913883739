// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Writing one chunk of a DVD, and what to do when the drive does not accept it yet.
#include "drive/bd_media.h"
#include "drive/dvd_detail.h"
#include "drive/mmc.h"
#include "drive/profiles.h"
#include "drive/scsi_command.h"
#include "drive/waiting.h"
#include "platform/byte_order.h"

#include <algorithm>

namespace larkspin {

std::atomic<int> s_nDaoToggle{-1};

namespace {

constexpr uint32_t kDeviceBusyEvent = 0x40; // HandleEvents saw a busy report and waited for it
constexpr int64_t kLongPauseMs = 5000;

// The pauses and repetitions for one chunk, which form a single wait. Every repetition sleeps or is
// counted, and checks for the user's cancel.
class ChunkRetries {
  public:
    enum class Next { SendAgain, Fail, Cancelled };

    explicit ChunkRetries(CScsiCommand& command)
        : m_command(command), m_drive(command.Drive()), m_wait(m_drive, m_drive.Cancel()) {}

    // What to do after a WRITE at block `lba` that ended with `code`.
    Next After(int code, uint32_t lba) {
        const bool isBecomingReady = code == mmc::kBecomingReady && lba == 0;
        const bool isAtWork = code == mmc::kFormatInProgress || code == mmc::kOperationInProgress ||
                              code == mmc::kCommandSequenceError;
        if (code != mmc::kLongWriteInProgress && !isBecomingReady && !isAtWork) {
            return Next::Fail;
        }
        if (!m_wait.GoOn()) { // the events of a busy drive are part of the wait
            return If(false);
        }
        if (isAtWork) {
            return IsInCluster(lba) ? Pause(kLongPauseMs) : FlushAndSendAgain();
        }
        return isBecomingReady ? AfterBecomingReady() : AfterLongWrite();
    }

  private:
    // The drive's buffer is full: wait until half of it is free again.
    Next AfterLongWrite() {
        const int64_t velocity = m_drive.Dvd().m_nVelocity; // KB/s
        if (velocity == 0) {
            return DriveReportsBusy() ? SendAgain() : FlushAndSendAgain();
        }
        const int64_t need = KilobytesToDrain();
        const int64_t chunkDelay = 128'000 / velocity;
        int64_t delay = 0;
        if (need * 1000 > velocity) {
            delay = need * 1000 / velocity;
            ++m_nCount;
            if (s_nDaoToggle != 0) {
                s_nDaoToggle = -1;
            }
        } else if (s_nDaoToggle != 0) {
            s_nDaoToggle = -1;
            if (DriveReportsBusy()) {
                return SendAgain();
            }
            delay = chunkDelay;
        } else {
            ++m_nCount;
            if (m_nCount == 1) {
                return SendAgain();
            }
            delay = chunkDelay;
        }
        if (m_nCount > (s_nDaoToggle != 0 ? 768 : 192)) {
            m_nCount = 1;
        }
        return Pause(delay);
    }

    // How much of the drive's buffer must be written before it is worth sending again.
    int64_t KilobytesToDrain() {
        std::array<uint8_t, 12> answer = {};
        m_command[0] = mmc::kReadBufferCapacity;
        m_command[8] = answer.size();
        const int64_t known = m_drive.Dvd().m_nDriveBufferKB;
        int64_t size = known;
        int64_t free = 0;
        if (m_command.Transport(Direction::READ, answer.data(), answer.size()) == 0) {
            size = LoadBe32(&answer[4]) >> 10;
            free = LoadBe32(&answer[8]) >> 10;
        }
        const int64_t target = size < known / 2 ? known / 2 : size / 2;
        return target - std::min(free, target);
    }

    Next AfterBecomingReady() {
        if (DriveReportsBusy()) {
            return SendAgain();
        }
        if (++m_nCount > 3) {
            m_nCount = 0;
            return Pause(kLongPauseMs);
        }
        return Pause(m_drive.Dvd().m_nPollDelayMs);
    }

    // A flush would fill up the current cluster and leave no room for this chunk.
    bool IsInCluster(uint32_t lba) const {
        const MediumTraits& medium = TraitsOf(m_drive.Dvd().m_nProfile);
        return medium.IsBd() && medium.IsSequential() && lba % kBdClusterBlocks != 0;
    }

    Next FlushAndSendAgain() {
        if (SynchronizeCache(m_command, false) != 0) {
            return Next::Fail;
        }
        if (++m_nCount == 1) {
            return SendAgain();
        }
        m_nCount = 0;
        return Pause(kLongPauseMs);
    }

    bool DriveReportsBusy() { return (m_drive.HandleEvents(m_command) & kDeviceBusyEvent) != 0; }

    Next If(bool goesOn) const {
        if (goesOn) {
            return Next::SendAgain;
        }
        return m_drive.IsGivenUp() ? Next::Fail : Next::Cancelled;
    }

    Next SendAgain() { return If(m_wait.GoOn()); }

    Next Pause(int64_t milliseconds) {
        if (milliseconds < 0) { // a drive that reports a negative speed
            return Next::Fail;
        }
        return If(m_wait.ShortPause(
            static_cast<uint64_t>(std::max<int64_t>(milliseconds, kShortestPauseMs))));
    }

    CScsiCommand& m_command;
    CAspiCD& m_drive;
    BusyWait m_wait;
    int m_nCount = 0;
};

int SendWrite(CScsiCommand& command, const uint8_t* data, uint32_t lba, uint32_t blocks) {
    command[0] = mmc::kWrite10;
    StoreBe32(&command[2], lba);
    StoreBe16(&command[7], static_cast<uint16_t>(blocks));
    return command.Transport(Direction::WRITE, const_cast<uint8_t*>(data),
                             blocks * static_cast<uint32_t>(kLogicalBlockBytes));
}

} // namespace

int DvdRecording::WriteDvdChunk(const uint8_t* buffer, int64_t offset) {
    constexpr auto chunkBytes = static_cast<int64_t>(kDvdChunkBytes);
    constexpr int64_t lastOffset = (int64_t{UINT32_MAX} - kDvdChunkBlocks) * kLogicalBlockBytes;
    if (offset < 0 || offset > lastOffset || offset % chunkBytes != 0) {
        return -1;
    }
    auto lba = static_cast<uint32_t>(offset / kLogicalBlockBytes);
    uint32_t blocks = kDvdChunkBlocks;
    if (!m_bMediaWritten && m_nNextWriteAddress > lba) {
        if (lba + blocks <= m_nNextWriteAddress) {
            return static_cast<int>(kDvdChunkBytes);
        }
        const uint32_t skipped = m_nNextWriteAddress - lba;
        buffer += skipped * kLogicalBlockBytes;
        blocks -= skipped;
        lba = m_nNextWriteAddress;
    }
    if (s_nDaoToggle < 0) {
        s_nDaoToggle = m_bDaoMode ? 1 : 0;
    }

    CScsiCommand command(m_drive);
    ChunkRetries retries(command);
    for (;;) {
        const int code = SendWrite(command, buffer, lba, blocks);
        if (code == 0) {
            break;
        }
        const ChunkRetries::Next next = retries.After(code, lba);
        if (next == ChunkRetries::Next::Cancelled) {
            return kChunkCancelled;
        }
        if (next == ChunkRetries::Next::Fail) {
            m_nWriteError = code;
            if (TraitsOf(m_nProfile).IsPlusRDl() && code != mmc::kLbaOutOfRange) {
                m_bMediaWritten = false;
            }
            return -1;
        }
    }
    m_nNextWriteAddress = lba + blocks;
    m_bMediaWritten = true;
    if (s_nDaoToggle < 0) {
        s_nDaoToggle = 0;
    }
    return static_cast<int>(blocks * kLogicalBlockBytes);
}

} // namespace larkspin
