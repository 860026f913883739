// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The whole road of an appended recording, and the same with a fault at each of its commands.
#include "drive/dvd_bench.h"
#include "support/memory_source.h"

namespace larkspin {
namespace {

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
        port.Always(kReadTrackInformation, track);
        port.Always(kReadDvdStructure, Answer(20, {{1, 10}}));
        static const Bytes volume = BlocksOf(VolumeStream(32, 1000), 16, 16);
        port.Always(kRead10, volume);
        drive.ResetDvdState();
    }

    // As a job goes it. The text of the failure.
    std::string Go(const Bytes& stream) {
        std::string failure = FailureOf([&] {
            drive.OpenDvdForWriting(false, -1.0);
            MemorySource source(stream);
            drive.WriteDvdFromHandle(source, dvd.m_nNextStart * int64_t{kBlock}, nullptr, nullptr);
            drive.UpdateVolumeDescriptors();
        });
        if (dvd.m_pfnFinalize != nullptr) {
            dvd.m_pfnFinalize(dvd);
        }
        if (!failure.empty()) {
            return failure;
        }
        // Only what says that it worked is whole.
        const Bytes disc = Recorded();
        EXPECT_EQ(disc.size(), dvd.m_nStartOffset + stream.size());
        EXPECT_TRUE(std::equal(stream.rbegin(), stream.rend(), disc.rbegin()));
        return "";
    }
};

TEST(DvdFaultTest, NoFaultLosesDataInSilenceOrHangsOrLeavesTheDiscOpen) {
    const Reply faults[] = {
        Sense(0x30C00),      // medium error
        Sense(0x20408),      // long write
        Sense(0x20407),      // operation in progress
        Sense(0x23A00),      // the disc is gone
        Sense(0x52400),      // not understood
        Sense(0x62800),      // disc may have changed
        Sense(0),            // sense that says nothing
        NoReply(),           // no answer at all
        Bytes(65'536, 0xFF), // an answer of nonsense
        Bytes(65'536, 0x00),
    };
    const Bytes stream = VolumeStream(80);
    for (const uint32_t profile : {0x11, 0x12, 0x13, 0x14, 0x15, 0x1A, 0x1B, 0x2B}) {
        RoadBench sound(profile);
        ASSERT_EQ(sound.Go(stream), "");
        const Lines commands = sound.Trace();
        ASSERT_GT(commands.size(), 10u);
        RoadBench whole(profile); // the same volume, which counts its size from block 0
        whole.dvd.m_bSpaceFromDiscStart = true;
        ASSERT_EQ(whole.Go(VolumeStream(80, kSessionStart + 80)), "");
        EXPECT_EQ(whole.Trace(), commands);
        for (const RoadBench* bench : {&sound, &whole}) {
            EXPECT_EQ(bench->dvd.m_nFinalOffset, int64_t{kSessionStart + 80} * kLogicalBlockBytes);
            if (profile == 0x12 || profile == 0x13 || profile == 0x1A) {
                // In place the old descriptor tells the size of both parts.
                const Bytes disc = bench->Recorded();
                EXPECT_EQ(LoadLe32(&disc[16 * kBlock + kVolumeSpaceSize]), kSessionStart + 80);
            }
        }
        for (size_t nth = 0; nth < commands.size(); ++nth) {
            for (const Reply& fault : faults) {
                SCOPED_TRACE(testing::Message()
                             << std::hex << profile << " " << commands[nth] << " (command "
                             << std::dec << nth << "), fault " << &fault - faults);
                RoadBench bench(profile);
                bench.port.AnswerNth(nth, fault);
                const std::string failure = bench.Go(stream);

                EXPECT_LT(bench.clock.TotalSleep(), 60'000);
                EXPECT_LT(bench.port.Sent().size(), 2 * commands.size() + 20);
                // Blocks that the drive says it lost are not passed over.
                const bool isTold = !failure.empty() || bench.dvd.m_bMediaWritten;
                const bool isFlush = commands[nth].starts_with("35");
                EXPECT_TRUE(isTold || !isFlush || &fault != faults);
                // A finisher that was stopped by the fault does its work when it runs again; only
                // a DVD-RAM has nothing to close.
                if (bench.dvd.m_bMediaWritten && profile != 0x12) {
                    ASSERT_NE(bench.dvd.m_pfnFinalize, nullptr);
                    bench.dvd.m_pfnFinalize(bench.dvd);
                    EXPECT_FALSE(bench.dvd.m_bMediaWritten);
                }
            }
        }
    }
}

} // namespace
} // namespace larkspin
