// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "jobs/open_session.h"
#include "jobs/drive_reason.h"
#include "jobs/prompts.h"

namespace larkspin {

namespace {

// Returns nothing, or why the session is still open.
std::u16string Close(CAspiCD& drive, const CancelFunctor& cancel) {
    try {
        if (const int code = drive.CloseOpenSession(&cancel); code != 0) {
            return ReasonOf(code);
        }
    } catch (const CAspiCD::CgrowisofsException& failure) {
        return StoppedText(failure);
    }
    drive.ReadDiskInfo();
    return drive.Disk().IsKnownToBe(DISK_SESSION_OPEN)
               ? u"The drive reports no error, and did not close it."
               : u"";
}

} // namespace

bool OfferClosing(JobEnv& env, DriveHold& hold, CAspiCD& drive) {
    if (!prompts::CloseOpenSession(env.ui)) {
        return false;
    }
    const CancelFunctor cancel(&env.ui, &CCDWriterUI::IsDataCancelled);
    std::u16string reason;
    {
        const ProgressScope progress(env, JobKind::Data, DiskTypeOf(drive));
        env.ui.SetStatus(JobKind::Data, u"Closing the session that was interrupted...");
        const DoorLock door(drive);
        reason = Close(drive, cancel);
        if (cancel()) {
            return false;
        }
    }
    return reason.empty() || prompts::SessionStaysOpen(hold.UiWithFreeDrive(), reason);
}

} // namespace larkspin
