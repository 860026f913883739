// Sound files for the tests of the readers: made at run time with the formats' own encoders, read
// back with independent decoders, damaged on purpose.
#pragma once

#include "audio/reader.h"
#include "platform/files.h"
#include "support/temp_folder.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace larkspin::codecs {

using Bytes = std::vector<uint8_t>;

// Two tones and noise at a third of full scale, interleaved, from a fixed seed.
std::vector<int32_t> MakeSound(size_t frames, int channels, int bits, uint32_t seed = 1);

// Samples as they stand in a WAV file: 8-bit ones unsigned, wider ones little-endian.
Bytes PackSamples(const std::vector<int32_t>& samples, int bits);

// A WAV file in front of `pcm`.
Bytes MakeWav(const Bytes& pcm, int rate, int channels, int bits);

Bytes ReadAll(const std::string& path);
void WriteAll(const std::string& path, const Bytes& bytes);

// Runs a command that must succeed. Capture gives what it writes to its standard output.
void Shell(const std::string& command);
Bytes Capture(const std::string& command);

// Reads `reader` to its end the way the audio job does, at most `limit` bytes.
Bytes Drain(CReader& reader, size_t limit = size_t{1} << 28);

// The text of the CReaderException that `make` raises; "(none)" if it raises none.
std::string FailureOf(const std::function<void()>& make);

} // namespace larkspin::codecs
