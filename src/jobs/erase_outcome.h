// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What has become of a disc that was erased, by looking at it: a drive that takes the command may
// fail at it later, and one that refuses it leaves the disc as it was.
#pragma once

#include "jobs/job_frame.h"

#include <string>

namespace larkspin {

struct EraseOutcome {
    CAspiCD::DiscContent content = CAspiCD::DiscContent::Unknown;
    std::u16string reason; // why it is not as it should be; empty if the drive told of nothing

    bool IsEmpty() const { return content == CAspiCD::DiscContent::Nothing; }
};

// Waits up to a minute for the drive, unless the user cancels the erase, and looks at the disc.
// `reason` is what went wrong before, if something did.
EraseOutcome LookAtErased(JobEnv& env, CAspiCD& drive, const std::u16string& reason);

// Gives an outcome without a reason one if the drive has told of lost blocks.
void NoteLostBlocks(const CAspiCD& drive, EraseOutcome* outcome);

// Whether the disc is empty, in words for the user.
std::u16string TextOf(const EraseOutcome& outcome);

} // namespace larkspin
