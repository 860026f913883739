// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Closing a DVD recording in the way the medium needs.
//
// A finisher does its work only if something was written. It stops at the first step that fails and
// leaves m_bMediaWritten set, so that it can be run again. Finishers can't be cancelled: a disc
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

// Waits for a close operation to end. True if it succeeded.
bool WaitForClose(CScsiCommand& command) {
    CAspiCD& drive = command.Drive();
    return drive.WaitForUnit(command) == 0 && drive.LateError() == 0;
}

// Starts a close operation and waits for it. True if it succeeded.
bool Close(CScsiCommand& command, CloseFunction function, int32_t track = 0) {
    return SendClose(command, function, track) == 0 && WaitForClose(command);
}

// The same for a drive that may still be busy with the previous close operation.
bool CloseWhenFree(CScsiCommand& command, CloseFunction function) {
    CAspiCD& drive = command.Drive();
    BusyWait wait(drive, nullptr);
    for (;;) {
        const int code = SendClose(command, function);
        if (code != mmc::kOperationInProgress) {
            return code == 0 && WaitForClose(command);
        }
        if (!wait.ShortPause(std::max(drive.Dvd().m_nPollDelayMs, kShortestPauseMs))) {
            return false;
        }
    }
}

// The recording is closed: there is nothing left to finish.
void Done(DvdRecording& dvd) {
    dvd.m_bMediaWritten = false;
    if (dvd.m_bStopAfterFinish) {
        dvd.StopUnit();
    }
}

int Flush(DvdRecording& dvd, bool alsoWait) {
    CScsiCommand command(dvd.Drive());
    int lost = SynchronizeCache(command, true);
    if (lost == 0) {
        const int waited = dvd.Drive().WaitForUnit(command);
        lost = dvd.Drive().LateError() != 0 || alsoWait ? dvd.Drive().LateError() : waited;
    } else if (!IsRecordingError(command.Key()) && (alsoWait || HasSense(command.Sense()))) {
        lost = 0; // a drive that can't flush at once, or is busy, has lost nothing
    }
    if (!alsoWait) {
        return lost;
    }
    const int code = SynchronizeCache(command, false, dvd.m_bDaoMode ? kFlushInOneGoSeconds : 0);
    return code != 0 ? code : lost;
}

} // namespace

int DvdRecording::FlushDvdCache(bool alsoWait) {
    const int code = Flush(*this, alsoWait);
    if (code != 0) {
        m_drive.NoteCacheLost();
    }
    return code;
}

void DvdRecording::FinishPlusRw() {
    CScsiCommand command(m_drive);
    if (!m_bMediaWritten || FlushDvdCache(true) != 0 || !Close(command, kStopBackgroundFormat) ||
        !Close(command, kCloseSession)) {
        return;
    }
    m_nNextWriteAddress = 0;
    Done(*this);
}

void DvdRecording::FinishPlusR() {
    CloseFunction last = kCloseSession;
    if (m_bDaoOnly) {
        last = TraitsOf(m_nProfile).IsPlusRDl() ? kFinalizePlusRDl : kFinalizePlusR;
    }
    CScsiCommand command(m_drive);
    if (!m_bMediaWritten || FlushDvdCache(true) != 0 ||
        !Close(command, kCloseTrack, m_nNextTrack) || !CloseWhenFree(command, last)) {
        return;
    }
    Done(*this);
}

void DvdRecording::FinishMinusRw() {
    CScsiCommand command(m_drive);
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

void DvdRecording::FinishMinusR() {
    CScsiCommand command(m_drive);
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

void DvdRecording::FinishRam() {
    if (!m_bMediaWritten || FlushDvdCache(true) != 0 || (m_bStopAfterFinish && StopUnit() != 0)) {
        return;
    }
    m_bMediaWritten = false;
}

int DvdRecording::StopUnit() {
    CScsiCommand command(m_drive);
    BusyWait wait(m_drive, nullptr);
    for (;;) {
        command[0] = mmc::kStartStopUnit;
        command[1] = 1; // immediate
        command[4] = 0; // stop
        const int code = command.Transport(Direction::NONE);
        if (code != mmc::kOperationInProgress || !wait.Pause(kStopPollMs)) {
            if (IsRecordingError(command.Key())) {
                m_drive.NoteCacheLost();
            }
            return code;
        }
    }
}

} // namespace larkspin
