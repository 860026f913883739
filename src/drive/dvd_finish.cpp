// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Closing a DVD recording in the way that suits the medium.
//
// A finisher runs only when something was written. It stops at the first step that fails and then
// leaves m_bMediaWritten set, so that it can be run again. Finishers ask no cancel functor: a disc
// whose recording was cut short still has to be closed.
#include "drive/dvd_detail.h"
#include "drive/mmc.h"
#include "drive/profiles.h"
#include "drive/scsi_command.h"
#include "drive/sense.h"
#include "drive/timeouts.h"
#include "drive/waiting.h"
#include "platform/byte_order.h"

#include <algorithm>

namespace larkspin {

namespace {

// Close functions of CLOSE TRACK/SESSION (MMC).
enum CloseFunction : uint8_t {
    kStopBackgroundFormat = 0,
    kCloseTrack = 1,
    kCloseSession = 2,
    kFinalizePlusRDl = 5,
    kFinalizePlusR = 6,
};

constexpr uint32_t kStopPollMs = 333;

int SendClose(CScsiCommand& command, CloseFunction function, int32_t track = 0) {
    command[0] = mmc::kCloseTrackSession;
    command[1] = 1; // immediate
    command[2] = function;
    StoreBe16(&command[4], static_cast<uint16_t>(track));
    return command.Transport(Direction::NONE);
}

// Waits for the end of a closing that has begun. True if it succeeded.
bool WaitForClose(CScsiCommand& command) {
    CAspiCD& drive = command.Drive();
    return drive.WaitForUnit(command) == 0 && drive.m_nLateError == 0;
}

// Starts the closing and waits for its end. True on success.
bool Close(CScsiCommand& command, CloseFunction function, int32_t track = 0) {
    return SendClose(command, function, track) == 0 && WaitForClose(command);
}

// The same for a drive that may still be busy with the closing before.
bool CloseWhenFree(CScsiCommand& command, CloseFunction function) {
    CAspiCD& drive = command.Drive();
    BusyWait wait(drive, nullptr);
    for (;;) {
        const int code = SendClose(command, function);
        if (code != mmc::kOperationInProgress) {
            return code == 0 && WaitForClose(command);
        }
        if (!wait.ShortPause(std::max(drive.m_nPollDelayMs, kShortestPauseMs))) {
            return false;
        }
    }
}

// The recording is closed: there is nothing left to finish.
void Done(CAspiCD& drive) {
    drive.m_bMediaWritten = false;
    if (drive.m_bStopAfterFinish) {
        drive.StopUnit();
    }
}

int Flush(CAspiCD& drive, bool alsoWait) {
    CScsiCommand command(drive);
    int lost = SynchronizeCache(command, true);
    if (lost == 0) {
        const int waited = drive.WaitForUnit(command);
        lost = drive.m_nLateError != 0 || alsoWait ? drive.m_nLateError : waited;
    } else if (!IsRecordingError(command.Key()) && (alsoWait || HasSense(command.Sense()))) {
        lost = 0; // a drive that does not flush at once, or is busy, has lost nothing
    }
    if (!alsoWait) {
        return lost;
    }
    const int code = SynchronizeCache(command, false, drive.m_bDaoMode ? kFlushInOneGoSeconds : 0);
    return code != 0 ? code : lost;
}

} // namespace

int CAspiCD::FlushDvdCache(bool alsoWait) {
    const int code = Flush(*this, alsoWait);
    m_bCacheLost = m_bCacheLost || code != 0;
    return code;
}

void CAspiCD::FinishPlusRw() {
    CScsiCommand command(*this);
    if (!m_bMediaWritten || FlushDvdCache(true) != 0 || !Close(command, kStopBackgroundFormat) ||
        !Close(command, kCloseSession)) {
        return;
    }
    m_nNextWriteAddress = 0;
    Done(*this);
}

void CAspiCD::FinishPlusR() {
    CloseFunction last = kCloseSession;
    if (m_bDaoOnly) {
        last = TraitsOf(m_nProfile).IsPlusRDl() ? kFinalizePlusRDl : kFinalizePlusR;
    }
    CScsiCommand command(*this);
    if (!m_bMediaWritten || FlushDvdCache(true) != 0 ||
        !Close(command, kCloseTrack, m_nNextTrack) || !CloseWhenFree(command, last)) {
        return;
    }
    Done(*this);
}

void CAspiCD::FinishMinusRw() {
    CScsiCommand command(*this);
    if (!m_bMediaWritten || FlushDvdCache(true) != 0) {
        return;
    }
    if (m_bQuickGrown) {
        if (!Close(command, kCloseSession)) {
            return;
        }
        m_bQuickGrown = false;
    }
    m_nNextWriteAddress = 0;
    Done(*this);
}

void CAspiCD::FinishMinusR() {
    CScsiCommand command(*this);
    if (!m_bMediaWritten || FlushDvdCache(!m_bDaoMode) != 0) {
        return;
    }
    // A disc written in one go was closed by its own last flush.
    if (!m_bDaoMode &&
        (!Close(command, kCloseTrack, m_nNextTrack) || !CloseWhenFree(command, kCloseSession))) {
        return;
    }
    Done(*this);
}

void CAspiCD::FinishRam() {
    if (!m_bMediaWritten || FlushDvdCache(true) != 0 || (m_bStopAfterFinish && StopUnit() != 0)) {
        return;
    }
    m_bMediaWritten = false;
}

int CAspiCD::StopUnit() {
    CScsiCommand command(*this);
    BusyWait wait(*this, nullptr);
    for (;;) {
        command[0] = mmc::kStartStopUnit;
        command[1] = 1; // immediate
        command[4] = 0; // stop
        const int code = command.Transport(Direction::NONE);
        if (code != mmc::kOperationInProgress || !wait.Pause(kStopPollMs)) {
            m_bCacheLost = m_bCacheLost || IsRecordingError(command.Key());
            return code;
        }
    }
}

} // namespace larkspin
