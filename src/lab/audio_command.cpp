// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "audio/factory.h"
#include "lab/commands.h"

#include <array>
#include <cstdio>
#include <filesystem>

namespace larkspin::lab {

namespace {

// Readers take names from the root only.
std::u16string FullName(const char* argument) {
    return ToWide(std::filesystem::absolute(argument).native());
}

} // namespace

int RunAudio(Arguments arguments) {
    if (arguments.size() != 1) {
        std::fputs("audio takes one file.\n", stderr);
        return 2;
    }
    try {
        const std::unique_ptr<CReader> chain = CreateAudioReader(FullName(arguments[0]));
        if (!chain) {
            std::fprintf(stderr, "%s has no suffix of an audio file.\n", arguments[0]);
            return 1;
        }
        std::array<uint8_t, kCdReadChunkBytes> buffer;
        for (;;) {
            uint32_t got = 0;
            chain->Read(buffer.data(), buffer.size(), &got);
            if (got == 0) {
                break;
            }
            if (std::fwrite(buffer.data(), 1, got, stdout) != got) {
                break;
            }
        }
    } catch (const CReaderException& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return 1;
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        std::fputs("The output can't be written.\n", stderr);
        return 1;
    }
    return 0;
}

int RunLength(Arguments arguments) {
    if (arguments.empty()) {
        std::fputs("length takes one file or more.\n", stderr);
        return 2;
    }
    for (const char* name : arguments) {
        std::printf("%u\t%s\n", GetAudioFileLength(FullName(name)), name);
    }
    return 0;
}

} // namespace larkspin::lab
