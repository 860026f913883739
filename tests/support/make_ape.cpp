// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// make_ape FILE FRAMES: a Monkey's Audio file of tones and noise, stereo at 44,100 Hz, since no
// encoder for the format is to be had. For benchmarks and as a seed for the fuzzer.

#include "audio/ape_writer.h"
#include "audio/codec_files.h"

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    using namespace larkspin::codecs;
    if (argc != 3) {
        std::fprintf(stderr, "usage: make_ape FILE FRAMES\n");
        return 2;
    }
    larkspin::WriteFileBytes(argv[1], WriteApe(MakeTones(std::strtoul(argv[2], nullptr, 10))));
    return 0;
}
