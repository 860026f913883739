// The whole road of a recording with a fault at each of its commands.
#include "drive/dvd_bench.h"
#include "support/memory_source.h"

namespace larkspin {
namespace {

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
        Bytes track = TrackAnswer(kSessionStart, kDiscBlocks, profile == 0x13 ? 0x11 : 0x01);
        StoreBe32(&track[8], kSessionStart);
        StoreBe32(&track[20], kEccBlocks);
        port.Always(mmc::kReadTrackInformation, GoodAnswer(track));
        port.Always(mmc::kReadDvdStructure, GoodAnswer(Answer(20, {{1, 10}})));
        static const Bytes volume = VolumeStream(32, 1000);
        port.Always(mmc::kRead10, GoodAnswer(Bytes(volume.begin() + 16 * kBlock, volume.end())));
        drive.ResetDvdState();
    }

    // As a job goes it. Returns the text of the failure.
    std::string Go(const Bytes& stream) {
        const std::string failure = FailureOf([&] {
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

TEST(DvdFaultTest, NoFaultLosesDataInSilenceOrHangsOrLeavesTheDiscOpen) {
    const ScriptedAnswer faults[] = {
        SenseAnswer(0x30C00),            // medium error
        SenseAnswer(0x20408),            // long write
        SenseAnswer(0x20407),            // operation in progress
        SenseAnswer(0x23A00),            // the disc is gone
        SenseAnswer(0x52400),            // not understood
        SenseAnswer(0x62800),            // disc may have changed
        SenseAnswer(0),                  // sense that says nothing
        FailedAnswer(),                  // no answer at all
        GoodAnswer(Bytes(65'536, 0xFF)), // an answer of nonsense
        GoodAnswer(Bytes(65'536, 0x00)),
    };
    const Bytes stream = VolumeStream(80);
    for (const uint32_t profile : {0x11, 0x12, 0x13, 0x14, 0x15, 0x1A, 0x1B, 0x2B}) {
        RoadBench sound(profile);
        ASSERT_EQ(sound.Go(stream), "");
        const Lines commands = sound.Trace();
        ASSERT_GT(commands.size(), 10u);
        for (size_t nth = 0; nth < commands.size(); ++nth) {
            for (const ScriptedAnswer& fault : faults) {
                SCOPED_TRACE(testing::Message()
                             << std::hex << profile << " " << commands[nth] << " (command "
                             << std::dec << nth << "), fault " << &fault - faults);
                RoadBench bench(profile);
                bench.port.AnswerNth(nth, fault);
                const std::string failure = bench.Go(stream);

                if (failure.empty()) {
                    const Bytes disc = bench.Recorded();
                    ASSERT_EQ(disc.size(), bench.drive.m_nStartOffset + stream.size());
                    EXPECT_TRUE(std::equal(stream.rbegin(), stream.rend(), disc.rbegin()));
                }
                EXPECT_LT(bench.clock.TotalSleep(), 60'000);
                EXPECT_LT(bench.port.Sent().size(), 2 * commands.size() + 20);
                // Blocks that the drive says it lost are not passed over.
                const bool isTold = !failure.empty() || bench.drive.m_bMediaWritten;
                const bool isFlush = commands[nth].starts_with("35");
                EXPECT_TRUE(isTold || !isFlush || &fault != faults);
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
