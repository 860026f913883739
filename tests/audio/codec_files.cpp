// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/codec_files.h"

#include "platform/byte_order.h"
#include "platform/text.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <random>
#include <stdexcept>

namespace larkspin::codecs {

Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Sound MakeTones(size_t frames, Sound form, uint32_t seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> noise(-0.05, 0.05);
    const double scale = std::ldexp(1.0, form.bits - 1) / 3;
    for (size_t i = 0; i < frames; ++i) {
        for (int channel = 0; channel < form.channels; ++channel) {
            const double step = 2 * std::numbers::pi * (0.01 + 0.013 * channel);
            const double tone = std::sin(step * static_cast<double>(i));
            form.samples.push_back(static_cast<int32_t>(scale * (tone + noise(random))));
        }
    }
    return form;
}

Bytes PackSamples(const std::vector<int32_t>& samples, int bits) {
    Bytes bytes;
    for (const int32_t sample : samples) {
        for (int shift = 0; shift < bits; shift += 8) {
            bytes.push_back(static_cast<uint8_t>((sample + (bits == 8 ? 0x80 : 0)) >> shift));
        }
    }
    return bytes;
}

Bytes Pcm(const Sound& sound) {
    return PackSamples(sound.samples, sound.bits);
}

std::vector<int16_t> ToSamples(const Bytes& pcm) {
    std::vector<int16_t> samples(pcm.size() / 2);
    for (size_t i = 0; i < samples.size(); ++i) {
        samples[i] = static_cast<int16_t>(LoadLe16(&pcm[2 * i]));
    }
    return samples;
}

Bytes Text(std::string_view text) {
    return {text.begin(), text.end()};
}

Bytes Le32(uint32_t value) {
    Bytes bytes(4);
    StoreLe32(bytes.data(), value);
    return bytes;
}

Bytes Chunk(std::string_view id, const Bytes& contents, std::optional<uint32_t> size) {
    const auto real = static_cast<uint32_t>(contents.size());
    return Text(id) + Le32(size.value_or(real)) + contents + Bytes(real % 2);
}

Bytes Id3v2Edge(const char* id, uint8_t flags, size_t contents) {
    const auto group = [&](int at) { return static_cast<uint8_t>(contents >> at & 0x7F); };
    return Text(id) + Bytes{4, 0, flags, group(21), group(14), group(7), group(0)};
}

Bytes ApeTagEdge(uint32_t flags, size_t contents) {
    return Text("APETAGEX") + Le32(2000) + Le32(static_cast<uint32_t>(contents) + 32) + Le32(1) +
           Le32(flags) + Bytes(8);
}

Bytes MakeWav(const Bytes& pcm, int rate, int channels, int bits) {
    const auto blockAlign = static_cast<uint32_t>(channels * bits / 8);
    const auto frequency = static_cast<uint32_t>(rate);
    const Bytes format = Le32(1U | static_cast<uint32_t>(channels) << 16) + Le32(frequency) +
                         Le32(frequency * blockAlign) +
                         Le32(blockAlign | static_cast<uint32_t>(bits) << 16);
    return Chunk("RIFF", Text("WAVE") + Chunk("fmt ", format) + Chunk("data", pcm));
}

void WriteSound(const std::string& path, const Sound& sound, const std::string& options) {
    const std::string suffix = path.substr(path.rfind('.'));
    const std::string wav = suffix == ".wav" ? path : path + ".wav";
    if (suffix == ".ape") {
        const size_t frames = sound.samples.size() / static_cast<size_t>(sound.channels);
        std::filesystem::copy_file(Format(LARKSPIN_SOURCE "/tests/audio/ape/tones_%zu_%dx%d_%d.ape",
                                          frames, sound.channels, sound.bits, sound.rate),
                                   path, std::filesystem::copy_options::overwrite_existing);
        return;
    }
    WriteFileBytes(wav, MakeWav(Pcm(sound), sound.rate, sound.channels, sound.bits));
    if (suffix == ".flac") {
        Capture("flac -s -f " + options + " -o " + path + " " + wav);
    } else if (suffix == ".ogg") {
        Capture("oggenc -Q --serial 1 " + options + " -o " + path + " " + wav);
    } else if (suffix == ".mp3") {
        Capture("lame --quiet " + options + " " + wav + " " + path);
    } else if (suffix == ".aiff") {
        Capture("sox " + wav + ' ' + path);
    } else if (suffix != ".wav") {
        Capture("ffmpeg -v error -y -i " + wav + ' ' + options + ' ' + path);
    }
}

Bytes Encoded(const std::string& suffix, const Sound& sound, const std::string& options) {
    const TempFolder folder;
    WriteSound(folder.Path() + "/sound" + suffix, sound, options);
    return ReadFileBytes(folder.Path() + "/sound" + suffix);
}

Bytes Capture(const std::string& command) {
    const TempFolder folder;
    const std::string out = folder.Path() + "/out";
    if (std::system(("(" + command + "\n) >" + out + " 2>/dev/null </dev/null").c_str()) != 0) {
        throw std::runtime_error("failed: " + command);
    }
    return ReadFileBytes(out);
}

Bytes Drain(CReader& reader, size_t limit, uint32_t request) {
    Bytes bytes;
    Bytes buffer(request);
    uint32_t got = 0;
    do {
        reader.Read(buffer.data(), request, &got);
        bytes.insert(bytes.end(), buffer.begin(), buffer.begin() + got);
    } while (got > 0 && bytes.size() < limit);
    return bytes;
}

bool LostItsMiddle(const Bytes& got, const Bytes& whole) {
    const auto part = static_cast<ptrdiff_t>(whole.size() / 3);
    return got != whole && got.size() >= whole.size() / 3 * 2 &&
           std::equal(whole.begin(), whole.begin() + part, got.begin()) &&
           std::equal(whole.end() - part, whole.end(), got.end() - part);
}

std::string FailureOf(const std::function<void()>& make) {
    try {
        make();
    } catch (const CReaderException& failure) {
        return failure.what();
    }
    return "(none)";
}

} // namespace larkspin::codecs
