// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Gives a fuzz target its seeds without a fuzzer: each file of a folder as it is, cut short, and
// with a few bytes changed, always the same ones. What the target objects to ends the program.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <utility>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

constexpr int kCuts = 24;
constexpr int kChanges = 100;
constexpr size_t kHead = 512; // where most of what a file says of itself stands

void Replay(std::vector<uint8_t> seed) {
    const auto give = [&](size_t bytes) { LLVMFuzzerTestOneInput(seed.data(), bytes); };
    give(seed.size());
    std::minstd_rand random(static_cast<uint32_t>(seed.size()));
    const auto below = [&](size_t limit) { return random() % limit; };
    for (int i = 0; i < kCuts; ++i) {
        give(below(seed.size()));
    }
    for (int i = 0; i < kChanges; ++i) {
        const size_t place = below(i % 2 == 0 ? std::min(seed.size(), kHead) : seed.size());
        const uint8_t before = seed[place];
        seed[place] = static_cast<uint8_t>(i % 3 == 0 ? 0xFF : below(256));
        give(seed.size());
        if (i % 4 != 0) { // some changes pile up
            seed[place] = before;
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: replay FOLDER\n", stderr);
        return 2;
    }
    int seeds = 0;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
        std::ifstream file(entry.path(), std::ios::binary);
        std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)), {});
        if (!bytes.empty()) {
            std::printf("%s\n", entry.path().c_str());
            std::fflush(stdout);
            Replay(std::move(bytes));
            ++seeds;
        }
    }
    return seeds > 0 ? 0 : 1; // a replay of nothing is no test
}
