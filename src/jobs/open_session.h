// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A disc whose last session was never closed: the job that wrote it was cancelled or killed.
#pragma once

#include "jobs/job_frame.h"

namespace larkspin {

// Tells the user why nothing can be appended to the disc, and closes its last session if they want
// that. True if the disc must be checked again. Nothing is written without their Yes.
bool OfferClosing(JobEnv& env, DriveHold& hold, CAspiCD& drive);

} // namespace larkspin
