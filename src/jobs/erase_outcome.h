// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Finds out what became of a disc that was erased by looking at it: a drive that accepts the
// command may fail later, and one that refuses it leaves the disc as it was.
#pragma once

#include "jobs/job_frame.h"

#include <string>

namespace larkspin {

struct EraseOutcome {
    CAspiCD::DiscContent content = CAspiCD::DiscContent::Unknown;
    std::u16string reason; // why it is not as it should be; empty if nothing was reported

    bool IsEmpty() const { return content == CAspiCD::DiscContent::Nothing; }
};

// Waits up to a minute for the drive, unless the user cancels the erase, and looks at the disc.
// `reason` is what went wrong before, if anything did.
EraseOutcome LookAtErased(JobEnv& env, CAspiCD& drive, const std::u16string& reason);

// If the drive reported lost blocks, sets the reason of an outcome that has none.
void NoteLostBlocks(const CAspiCD& drive, EraseOutcome* outcome);

// Says whether the disc is empty, for the user.
std::u16string TextOf(const EraseOutcome& outcome);

} // namespace larkspin
