// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/readers/wav_reader.h"
#include "audio_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return larkspin::FuzzAudioReader<larkspin::CWavReader>(
        data, size, [](const auto& name, auto& files) { return larkspin::ProbeWav(name, files); });
}
