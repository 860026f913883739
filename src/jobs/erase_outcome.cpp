// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "jobs/erase_outcome.h"
#include "drive/sense.h"
#include "jobs/drive_reason.h"

namespace larkspin {

EraseOutcome LookAtErased(JobEnv& env, CAspiCD& drive, const std::u16string& reason) {
    EraseOutcome outcome;
    outcome.reason = reason;
    const CAspiCD::GoOn goOn = [&env] { return !env.ui.IsEraseCancelled(); };
    switch (drive.AwaitUnit(goOn)) {
    case CAspiCD::UnitState::Ready:
        outcome.content = drive.LookAtContent(goOn);
        break;
    case CAspiCD::UnitState::NoDisc:
        outcome.reason = ReasonOf(kKeyNotReady << 16 | kAscMediumNotPresent << 8);
        break;
    case CAspiCD::UnitState::Busy:
        if (reason.empty()) {
            outcome.reason = ReasonOf(kKeyNotReady << 16 | kAscNotReady << 8);
        }
        break;
    case CAspiCD::UnitState::Cancelled:
        break;
    }
    NoteLostBlocks(drive, &outcome);
    return outcome;
}

void NoteLostBlocks(const CAspiCD& drive, EraseOutcome* outcome) {
    if (drive.IsCacheLost() && outcome->reason.empty()) {
        outcome->reason = ReasonOf(kKeyMediumError << 16);
    }
}

std::u16string TextOf(const EraseOutcome& outcome) {
    const std::u16string reason = outcome.reason.empty() ? u"" : u"\n\n" + outcome.reason;
    switch (outcome.content) {
    case CAspiCD::DiscContent::Nothing:
        return reason.empty()
                   ? u"The disk has been erased and is empty."
                   : u"The disk looks empty, but what was on it may not be gone." + reason;
    case CAspiCD::DiscContent::IsoVolume:
    case CAspiCD::DiscContent::Other:
        return u"The disk is not empty. There is still something on it." + reason;
    case CAspiCD::DiscContent::Unknown:
        break;
    }
    return u"Larkspin could not find out whether the disk is empty. Please do not give it away "
           u"before you have looked at it." +
           reason;
}

} // namespace larkspin
