// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The loop by which a job's sectors of 2048 bytes come onto a CD.
#pragma once

#include "jobs/job_frame.h"
#include "jobs/written_record.h"

#include <cstdint>

namespace larkspin {

constexpr int32_t kSectorsPerWrite = 16;

struct CdStream {
    IByteSource& source;
    int32_t address; // the next block on the disc
    int32_t left;    // sectors that are still to come
    JobKind kind;    // whose bar moves
    const CancelFunctor& cancel;
    WrittenRecord* record; // takes what was written; may be null
};

enum class CdStreamEnd {
    Ended, // all is written, the source has ended early, or the user has cancelled
    ReadFailed,
    WriteFailed,
};

// Moves on the address and the count. A part of a sector at the source's end is left out.
CdStreamEnd WriteStream(CCDWriterUI& ui, CAspiCD& drive, CdStream* stream);

} // namespace larkspin
