// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The road of a data disc, whole and in pieces: what the generator, the pipe and the drive each
// take, and what the queue costs. Time is wall time; the virtual drive has no speed limit and its
// disc lies below $TMPDIR.
#include "app/queue.h"
#include "jobs/job_bench.h"
#include "platform/byte_pipe.h"
#include "volume/iso_gen.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <limits>
#include <thread>

namespace larkspin {

namespace {

constexpr size_t kFileBytes = size_t{128} << 20;
constexpr int kFiles = 4;
constexpr size_t kAllBytes = kFiles * kFileBytes;
constexpr size_t kChunkBytes = 32768;

void AddFiles(JobBench& bench) {
    for (int i = 0; i < kFiles; ++i) {
        bench.host.queue.push_back(bench.AddFile("file" + std::to_string(i),
                                                 Payload(kFileBytes, static_cast<uint32_t>(i))));
    }
}

void CountBytes(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kAllBytes));
}

void DataJobOn(benchmark::State& state, const std::string& kind) {
    JobBench bench(kind);
    AddFiles(bench);
    const std::vector<std::u16string> queue = bench.host.queue;
    bench.ui.data.bCancelled = false;
    for (auto unused : state) {
        state.PauseTiming();
        bench.host.queue = queue;
        bench.InsertNew(kind);
        state.ResumeTiming();
        bench.RunData();
        state.PauseTiming();
        std::filesystem::remove_all(bench.disc);
        state.ResumeTiming();
    }
    CountBytes(state);
}

void DataJobOnACd(benchmark::State& state) {
    DataJobOn(state, "cd-r");
}

void DataJobOnADvd(benchmark::State& state) {
    DataJobOn(state, "dvd+r");
}

// A job that verifies and one that doesn't in turn, so that other load meets both; the fastest
// round of each counts. "hashing" is what the hashes cost the writing, as a share of it, in wall
// time and in processor time of all threads.
void VerifiedJobOn(benchmark::State& state, const std::string& kind) {
    constexpr int kRounds = 10;
    using Clock = std::chrono::steady_clock;
    using Seconds = std::chrono::duration<double>;
    struct Times {
        double wall = std::numeric_limits<double>::max();
        double processor = std::numeric_limits<double>::max();
    };
    JobBench bench(kind);
    AddFiles(bench);
    const std::vector<std::u16string> queue = bench.host.queue;
    Clock::time_point begin;
    std::clock_t processorBegin = 0;
    Times* phase = nullptr;
    const auto endPhase = [&] {
        phase->wall = std::min(phase->wall, Seconds(Clock::now() - begin).count());
        phase->processor = std::min(
            phase->processor, static_cast<double>(std::clock() - processorBegin) / CLOCKS_PER_SEC);
    };
    const auto beginPhase = [&](Times& times) {
        phase = &times;
        begin = Clock::now();
        processorBegin = std::clock();
    };
    for (auto unused : state) {
        Times plain;
        Times hashed;
        Times verify;
        bench.ui.onStatus = [&](JobKind, const std::u16string& text) {
            if (text == u"Verifying...") {
                endPhase();
                beginPhase(verify);
            }
        };
        bench.drive.SetOnEject([&](const std::string&) { endPhase(); });
        for (int round = 0; round < 2 * kRounds; ++round) {
            bench.ui.data.bVerify = round % 4 == 1 || round % 4 == 2; // each after either
            bench.host.queue = queue;
            bench.InsertNew(kind);
            beginPhase(bench.ui.data.bVerify ? hashed : plain);
            bench.RunData();
            std::filesystem::remove_all(bench.disc);
        }
        constexpr double kMebibytes = kAllBytes / 1048576.0;
        state.counters["write"] = kMebibytes / plain.wall;
        state.counters["verify"] = kMebibytes / verify.wall;
        state.counters["hashing"] = hashed.wall / plain.wall - 1;
        state.counters["hashing_cpu"] = hashed.processor / plain.processor - 1;
    }
}

void VerifiedJobOnACd(benchmark::State& state) {
    VerifiedJobOn(state, "cd-r");
}

void VerifiedJobOnADvd(benchmark::State& state) {
    VerifiedJobOn(state, "dvd+r");
}

class NullSink final : public IByteSink {
  public:
    bool Write(const void*, size_t) override { return true; }
};

void GeneratorAlone(benchmark::State& state) {
    JobBench bench;
    AddFiles(bench);
    for (auto unused : state) {
        NullSink sink;
        CCDWriterISOGen generator(PosixFiles(), SystemClock());
        generator.ResetOptions();
        generator.MakeVolume(bench.host.queue, sink, 0, 0, [](uint32_t) {});
    }
    CountBytes(state);
}

void PipeAlone(benchmark::State& state) {
    std::vector<uint8_t> in(kChunkBytes);
    std::vector<uint8_t> out(kChunkBytes);
    for (auto unused : state) {
        BytePipe pipe(size_t{16} << 20);
        std::thread writer([&pipe, &in] {
            for (size_t sent = 0; sent < kAllBytes; sent += in.size()) {
                pipe.Write(in.data(), in.size());
            }
            pipe.CloseWrite();
        });
        while (pipe.Read(out.data(), out.size()) > 0) {
        }
        writer.join();
    }
    CountBytes(state);
}

void DriveAlone(benchmark::State& state) {
    const std::vector<uint8_t> buffer(kChunkBytes);
    for (auto unused : state) {
        state.PauseTiming();
        JobBench bench;
        CAspiCD& drive = bench.Drive();
        drive.ReadDiskInfo();
        drive.SetTaoParameters();
        int32_t address = 0;
        state.ResumeTiming();
        for (size_t sent = 0; sent < kAllBytes; sent += buffer.size()) {
            if (drive.WriteBlocks(&address, buffer.data(), 16, nullptr, 2048) != 0) {
                state.SkipWithError("the drive refused a write");
                return;
            }
        }
    }
    CountBytes(state);
}

void AddToAQueueOf10000(benchmark::State& state) {
    WriteQueue queue([] {});
    for (int i = 0; i < 10'000; ++i) {
        queue.Add(FormatWide("/home/user/Some folder of pictures/picture %d.jpeg", i));
    }
    int next = 10'000;
    for (auto unused : state) {
        queue.Add(FormatWide("/home/user/Some folder of pictures/picture %d.jpeg", next++));
    }
}

BENCHMARK(DataJobOnACd)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(DataJobOnADvd)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(VerifiedJobOnACd)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);
BENCHMARK(VerifiedJobOnADvd)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);
BENCHMARK(GeneratorAlone)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(PipeAlone)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(DriveAlone)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(AddToAQueueOf10000)->Unit(benchmark::kMicrosecond)->Iterations(10'000);

} // namespace

} // namespace larkspin

BENCHMARK_MAIN();
