// The disc check of the data job.
#pragma once

#include "jobs/job_frame.h"

namespace larkspin {

// Looks at the disc in the drive, and prompts for another one or erases it, until it takes
// `estimate` sectors or the user gives up. True when the disc fits.
bool CheckDataDisc(JobEnv& env, CAspiCD& drive, int32_t estimate);

} // namespace larkspin
