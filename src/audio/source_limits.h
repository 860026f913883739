// What a source may be, and how one is refused: the limits of the stages and of CReader's fields.
//
// A refusal is a CReaderException whose text names the file without its folder and gives the
// reason; a long name is shortened so that the reason always stands in full.
#pragma once

#include "audio/reader.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace larkspin {

constexpr int32_t kMaxSourceChannels = 2;
// Below this rate the output of one block outgrows the resampler's buffers.
constexpr int32_t kMinSourceRate = 2205;
// Above this rate no real file lies.
constexpr int32_t kMaxSourceRate = 768000;

// Raises "Cannot write NAME: REASON"; `reason` is a sentence's rest with its full stop.
[[noreturn]] void RefuseSource(const std::u16string& name, std::string_view reason);

// `bytes` as a CReader's m_nLength; refuses what does not fit. For the constructors of readers.
int32_t CheckedLength(const std::u16string& name, uint64_t bytes);

// Bytes of the first second of `source`, or of all of it if that is less; at most 1 MiB. That much
// is decoded when a file is opened, so that one which doesn't decode is refused by name.
uint64_t TrialBytes(const CReader& source);
// Refuses a file of which so few of these bytes could be decoded that it is no song. A quarter is
// enough: lengths are estimates, and a song may begin with damage.
void CheckTrial(const std::u16string& name, uint64_t decoded, uint64_t trial);

// Refuses a source that no chain can bring to CD audio: no or too many channels, a rate outside
// the limits, no length, or a finished length that does not fit m_nLength. Its width is left to the
// stages.
void CheckSource(const std::u16string& name, const CReader& source);

} // namespace larkspin
