// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What adding a session costs: 40,000 names in 400 folders, once as a fresh volume and once as the
// old session under a new file. No disc and no disk is in it, so the time is the generator's own.
//
//   merge_bench fresh|merge     prints the milliseconds of the fastest of five runs, and the KiB of
//                               memory that a run holds when it tells its size
#include "platform/text.h"
#include "volume/merge_kit.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <malloc.h>

namespace {

using namespace larkspin;

class NoSink final : public IByteSink {
  public:
    bool Write(const void* /*data*/, size_t /*bytes*/) override { return true; }
};

SourceFiles ManyFiles() {
    SourceFiles files;
    files.AddFolder(u"/tree");
    for (int folder = 0; folder < 400; ++folder) {
        const std::u16string path = FormatWide("/tree/folder %03d", folder);
        files.AddFolder(path);
        for (int file = 0; file < 100; ++file) {
            files.AddFile(path + FormatWide("/document number %03d.text", file), "x");
        }
    }
    return files;
}

// Gives the bytes that the run holds when the whole tree stands.
size_t Run(bool merge, IFileSystem& files, MemoryDisc& disc) {
    const size_t before = ::mallinfo2().uordblks;
    size_t held = 0;
    const auto sizeReady = [&](uint32_t) { held = ::mallinfo2().uordblks - before; };
    FixedClock clock;
    NoSink sink;
    CCDWriterISOGen generator(files, clock);
    generator.ResetOptions();
    if (merge) {
        generator.MakeMergedVolume({u"/new"}, sink, 0, disc.Sectors(), disc, sizeReady);
    } else {
        generator.MakeVolume({u"/tree"}, sink, 0, 0, sizeReady);
    }
    return held;
}

} // namespace

int main(int count, char** arguments) {
    const bool merge = count == 2 && std::strcmp(arguments[1], "merge") == 0;
    SourceFiles files = ManyFiles();
    MemoryDisc disc;
    disc.Append(files);
    if (merge) {
        files = SourceFiles();
        files.AddFile(u"/new", "new");
    }
    double best = 1e9;
    size_t held = 0;
    for (int run = 0; run < 5; ++run) {
        const auto start = std::chrono::steady_clock::now();
        held = Run(merge, files, disc);
        const std::chrono::duration<double, std::milli> taken =
            std::chrono::steady_clock::now() - start;
        best = std::min(best, taken.count());
    }
    std::printf("%.1f ms, %zu KiB\n", best, held / 1024);
    return 0;
}
