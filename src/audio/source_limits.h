// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What a source may be, and how one is refused: the limits of the stages and of CReader's fields.
//
// A refusal is a CReaderException whose text gives the reason; the factory puts the file's name in
// front.
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

// A text around the name of a file without its folder. What CReaderException can keep of a long
// name is less than all, so that `after` always stands in full.
std::string TextWithName(std::string_view before, const std::u16string& name,
                         std::string_view after);

// `bytes` as a CReader's m_nLength; refuses what does not fit. For the constructors of readers.
int32_t CheckedLength(uint64_t bytes);

// Bytes of the first second of `source`, or of all of it if that is less; at most 1 MiB. That much
// is decoded when a file is opened, so that one which doesn't decode is refused.
uint64_t TrialBytes(const CReader& source);
// Refuses a file of which so few of these bytes could be decoded that it is no song. A quarter is
// enough: lengths are estimates, and a song may begin with damage.
void CheckTrial(uint64_t decoded, uint64_t trial);

// Refuses a source that no chain can bring to CD audio: no or too many channels, a rate outside
// the limits, no length, or a finished length that does not fit m_nLength. Its width is left to the
// stages.
void CheckSource(const CReader& source);

} // namespace larkspin
