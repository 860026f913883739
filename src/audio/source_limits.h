// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Which sources are accepted, and how one is refused: the limits of the stages and CReader's
// fields.
//
// A refusal is a CReaderException whose text is the reason; the factory adds the file's name before
// it.
#pragma once

#include "audio/reader.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace larkspin {

constexpr int32_t kMaxSourceChannels = 2;
// Below this rate, the output for one block would exceed the resampler's buffers.
constexpr int32_t kMinSourceRate = 2205;
// No real file has a rate above this.
constexpr int32_t kMaxSourceRate = 768000;

// A text around the name of a file without its folder. As CReaderException can't keep all of a long
// name, the name is shortened so that `after` is always complete.
std::string TextWithName(std::string_view before, const std::u16string& name,
                         std::string_view after);

// `bytes` as a CReader's m_nLength; refuses what does not fit. For the constructors of readers.
int32_t CheckedLength(uint64_t bytes);

// Bytes of the first second of `source`, or all of it if that is less; at most 1 MiB. This much is
// decoded when a file is opened, so that one that can't be decoded is refused.
uint64_t TrialBytes(const CReader& source);
// Refuses a file of which so little could be decoded that it is not a song. A quarter is enough:
// lengths are estimates, and a song may begin with damage.
void CheckTrial(uint64_t decoded, uint64_t trial);

// Refuses a source that no chain can convert to CD audio: no or too many channels, a rate outside
// the limits, no length, or a finished length that does not fit into m_nLength. The stages check
// its width.
void CheckSource(const CReader& source);

} // namespace larkspin
