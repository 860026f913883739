// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/dvd_bench.h"
#include "support/memory_source.h"

namespace larkspin {
namespace {

struct RecordingBench : DvdBench {
    using DvdBench::DvdBench;

    // The text of the failure.
    std::string Write(MemorySource& source, int64_t offset = 0,
                      const CancelFunctor* cancel = nullptr) {
        std::string failure = FailureOf([&] {
            drive.WriteDvdFromHandle(
                source, offset, [this](int percent) { progress.push_back(percent); }, cancel);
        });
        EXPECT_EQ(drive.Cancel(), nullptr);
        return failure;
    }
    std::string Write(const Bytes& stream, int64_t offset = 0) {
        MemorySource source(stream);
        return Write(source, offset);
    }
    size_t Writes() const { return port.Sent(kWrite10).size(); }

    std::vector<int> progress;
};

TEST(DvdRecordingTest, EveryProfileRecordsTheStreamUnchangedAndPadsTheLastChunk) {
    for (const uint32_t profile : {0x11, 0x12, 0x13, 0x14, 0x1A, 0x1B, 0x2B}) {
        for (const size_t bytes : {32 * kBlock, 32 * kBlock + 1, 33 * kBlock, 47 * kBlock,
                                   48 * kBlock, 49 * kBlock, 160 * kBlock}) {
            SCOPED_TRACE(testing::Message() << profile << " " << bytes);
            RecordingBench bench(profile);
            Bytes stream = VolumeStream(static_cast<uint32_t>((bytes + kBlock - 1) / kBlock));
            stream.resize(bytes);
            MemorySource source(stream, 5000); // short reads that fit no boundary
            EXPECT_EQ(bench.Write(source), "");
            const size_t chunks = (bytes + kDvdChunkBytes - 1) / kDvdChunkBytes;
            stream.resize(chunks * kDvdChunkBytes);
            EXPECT_EQ(bench.Recorded(), stream);
            EXPECT_EQ(bench.Writes(), chunks);
            EXPECT_TRUE(bench.dvd.m_bMediaWritten);
            EXPECT_NE(bench.dvd.m_pfnFinalize, nullptr);
            // UpdateVolumeDescriptors needs the new descriptors there.
            const uint8_t* const kept = bench.dvd.m_pWriteBuffer.get() + kDvdChunkBytes;
            EXPECT_TRUE(std::equal(kept, kept + kDvdChunkBytes, stream.begin() + kDvdChunkBytes));
        }
    }
    for (const size_t tooShort : {size_t{0}, size_t{1}, kDvdChunkBytes, kDvdBufferBytes - 1}) {
        RecordingBench bench(0x11);
        Bytes stream = VolumeStream(32);
        stream.resize(tooShort);
        EXPECT_EQ(bench.Write(stream), "");
        EXPECT_EQ(bench.Trace(), Lines{"52 01 00 00 00 01 00 00 20"}) << "only the capacity";
        EXPECT_EQ(bench.dvd.m_pfnFinalize, nullptr);
    }
}

TEST(DvdRecordingTest, ReportsHowFarTheVolumeIs) {
    const Bytes noVolume(64 * kBlock, 0x5A);
    struct {
        const char* what;
        uint32_t discBlocks;
        Bytes stream;
        std::vector<int> progress;
        uint32_t offset = 0;
    } const cases[] = {
        {"as stated", 1000, VolumeStream(64), {50, 75, 100}},
        {"longer than stated", 1000, VolumeStream(80, 64), {50, 75, 100, 100}},
        {"shorter than stated", 1000, VolumeStream(48, 320), {10, 15}},
        {"capacity unknown", 0, VolumeStream(48, 64), {50, 75}},
        {"without a descriptor the disc is the goal", 128, noVolume, {25, 37, 50}},
        {"without that either there is none", 0, noVolume, {0, 0, 0}},
        {"from the offset of a session", 2000, VolumeStream(64), {50, 75, 100}, 1008},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        RecordingBench bench(0x1A, c.discBlocks);
        EXPECT_EQ(bench.Write(c.stream, c.offset * int64_t{kBlock}), "");
        EXPECT_EQ(bench.progress, c.progress);
        const Bytes disc = bench.Recorded();
        EXPECT_EQ(Bytes(disc.begin() + c.offset * kBlock, disc.end()), c.stream);
        EXPECT_EQ(bench.dvd.m_nCurrentOffset, static_cast<int64_t>(disc.size()));
    }
}

TEST(DvdRecordingTest, AVolumeThatDoesNotFitIsRefusedBeforeTheDriveIsSetUp) {
    const char* const tooLow = "disk capacity is too low";
    const std::tuple<uint32_t, uint32_t, uint32_t, const char*> cases[] = {
        {1000, 1000, 0, ""},          {1000, 1001, 0, tooLow}, {1000, 984, 16, ""},
        {1000, 985, 16, tooLow},      {0, 0xFFFFFFFF, 0, ""}, // capacity unknown
        {1000, 0xFFFFFFFF, 0, tooLow}};
    for (const auto& [discBlocks, stated, offset, text] : cases) {
        RecordingBench bench(0x1A, discBlocks);
        EXPECT_EQ(bench.Write(VolumeStream(32, stated), offset * int64_t{kBlock}), text);
        EXPECT_EQ(bench.Writes(), text == tooLow ? 0u : 2u);
        EXPECT_EQ(bench.port.Sent(kPreventAllowMediumRemoval).empty(), text == tooLow);
    }
}

TEST(DvdRecordingTest, WhatLiesBeforeTheFirstWritableBlockIsLeftOutButNotAllOfIt) {
    for (const auto& [nextWritable, writes] :
         {std::pair<uint32_t, size_t>{0, 5}, {32, 3}, {64, 1}, {80, 0}}) {
        RecordingBench bench(0x1B);
        bench.SetTrack(nextWritable, 4000);
        EXPECT_EQ(bench.Write(VolumeStream(80)), writes > 0 ? "" : kDvdWriteError);
        EXPECT_EQ(bench.Writes(), writes);
    }
}

// A source that fails is not taken for one that ends.
TEST(DvdRecordingTest, ACancelOrAFailureEndsTheRecordingAndWhatWasWrittenCanBeClosed) {
    enum Kind { kFails, kCancelled, kBusy };
    struct {
        Kind kind;
        size_t at; // position in the source; of kBusy the bytes that the drive took before
        size_t chunks;
    } const cases[] = {
        {kFails, 0, 0},
        {kFails, 40'000, 0},
        {kFails, kDvdBufferBytes, 2},
        {kFails, 100'000, 3},
        {kCancelled, 0, 0},
        {kCancelled, 30'000, 0},
        {kCancelled, 55'000, 0},
        {kCancelled, 140'000, 4}, // the chunk that is being read is not
                                  // padded
        {kBusy, 0, 0},
        {kBusy, kDvdChunkBytes, 1},
        {kBusy, 3 * kDvdChunkBytes, 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.kind << " " << c.at);
        RecordingBench bench(0x11);
        bool cancelled = false;
        const CancelFunctor cancel([&] { return cancelled || bench.clock.TotalSleep() > 3000; });
        const Bytes stream = VolumeStream(160);
        MemorySource source(stream, 10'000);
        if (c.kind == kFails) {
            source.FailAt(c.at);
        } else if (c.kind == kCancelled) {
            source.SetOnRead([&](size_t position) { cancelled = position >= c.at; });
        } else {
            bench.port.Queue(kWrite10, {}, static_cast<int>(c.chunks));
            bench.port.Always(kWrite10, Sense(0x20408));
        }
        EXPECT_EQ(bench.Write(source, 0, &cancel), c.kind == kFails ? "cannot read source" : "");
        EXPECT_EQ(bench.dvd.m_nCurrentOffset, static_cast<int64_t>(c.chunks * kDvdChunkBytes));
        EXPECT_EQ(bench.dvd.m_bMediaWritten, c.chunks > 0);
        // A busy drive was sent one chunk more, and never another one in its place.
        const size_t sent = c.chunks + (c.kind == kBusy ? 1 : 0);
        EXPECT_EQ(bench.Recorded(), BlocksOf(stream, 0, sent * kDvdChunkBlocks));
        if (c.kind == kBusy) {
            continue;
        }
        ASSERT_EQ(bench.dvd.m_pfnFinalize != nullptr, c.chunks > 0);
        if (c.chunks == 0) {
            EXPECT_EQ(bench.Trace().size(), 1u) << "only the capacity was asked for";
            continue;
        }
        bench.dvd.m_pfnFinalize(bench.dvd);
        EXPECT_FALSE(bench.dvd.m_bMediaWritten);
    }
    RecordingBench before(0x11);
    const CancelFunctor cancel([] { return true; });
    MemorySource source(VolumeStream(160));
    EXPECT_EQ(before.Write(source, 0, &cancel), "");
    EXPECT_EQ(source.Position(), 0u);
}

TEST(DvdRecordingTest, AFormatRunsToItsEndWhateverTheUserSays) {
    RecordingBench bench(0x1A);
    bench.SetFormats({{2'295'104, 1}, {2'295'104, 0x26}});
    bench.dvd.m_abyDiscInfo[7] = 0;
    bench.port.Queue(kTestUnitReady, Sense(0x20404), 5);
    const CancelFunctor cancel([&bench] { return !bench.port.Sent(kFormatUnit).empty(); });
    MemorySource source(VolumeStream(160));
    EXPECT_EQ(bench.Write(source, 0, &cancel), "");
    EXPECT_EQ(bench.port.Sent(kTestUnitReady).size(), 6u);
    EXPECT_EQ(bench.port.Sent(kSynchronizeCache).size(), 1u);
    EXPECT_EQ(bench.Recorded().size(), kDvdBufferBytes);
}

TEST(DvdOpenTest, AcceptsWhatCanBeRecordedAndForgetsTheRecordingBefore) {
    for (const uint32_t profile : {0x09, 0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x1A, 0x1B, 0x2A,
                                   0x2B, 0x41, 0x42, 0x43}) {
        SCOPED_TRACE(profile);
        RecordingBench bench(profile);
        CAspiCD& drive = bench.drive;
        DvdRecording& dvd = bench.dvd;
        dvd.m_bMediaWritten = dvd.m_bDaoOnly = dvd.m_bDaoMode = dvd.m_bQuickGrown = true;
        dvd.m_bZeroFill = true;
        dvd.m_bStopAfterFinish = false;
        dvd.m_pfnFinalize = [](DvdRecording&) {};
        dvd.m_nNextTrack = dvd.m_nVelocity = dvd.m_nSessionStart = dvd.m_nNextStart = 7;
        dvd.m_nPreviousStart = 7;
        dvd.m_nNextWriteAddress = dvd.m_nPollDelayMs = dvd.m_nDriveBufferKB = 7;
        dvd.m_nCurrentOffset = dvd.m_nFinalOffset = dvd.m_nStartOffset = 7;
        dvd.m_dSpeedFactor = 7;
        drive.ResetDvdState();
        EXPECT_FALSE(dvd.m_bMediaWritten || dvd.m_bDaoOnly || dvd.m_bDaoMode || dvd.m_bQuickGrown ||
                     dvd.m_bZeroFill || !dvd.m_bStopAfterFinish);
        EXPECT_EQ(dvd.m_pfnFinalize, nullptr);
        EXPECT_EQ(std::tuple(dvd.m_nNextTrack, dvd.m_nNextWriteAddress, dvd.m_nPollDelayMs,
                             dvd.m_nDriveBufferKB, dvd.m_nVelocity, dvd.m_dSpeedFactor),
                  std::tuple(1, 1u, 189u, 512u, 0, 0.0));
        EXPECT_EQ(dvd.m_nCurrentOffset + dvd.m_nFinalOffset + dvd.m_nStartOffset, 0);
        EXPECT_EQ(dvd.m_abyFormats[3] + dvd.m_abyDiscInfo[1], 0);
        EXPECT_EQ(dvd.m_nSessionStart + dvd.m_nNextStart + dvd.m_nPreviousStart, 0);

        dvd.m_nPreviousStart = dvd.m_nNextStart = dvd.m_nSessionStart = 7;
        const bool isRecordable = profile > 0x10 && profile != 0x42;
        for (const double speed : {4.0, -1.0}) { // a wish, and none
            EXPECT_EQ(FailureOf([&] { drive.OpenDvdForWriting(true, speed); }),
                      isRecordable ? "" : "disk is not a recordable DVD");
            EXPECT_EQ(dvd.m_dSpeedFactor, 4.0);
        }
        EXPECT_EQ(dvd.m_nSessionStart + dvd.m_nNextStart + dvd.m_nPreviousStart,
                  isRecordable ? 0 : 21);
    }
}

TEST(DvdOpenTest, AnAppendNeedsAnIsoVolume) {
    const Bytes descriptor = BlocksOf(VolumeStream(17, 1000), 16, 1);
    const std::tuple<const char*, uint8_t, Reply, const char*> cases[] = {
        {"blank", 1, descriptor, "unable to read previous session"},
        {"unreadable", 2, Sense(0x31100), "unable to read previous session"},
        {"no volume", 2, Bytes(kBlock), "previous session is not iso9660"},
        {"a volume", 2, descriptor, ""},
    };
    for (const auto& [what, formatted, block16, text] : cases) {
        SCOPED_TRACE(what);
        RecordingBench bench(0x1A);
        bench.SetDiscInfo(Answer(32, {{2, 1}}));
        bench.SetFormats({{2'295'104, formatted}, {2'295'104, 0x26}});
        bench.port.Always(kRead10, block16);
        EXPECT_EQ(FailureOf([&] { bench.drive.OpenDvdForWriting(false, -1.0); }), text);
        const bool appends = text[0] == '\0';
        EXPECT_EQ(bench.dvd.m_nPreviousStart, appends ? 16 : 0);
        EXPECT_EQ(bench.dvd.m_nNextStart, appends ? 1008 : 0);
        EXPECT_EQ(bench.dvd.m_nSessionStart, appends ? 1008 : 0);
        // To ignore what is there is always possible.
        EXPECT_EQ(FailureOf([&] { bench.drive.OpenDvdForWriting(true, -1.0); }), "");
        EXPECT_EQ(bench.dvd.m_nNextStart, 0);
    }
}

} // namespace
} // namespace larkspin
