// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The frame without sound that encoders put before an MPEG Layer III stream: the "Xing" or "Info"
// frame, with LAME's extension that says how much silence the encoder added.
#pragma once

#include "audio/readers/mpeg_stream.h"

#include <cstdint>
#include <optional>

namespace larkspin {

struct Mp3Info {
    uint32_t frames = 0;  // of sound, without this one; 0 if the encoder did not say
    uint32_t delay = 0;   // samples before the sound
    uint32_t padding = 0; // samples after it
};

// From the frame last read by `stream`, whose header is `header`. Nothing for a frame of sound, and
// if the encoder gives no delay.
std::optional<Mp3Info> ReadMp3Info(const mad_header& header, const CMpegStream& stream);

} // namespace larkspin
