#include "drive/dvd_bench.h"
#include "drive/dvd_texts.h"
#include "support/memory_source.h"

namespace larkspin {
namespace {

constexpr uint32_t kDiscBlocks = 2'295'104;
constexpr size_t kBlock = 2048;

// A recorder with a disc of this profile, as OpenDvdForWriting left it.
struct RecordingBench : DvdBench {
    explicit RecordingBench(uint32_t profile, uint32_t discBlocks = kDiscBlocks)
        : DvdBench(profile) {
        SetFormats({{discBlocks, 2}, {discBlocks, 0}, {discBlocks, 0x26}});
        drive.m_abyDiscInfo[7] = 3; // formatted
        port.Always(mmc::kReadTrackInformation,
                    GoodAnswer(TrackAnswer(0, discBlocks, profile == 0x13)));
    }
    ~RecordingBench() { drive.m_pfnFinalize = nullptr; }
    RecordingBench(const RecordingBench&) = delete;
    RecordingBench& operator=(const RecordingBench&) = delete;

    void Write(MemorySource& source, int64_t offset = 0, const CancelFunctor* cancel = nullptr) {
        drive.WriteDvdFromHandle(
            source, offset, [this](int percent) { progress.push_back(percent); }, cancel);
    }

    std::vector<int> progress;
};

Bytes PaddedToChunks(Bytes stream) {
    stream.resize((stream.size() + kDvdChunkBytes - 1) / kDvdChunkBytes * kDvdChunkBytes);
    return stream;
}

TEST(DvdRecordingTest, EveryProfileRecordsTheStreamUnchangedAndPadsTheLastChunk) {
    for (const uint32_t profile : {0x11, 0x12, 0x13, 0x14, 0x1A, 0x1B, 0x2B}) {
        for (const uint32_t blocks : {32, 33, 47, 48, 49, 160}) {
            SCOPED_TRACE(testing::Message() << profile << " " << blocks);
            RecordingBench bench(profile);
            const Bytes stream = VolumeStream(blocks);
            MemorySource source(stream, 5000); // short reads that fit no boundary
            bench.Write(source);
            EXPECT_EQ(bench.Recorded(), PaddedToChunks(stream));
            EXPECT_EQ(bench.port.Sent(mmc::kWrite10).size(), (blocks + 15) / 16);
            EXPECT_TRUE(bench.drive.m_bMediaWritten);
            EXPECT_NE(bench.drive.m_pfnFinalize, nullptr);
            EXPECT_EQ(bench.drive.m_pCancel, nullptr);
        }
    }
}

TEST(DvdRecordingTest, PadsAStreamThatEndsInsideABlock) {
    RecordingBench bench(0x1A);
    Bytes stream = VolumeStream(33);
    stream.resize(32 * kBlock + 1);
    MemorySource source(stream);
    bench.Write(source);
    EXPECT_EQ(bench.Recorded(), PaddedToChunks(stream));
}

TEST(DvdRecordingTest, AStreamTooShortForAVolumeWritesNothing) {
    for (const size_t bytes : {size_t{0}, size_t{1}, kDvdChunkBytes, kDvdBufferBytes - 1}) {
        RecordingBench bench(0x11);
        Bytes stream = VolumeStream(32);
        stream.resize(bytes);
        MemorySource source(stream);
        bench.Write(source);
        EXPECT_EQ(bench.Trace(), std::vector<std::string>{"52 01 00 00 00 01 00 00 20"})
            << "only the capacity was asked for";
        EXPECT_EQ(bench.drive.m_pfnFinalize, nullptr);
    }
}

TEST(DvdRecordingTest, KeepsTheDescriptorsInTheSecondHalfOfTheBuffer) {
    RecordingBench bench(0x1A);
    const Bytes stream = VolumeStream(160);
    MemorySource source(stream);
    bench.Write(source);
    const uint8_t* const kept = bench.drive.m_pWriteBuffer.get() + kDvdChunkBytes;
    EXPECT_TRUE(std::equal(kept, kept + kDvdChunkBytes, stream.begin() + kDvdChunkBytes));
}

TEST(DvdRecordingTest, ReportsHowFarTheVolumeIs) {
    struct {
        const char* what;
        uint32_t discBlocks, streamBlocks, statedBlocks;
        std::vector<int> progress;
    } const cases[] = {
        {"as stated", 1000, 64, 64, {50, 75, 100}},
        {"longer than stated", 1000, 80, 64, {50, 75, 100, 100}},
        {"shorter than stated", 1000, 48, 320, {10, 15}},
        {"capacity unknown", 0, 48, 64, {50, 75}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        RecordingBench bench(0x1A, c.discBlocks);
        MemorySource source(VolumeStream(c.streamBlocks, c.statedBlocks));
        bench.Write(source);
        EXPECT_EQ(bench.progress, c.progress);
    }
    // Without a descriptor the whole disc is the goal; without that there is none.
    for (const uint32_t discBlocks : {128u, 0u}) {
        RecordingBench bench(0x1A, discBlocks);
        MemorySource source(Bytes(64 * kBlock, 0x5A));
        bench.Write(source);
        EXPECT_EQ(bench.progress,
                  discBlocks == 0 ? (std::vector<int>{0, 0, 0}) : (std::vector<int>{25, 37, 50}));
        EXPECT_EQ(bench.Recorded(), Bytes(64 * kBlock, 0x5A));
    }
}

TEST(DvdRecordingTest, MeasuresProgressFromTheOffsetOfASession) {
    RecordingBench bench(0x1A);
    MemorySource source(VolumeStream(64));
    bench.Write(source, 1008 * kBlock);
    EXPECT_EQ(bench.progress, (std::vector<int>{50, 75, 100}));
    EXPECT_EQ(bench.port.Sent(mmc::kWrite10).at(0).cdb,
              (Bytes{0x2A, 0, 0, 0, 3, 0xF0, 0, 0, 16, 0}));
    EXPECT_EQ(bench.drive.m_nStartOffset, 1008 * int64_t{kBlock});
    EXPECT_EQ(bench.drive.m_nFinalOffset, 1072 * int64_t{kBlock});
    EXPECT_EQ(bench.drive.m_nCurrentOffset, 1072 * int64_t{kBlock});
}

TEST(DvdRecordingTest, AVolumeThatDoesNotFitIsRefusedBeforeTheDriveIsSetUp) {
    struct {
        uint32_t discBlocks, statedBlocks;
        int64_t offsetBlocks;
        const char* text;
    } const cases[] = {
        {1000, 1000, 0, ""},
        {1000, 1001, 0, "disk capacity is too low"},
        {1000, 984, 16, ""},
        {1000, 985, 16, "disk capacity is too low"},
        {1000, 0xFFFFFFFF, 0, "disk capacity is too low"},
        {0, 0xFFFFFFFF, 0, ""}, // capacity unknown
    };
    for (const auto& c : cases) {
        RecordingBench bench(0x1A, c.discBlocks);
        MemorySource source(VolumeStream(32, c.statedBlocks));
        EXPECT_EQ(FailureOf([&] { bench.Write(source, c.offsetBlocks * int64_t{kBlock}); }),
                  c.text);
        EXPECT_EQ(bench.port.Sent(mmc::kWrite10).empty(), c.text[0] != '\0');
        EXPECT_EQ(bench.port.Sent(mmc::kPreventAllowMediumRemoval).empty(), c.text[0] != '\0');
    }
}

TEST(DvdRecordingTest, ASourceThatFailsIsNotTakenForOneThatEnds) {
    for (const size_t failAt : {size_t{0}, size_t{40'000}, kDvdBufferBytes, size_t{100'000}}) {
        SCOPED_TRACE(failAt);
        RecordingBench bench(0x1B);
        MemorySource source(VolumeStream(160));
        source.FailAt(failAt);
        EXPECT_EQ(FailureOf([&] { bench.Write(source); }), "cannot read source");
        EXPECT_EQ(bench.drive.m_pCancel, nullptr);
        const bool begun = failAt >= kDvdBufferBytes;
        EXPECT_EQ(bench.drive.m_bMediaWritten, begun);
        ASSERT_EQ(bench.drive.m_pfnFinalize != nullptr, begun);
        if (begun) {
            EXPECT_EQ(bench.Recorded().size(), failAt / kDvdChunkBytes * kDvdChunkBytes);
            bench.drive.m_pfnFinalize(bench.drive);
            EXPECT_EQ(bench.port.Sent(mmc::kCloseTrackSession).size(), 2u);
        }
    }
}

TEST(DvdRecordingTest, AWriteThatFailsLeavesTheFinisherSet) {
    for (const int refused : {0, 1, 4}) {
        RecordingBench bench(0x11);
        for (int i = 0; i < refused; ++i)
            bench.port.Queue(mmc::kWrite10, GoodAnswer());
        bench.port.Queue(mmc::kWrite10, SenseAnswer(3, 0x0C, 0));
        MemorySource source(VolumeStream(160));
        EXPECT_EQ(FailureOf([&] { bench.Write(source); }), "write error");
        EXPECT_EQ(bench.port.Sent(mmc::kWrite10).size(), static_cast<size_t>(refused) + 1);
        EXPECT_NE(bench.drive.m_pfnFinalize, nullptr);
        EXPECT_EQ(bench.drive.m_bMediaWritten, refused > 0);
    }
}

TEST(DvdRecordingTest, WhatLiesBeforeTheFirstWritableBlockIsLeftOutButNotAllOfIt) {
    struct {
        uint32_t nextWritable;
        size_t writes;
        const char* text;
    } const cases[] = {{0, 5, ""}, {32, 3, ""}, {64, 1, ""}, {80, 0, "write error"}};
    for (const auto& c : cases) {
        RecordingBench bench(0x1B);
        bench.port.Always(mmc::kReadTrackInformation,
                          GoodAnswer(TrackAnswer(c.nextWritable, 4000)));
        MemorySource source(VolumeStream(80));
        EXPECT_EQ(FailureOf([&] { bench.Write(source); }), c.text);
        EXPECT_EQ(bench.port.Sent(mmc::kWrite10).size(), c.writes);
    }
}

TEST(DvdRecordingTest, ACancelWhileTheFirstBytesComeLeavesTheDiscUntouched) {
    for (const size_t cancelAt : {size_t{0}, size_t{30'000}, kDvdBufferBytes - 10'000}) {
        RecordingBench bench(0x11);
        bool cancelled = false;
        const CancelFunctor cancel([&cancelled] { return cancelled; });
        MemorySource source(VolumeStream(160), 10'000);
        source.SetOnRead([&](size_t position) { cancelled = position >= cancelAt; });
        bench.Write(source, 0, &cancel);
        EXPECT_EQ(bench.Trace().size(), 1u) << "only the capacity was asked for";
        EXPECT_EQ(bench.drive.m_pfnFinalize, nullptr);
        EXPECT_EQ(bench.drive.m_pCancel, nullptr);
    }
    RecordingBench before(0x11);
    const CancelFunctor cancel([] { return true; });
    MemorySource source(VolumeStream(160));
    before.Write(source, 0, &cancel);
    EXPECT_EQ(source.Position(), 0u);
}

TEST(DvdRecordingTest, ACancelInTheStreamStopsItAndTheDiscIsStillClosed) {
    RecordingBench bench(0x11);
    bool cancelled = false;
    const CancelFunctor cancel([&cancelled] { return cancelled; });
    const Bytes stream = VolumeStream(160);
    MemorySource source(stream, 10'000);
    source.SetOnRead([&](size_t position) { cancelled = position >= 4 * kDvdChunkBytes + 10'000; });
    bench.Write(source, 0, &cancel);
    EXPECT_EQ(bench.Recorded(), Bytes(stream.begin(), stream.begin() + 4 * kDvdChunkBytes))
        << "the chunk that was being read is not padded and written";
    bench.port.Clear();
    ASSERT_NE(bench.drive.m_pfnFinalize, nullptr);
    bench.drive.m_pfnFinalize(bench.drive);
    EXPECT_EQ(bench.Trace(), (std::vector<std::string>{"35 02", "00", "35", "5B 01 01 00 00 01",
                                                       "00", "5B 01 02", "00", "1B 01"}));
}

TEST(DvdRecordingTest, ACancelWhileTheDriveIsBusyIsNoFailure) {
    for (const int acceptedChunks : {0, 1, 3}) {
        RecordingBench bench(0x1B);
        for (int i = 0; i < acceptedChunks; ++i)
            bench.port.Queue(mmc::kWrite10, GoodAnswer());
        bench.port.Always(mmc::kWrite10, SenseAnswer(2, 4, 8));
        const CancelFunctor cancel([&bench] { return bench.clock.TotalSleep() > 3000; });
        MemorySource source(VolumeStream(160));
        bench.Write(source, 0, &cancel);
        EXPECT_EQ(bench.drive.m_nCurrentOffset,
                  acceptedChunks * static_cast<int64_t>(kDvdChunkBytes));
        EXPECT_NE(bench.drive.m_pfnFinalize, nullptr);
    }
}

TEST(DvdRecordingTest, AFormatRunsToItsEndWhateverTheUserSays) {
    RecordingBench bench(0x1A);
    bench.SetFormats({{kDiscBlocks, 1}, {kDiscBlocks, 0}, {kDiscBlocks, 0x26}});
    bench.drive.m_abyDiscInfo[7] = 0;
    for (int i = 0; i < 5; ++i)
        bench.port.Queue(mmc::kTestUnitReady, SenseAnswer(2, 4, 4));
    const CancelFunctor cancel([&bench] { return !bench.port.Sent(mmc::kFormatUnit).empty(); });
    MemorySource source(VolumeStream(160));
    bench.Write(source, 0, &cancel);
    EXPECT_EQ(bench.port.Sent(mmc::kTestUnitReady).size(), 6u);
    EXPECT_EQ(bench.port.Sent(mmc::kSynchronizeCache).size(), 1u);
    EXPECT_EQ(bench.Recorded().size(), kDvdBufferBytes);
}

TEST(DvdOpenTest, AcceptsWhatCanBeRecordedAndReadsWhatIsThere) {
    struct {
        uint32_t profile;
        const char* text;
    } const cases[] = {
        {0x10, "disk is not a recordable DVD"},
        {0x11, ""},
        {0x12, ""},
        {0x13, ""},
        {0x14, ""},
        {0x15, ""},
        {0x16, ""},
        {0x1A, ""},
        {0x1B, ""},
        {0x2A, ""},
        {0x2B, ""},
        {0x09, "disk is not a recordable DVD"},
        {0x41, "disk is not a recordable DVD"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.profile);
        RecordingBench bench(c.profile);
        bench.drive.ResetDvdState();
        bench.drive.m_nPreviousStart = bench.drive.m_nNextStart = bench.drive.m_nSessionStart = 7;
        EXPECT_EQ(FailureOf([&] { bench.drive.OpenDvdForWriting(true, 4.0); }), c.text);
        EXPECT_EQ(bench.drive.m_dSpeedFactor, 4.0);
        if (c.text[0] == '\0') {
            EXPECT_EQ(bench.drive.m_nPreviousStart, 0);
            EXPECT_EQ(bench.drive.m_nNextStart, 0);
            EXPECT_EQ(bench.drive.m_nSessionStart, 0);
        }
    }
}

TEST(DvdOpenTest, NoWishLeavesTheSpeedAlone) {
    RecordingBench bench(0x1B);
    bench.drive.m_dSpeedFactor = 2.4;
    bench.drive.OpenDvdForWriting(true, -1.0);
    EXPECT_EQ(bench.drive.m_dSpeedFactor, 2.4);
}

TEST(DvdOpenTest, AnAppendNeedsAnIsoVolume) {
    const Bytes volume = VolumeStream(17, 1000);
    const Bytes descriptor(volume.end() - kBlock, volume.end());
    struct {
        const char* what;
        uint8_t formatted; // descriptor type of the current capacity
        ScriptedAnswer block16;
        const char* text;
    } const cases[] = {
        {"blank", 1, GoodAnswer(descriptor), "unable to read previous session"},
        {"unreadable", 2, SenseAnswer(3, 0x11, 0), "unable to read previous session"},
        {"no volume", 2, GoodAnswer(Bytes(kBlock)), "previous session is not iso9660"},
        {"a volume", 2, GoodAnswer(descriptor), ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        RecordingBench bench(0x1A);
        bench.SetDiscInfo(Answer(32, {{2, 1}}));
        bench.SetFormats({{kDiscBlocks, c.formatted}, {kDiscBlocks, 0x26}});
        bench.port.Always(mmc::kRead10, c.block16);
        EXPECT_EQ(FailureOf([&] { bench.drive.OpenDvdForWriting(false, -1.0); }), c.text);
        const bool appends = c.text[0] == '\0';
        EXPECT_EQ(bench.drive.m_nPreviousStart, appends ? 16 : 0);
        EXPECT_EQ(bench.drive.m_nNextStart, appends ? 1008 : 0);
        EXPECT_EQ(bench.drive.m_nSessionStart, appends ? 1008 : 0);
        // To ignore what is there is always possible.
        EXPECT_EQ(FailureOf([&] { bench.drive.OpenDvdForWriting(true, -1.0); }), "");
        EXPECT_EQ(bench.drive.m_nNextStart, 0);
    }
}

TEST(DvdOpenTest, ResetForgetsTheRecordingBefore) {
    RecordingBench bench(0x1A);
    MemorySource source(VolumeStream(64));
    bench.Write(source, 1008 * int64_t{kBlock});
    CAspiCD& drive = bench.drive;
    drive.m_nSessionStart = drive.m_nNextStart = drive.m_nPreviousStart = 16;
    drive.m_bDaoOnly = drive.m_bDaoMode = drive.m_bQuickGrown = drive.m_bZeroFill = true;
    drive.ResetDvdState();
    EXPECT_FALSE(drive.m_bMediaWritten || drive.m_bDaoOnly || drive.m_bDaoMode ||
                 drive.m_bQuickGrown || drive.m_bZeroFill);
    EXPECT_EQ(drive.m_pfnFinalize, nullptr);
    EXPECT_EQ(drive.m_nNextWriteAddress, 1u);
    EXPECT_EQ(drive.m_nPollDelayMs, 189u);
    EXPECT_EQ(drive.m_nDriveBufferKB, 512u);
    EXPECT_EQ(drive.m_nVelocity, 0);
    EXPECT_EQ(drive.m_nSessionStart + drive.m_nNextStart + drive.m_nPreviousStart, 0);
    EXPECT_EQ(drive.m_nCurrentOffset + drive.m_nFinalOffset + drive.m_nStartOffset, 0);
    EXPECT_EQ(drive.m_abyFormats[3], 0);
}

} // namespace
} // namespace larkspin
