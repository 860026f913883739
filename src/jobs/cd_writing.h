// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The loop that writes a job's sectors of 2048 bytes to a CD.
#pragma once

#include "jobs/job_frame.h"
#include "jobs/written_record.h"

#include <cstdint>

namespace larkspin {

constexpr int32_t kSectorsPerWrite = 16;

struct CdStream {
    IByteSource& source;
    int32_t address; // the next block on the disc
    int32_t left;    // sectors still to come
    JobKind kind;    // determines whose bar moves
    const CancelFunctor& cancel;
    WrittenRecord* record; // receives what was written; may be null
};

enum class CdStreamEnd {
    Ended, // all is written, the source ended early, or the user cancelled
    ReadFailed,
    WriteFailed,
};

// Advances the address and the count. A partial sector at the end of the source is left out.
CdStreamEnd WriteStream(CCDWriterUI& ui, CAspiCD& drive, CdStream* stream);

} // namespace larkspin
