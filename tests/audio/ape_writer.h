// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Writes Monkey's Audio files (format 3.99, compression level "fast"), since no free encoder for
// them is to be had.
#pragma once

#include "audio/codec_files.h"

namespace larkspin::codecs {

// `sound` has one or two channels of 8, 16 or 24 bits.
Bytes WriteApe(const Sound& sound);

} // namespace larkspin::codecs
