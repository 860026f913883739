// The whole road of a recording with a fault at each of its commands.
#include "drive/dvd_bench.h"
#include "support/memory_source.h"

namespace larkspin {
namespace {

constexpr uint32_t kDiscBlocks = 2'295'104;
constexpr size_t kBlock = 2048;
constexpr uint32_t kSessionStart = 1008;

// A disc with a volume of 1,000 blocks, open for more.
struct RoadBench : DvdBench {
    explicit RoadBench(uint32_t profile) : DvdBench(profile) {
        SetDiscInfo(Answer(32, {{1, 32}, {2, 0x11}, {5, 2}, {7, 1}})); // format interrupted
        SetFormats({{profile == 0x12 ? kDiscBlocks : kSessionStart, 2},
                    {kDiscBlocks, 0},
                    {5000, 0x13},
                    {kDiscBlocks, 0x26}});
        Bytes track = TrackAnswer(kSessionStart, kDiscBlocks, profile == 0x13);
        StoreBe32(&track[8], kSessionStart);
        port.Always(mmc::kReadTrackInformation, GoodAnswer(track));
        port.Always(mmc::kReadDvdStructure, GoodAnswer(Answer(20, {{1, 10}})));
        port.Always(mmc::kRead10, GoodAnswer([] {
                        const Bytes volume = VolumeStream(32, 1000);
                        return Bytes(volume.begin() + 16 * kBlock, volume.end());
                    }()));
        drive.ResetDvdState();
    }
    ~RoadBench() { drive.m_pfnFinalize = nullptr; }
    RoadBench(const RoadBench&) = delete;
    RoadBench& operator=(const RoadBench&) = delete;

    // As a job goes it. Returns the text of the failure.
    std::string Go(const Bytes& stream) {
        std::string failure = FailureOf([&] {
            drive.OpenDvdForWriting(false, -1.0);
            MemorySource source(stream);
            drive.WriteDvdFromHandle(source, drive.m_nNextStart * int64_t{kBlock}, nullptr,
                                     nullptr);
            drive.UpdateVolumeDescriptors();
        });
        if (drive.m_pfnFinalize != nullptr)
            drive.m_pfnFinalize(drive);
        return failure;
    }
};

ScriptedAnswer Fault(int kind) {
    const ScriptedAnswer faults[] = {
        SenseAnswer(3, 0x0C, 0),           // medium error
        SenseAnswer(2, 4, 8),              // long write
        SenseAnswer(2, 4, 7),              // operation in progress
        SenseAnswer(2, 0x3A, 0),           // the disc is gone
        SenseAnswer(5, 0x24, 0),           // not understood
        SenseAnswer(6, 0x28, 0),           // disc may have changed
        SenseAnswer(0, 0, 0),              // sense that says nothing
        FailedAnswer(PortError::TimedOut), // no answer at all
        GoodAnswer(Bytes(65'536, 0xFF)),   // an answer of nonsense
        GoodAnswer(Bytes(65'536, 0x00)),
    };
    return faults[kind];
}
constexpr int kFaults = 10;

TEST(DvdFaultTest, NoFaultLosesDataInSilenceOrHangsOrLeavesTheDiscOpen) {
    const Bytes stream = VolumeStream(80);
    for (const uint32_t profile : {0x11, 0x12, 0x13, 0x14, 0x15, 0x1A, 0x1B, 0x2B}) {
        RoadBench sound(profile);
        ASSERT_EQ(sound.Go(stream), "");
        const size_t commands = sound.port.Sent().size();
        ASSERT_GT(commands, 10u);
        for (size_t nth = 0; nth < commands; ++nth) {
            for (int kind = 0; kind < kFaults; ++kind) {
                SCOPED_TRACE(testing::Message()
                             << std::hex << profile << std::dec << " command " << nth << " fault "
                             << kind << ": " << sound.Trace()[nth]);
                RoadBench bench(profile);
                bench.FailCommand(nth, Fault(kind));
                const std::string failure = bench.Go(stream);

                if (failure.empty()) {
                    const Bytes disc = bench.Recorded();
                    const size_t begin = bench.drive.m_nStartOffset;
                    ASSERT_EQ(disc.size(), begin + stream.size());
                    EXPECT_TRUE(std::equal(stream.begin(), stream.end(),
                                           disc.begin() + static_cast<std::ptrdiff_t>(begin)));
                }
                EXPECT_LT(bench.clock.TotalSleep(), 60'000);
                EXPECT_LT(bench.port.Sent().size(), 2 * commands + 20);
                // A finisher that was stopped by the fault does its work when it runs again; only
                // a DVD-RAM has nothing to close.
                if (bench.drive.m_bMediaWritten && profile != 0x12) {
                    ASSERT_NE(bench.drive.m_pfnFinalize, nullptr);
                    bench.drive.m_pfnFinalize(bench.drive);
                    EXPECT_FALSE(bench.drive.m_bMediaWritten);
                }
            }
        }
    }
}

} // namespace
} // namespace larkspin
