// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// larkspin-lab: parts of Larkspin on the command line, for tests, benchmarks and the curious.
#include "lab/commands.h"

#include <cstdio>
#include <string_view>

namespace {

using larkspin::lab::Arguments;

struct Command {
    std::string_view name;
    const char* usage;
    int (*run)(Arguments arguments);
};

constexpr Command kCommands[] = {
    {"audio", "audio FILE > PCM", larkspin::lab::RunAudio},
    {"length", "length FILE...", larkspin::lab::RunLength},
    {"volume", "volume [OPTION...] PATH... (volume --help tells the options)",
     larkspin::lab::RunVolume},
};

void PrintUsage(std::FILE* file) {
    std::fputs("Usage:\n", file);
    for (const Command& command : kCommands) {
        std::fprintf(file, "  larkspin-lab %s\n", command.usage);
    }
    std::fputs("  larkspin-lab --help | --version\n", file);
}

} // namespace

int main(int argc, char** argv) {
    const Arguments arguments(argv, static_cast<size_t>(argc));
    if (arguments.size() >= 2) {
        const std::string_view first = arguments[1];
        if (first == "--help" || first == "-h" || first == "help") {
            PrintUsage(stdout);
            return 0;
        }
        if (first == "--version") {
            std::puts("larkspin-lab " LARKSPIN_VERSION);
            return 0;
        }
        for (const Command& command : kCommands) {
            if (command.name == arguments[1]) {
                return command.run(arguments.subspan(2));
            }
        }
    }
    PrintUsage(stderr);
    return 2;
}
