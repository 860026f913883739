// Writes a short Monkey's Audio file, of which no encoder is at hand, as a seed for the fuzzer.

#include "audio/ape_writer.h"
#include "audio/codec_files.h"

#include <cstdio>

int main(int argc, char** argv) {
    using namespace larkspin::codecs;
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_ape_seed FILE\n");
        return 2;
    }
    WriteAll(argv[1], WriteApe({.samples = MakeSound(6000, 2, 16), .blocksPerFrame = 2500}));
    return 0;
}
