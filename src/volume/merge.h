// Laying the tree of a new session over the session before it.
#pragma once

#include "platform/byte_stream.h"

namespace larkspin {

struct VolumeRun;

// Adds to `run.tree`, which holds the queue, what the session at `run.previous_base` holds; reads
// through `drive`, and never after it has returned.
void MergePreviousSession(VolumeRun& run, IBlockReader& drive);

} // namespace larkspin
