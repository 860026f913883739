// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/readers/flac_reader.h"
#include "audio_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using Reader = larkspin::CFLACReader;
    return larkspin::FuzzAudioReader<Reader>(data, size, &larkspin::ProbeHeader<Reader>);
}
