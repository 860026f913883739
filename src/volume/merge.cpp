#include "volume/merge.h"

#include "volume/run.h"

namespace larkspin {

// The reading of an earlier session is not built yet, so every merge ends here and nothing is
// written: a disc with files on it is never continued by a session that would hide them.
void MergePreviousSession(VolumeRun&, IBlockReader&) {
    throw CCDWriterISOGenException(u"Unable to find previous session.");
}

} // namespace larkspin
