// Waits inside operations of a drive that the user may cancel.
#pragma once

#include "drive/aspi_cd.h"

#include <cstdint>

namespace larkspin {

// How many times in a row a command is sent again at once because the drive reports a unit
// attention. A sound drive reports each event once; a broken one must not hold a job for ever.
constexpr int kMaxAttentionRepeats = 100;
constexpr uint32_t kAttentionPauseMs = 10;

// False for a null pointer.
bool IsCancelled(const CancelFunctor* cancel);

// Sleeps `milliseconds`. With a functor it sleeps in slices of at most 200 ms and asks before each
// of them and at the end: false as soon as the user has cancelled, else true.
bool SleepUnlessCancelled(IClock& clock, uint64_t milliseconds, const CancelFunctor* cancel);

} // namespace larkspin
