// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Sound files for the tests of the readers: made at run time with the formats' own encoders, read
// back with independent decoders, damaged on purpose.
#pragma once

#include "audio/reader.h"
#include "platform/files.h"
#include "support/file_bytes.h"
#include "support/temp_folder.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace larkspin::codecs {

Bytes operator+(Bytes left, const Bytes& right);
Bytes Text(std::string_view text);
Bytes Le32(uint32_t value);
// A chunk of a RIFF file with its pad byte; `size` stands in the header, right or wrong.
Bytes Chunk(std::string_view id, const Bytes& contents, std::optional<uint32_t> size = {});

struct Sound {
    std::vector<int32_t> samples = {}; // interleaved
    int channels = 2;
    int bits = 16;
    int rate = 44100;
};

// Two tones and noise at a third of full scale, from a fixed seed, in the form that `form` has.
Sound MakeTones(size_t frames, Sound form = {}, uint32_t seed = 1);

// Samples as they stand in a WAV file: 8-bit ones unsigned, wider ones little-endian.
Bytes PackSamples(const std::vector<int32_t>& samples, int bits);
Bytes Pcm(const Sound& sound);
std::vector<int16_t> ToSamples(const Bytes& pcm); // of 16 bits

// A WAV file in front of `pcm`.
Bytes MakeWav(const Bytes& pcm, int rate, int channels, int bits);

// Writes `sound` in the format that the suffix of `path` tells, by the format's own encoder (none
// for WAV and Monkey's Audio) with `options` on its command line.
void WriteSound(const std::string& path, const Sound& sound, const std::string& options = "");
// The file that WriteSound makes, in memory.
Bytes Encoded(const std::string& suffix, const Sound& sound, const std::string& options = "");

// Runs a command that must succeed. Capture gives what it writes to its standard output.
void Shell(const std::string& command);
Bytes Capture(const std::string& command);

// Reads `reader` to its end the way the audio job does, at most `limit` bytes.
Bytes Drain(CReader& reader, size_t limit = size_t{1} << 28);

// The text of the CReaderException that `make` raises; "(none)" if it raises none.
std::string FailureOf(const std::function<void()>& make);

} // namespace larkspin::codecs
