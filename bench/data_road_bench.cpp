// The road of a data disc, whole and in pieces: what the generator, the pipe and the drive each
// take, and what the queue costs. Time is wall time; the virtual drive has no speed limit and its
// disc lies below $TMPDIR.
#include "app/queue.h"
#include "jobs/job_bench.h"
#include "platform/byte_pipe.h"
#include "volume/iso_gen.h"

#include <benchmark/benchmark.h>

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
BENCHMARK(GeneratorAlone)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(PipeAlone)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(DriveAlone)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(AddToAQueueOf10000)->Unit(benchmark::kMicrosecond)->Iterations(10'000);

} // namespace

} // namespace larkspin

BENCHMARK_MAIN();
