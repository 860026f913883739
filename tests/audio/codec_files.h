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

// Header ("ID3") or footer ("3DI") of an ID3v2 tag, and of an APEv2 tag, around `contents` bytes.
Bytes Id3v2Edge(const char* id, uint8_t flags, size_t contents);
Bytes ApeTagEdge(uint32_t flags, size_t contents);

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

// Writes `sound` in the format that the suffix of `path` tells, by the format's own encoder with
// `options` on its command line; WAV by none. Of Monkey's Audio, which has no free encoder, the
// file of MakeTones in the folder ape that has the form and the length of `sound`.
void WriteSound(const std::string& path, const Sound& sound, const std::string& options = "");
// The file that WriteSound makes, in memory.
Bytes Encoded(const std::string& suffix, const Sound& sound, const std::string& options = "");

// Runs a command that must succeed, and gives what it writes to its standard output.
Bytes Capture(const std::string& command);

// Reads `reader` to its end, `request` bytes at a time, the audio job's if not told, at most
// `limit`.
Bytes Drain(CReader& reader, size_t limit = size_t{1} << 28, uint32_t request = kCdReadChunkBytes);

// Whether `got` is `whole` but for its middle third.
bool LostItsMiddle(const Bytes& got, const Bytes& whole);

// The text of the CReaderException that `make` raises; "(none)" if it raises none.
std::string FailureOf(const std::function<void()>& make);

} // namespace larkspin::codecs
