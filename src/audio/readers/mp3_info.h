// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The frame without sound that encoders put in front of an MPEG Layer III stream: the "Xing" or
// "Info" frame, with the extension of LAME that tells how much silence the encoder added.
#pragma once

#include "audio/readers/mpeg_stream.h"

#include <cstdint>
#include <optional>

namespace larkspin {

struct Mp3Info {
    uint32_t frames = 0;  // of sound, this one left out; 0 if the encoder did not tell
    uint32_t delay = 0;   // samples in front of the sound
    uint32_t padding = 0; // samples behind it
};

// From the frame that `stream` has read last, whose header is `header`. Nothing for a frame of
// sound, and for one whose encoder tells no delay.
std::optional<Mp3Info> ReadMp3Info(const mad_header& header, const CMpegStream& stream);

} // namespace larkspin
