// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/dvd_bench.h"

namespace larkspin {
namespace {

using testing::ElementsAre;

constexpr int kWhole = 32768;
constexpr int kLongWrite = 0x20408;

// A disc that is being written to, at 1x.
struct ChunkBench : DvdBench {
    explicit ChunkBench(uint32_t profile = 0x1B) : DvdBench(profile) {
        s_nDaoToggle = 0;
        dvd.m_bMediaWritten = true;
        dvd.m_nVelocity = 1385;
        for (size_t i = 0; i < chunk.size(); ++i) {
            chunk[i] = static_cast<uint8_t>(i / 2048 + 1);
        }
    }
    // What READ BUFFER CAPACITY tells, in KB; without a size the drive does not know it.
    void SetBuffer(uint32_t size, uint32_t free) {
        const Bytes answer = Answer(12, {{4, size << 10 | 1023, 4}, {8, free << 10 | 1023, 4}});
        port.Always(kReadBufferCapacity, size > 0 ? Reply(answer) : Sense(0x52000));
    }
    void RefuseWrites(int times, int code) { port.Queue(kWrite10, Sense(code), times); }
    int Write(int64_t block) { return dvd.WriteDvdChunk(chunk.data(), block * 2048); }

    Bytes chunk = Bytes(kDvdChunkBytes);
};

TEST(DvdChunkTest, SendsSixteenBlocksLessThoseBeforeTheFirstWritableOne) {
    const Lines whole = {"2A 00 00 12 34 20 00 00 10"};
    const std::tuple<bool, uint32_t, int, Lines> cases[] = {
        {false, 0x123430, kWhole, {}},
        {false, 0x123500, kWhole, {}},
        {false, 0x12342F, 2048, {"2A 00 00 12 34 2F 00 00 01"}},
        {false, 0x123423, 13 * 2048, {"2A 00 00 12 34 23 00 00 0D"}},
        {false, 0x123420, kWhole, whole},
        {false, 0, kWhole, whole},
        {true, 0x123500, kWhole, whole},
    };
    ChunkBench never;
    for (const int64_t offset : {2048, 32767, -32768}) { // not where a chunk begins
        EXPECT_EQ(never.dvd.WriteDvdChunk(never.chunk.data(), offset), -1);
    }
    EXPECT_EQ(never.Write(0x100000000), -1);
    EXPECT_TRUE(never.port.Sent().empty());
    for (const auto& [written, nextWritable, result, trace] : cases) {
        SCOPED_TRACE(nextWritable);
        ChunkBench bench;
        bench.dvd.m_bMediaWritten = written;
        bench.dvd.m_nNextWriteAddress = nextWritable;
        EXPECT_EQ(bench.Write(0x123420), result);
        EXPECT_EQ(bench.Trace(), trace);
        EXPECT_EQ(bench.dvd.m_bMediaWritten, !trace.empty());
        EXPECT_EQ(bench.dvd.m_nNextWriteAddress, trace.empty() ? nextWritable : 0x123430u);
        for (const SentCommand& sent : bench.port.Sent()) {
            EXPECT_EQ(sent.dataOut, Bytes(bench.chunk.end() - result, bench.chunk.end()));
        }
    }
}

TEST(DvdChunkTest, WaitsForALongWriteAsLongAsTheBufferNeeds) {
    struct {
        const char* what;
        int32_t velocity;
        uint32_t knownKB, size, free;
        std::vector<int64_t> sleeps; // of two refusals
        int result = kWhole;
    } const cases[] = {
        {"half the buffer, empty", 1385, 512, 512, 0, {184, 184}},
        {"a larger buffer than known", 5540, 512, 2048, 24, {180, 180}},
        {"a smaller one counts as half the known", 1385, 512, 100, 90, {119, 119}},
        {"no answer", 1385, 1000, 0, 0, {361, 361}},
        {"enough is free", 1385, 512, 512, 256, {92}},
        {"more is free than asked for", 1385, 512, 512, 500, {92}},
        {"less than a second's thousandth is missing", 1385, 512, 512, 255, {92}},
        {"never a busy loop", 0x7FFFFFFF, 512, 512, 0, {5}},
        {"a speed below zero", -1385, 512, 512, 0, {}, -1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        ChunkBench bench;
        bench.dvd.m_nVelocity = c.velocity;
        bench.dvd.m_nDriveBufferKB = c.knownKB;
        bench.SetBuffer(c.size, c.free);
        bench.RefuseWrites(2, kLongWrite);
        EXPECT_EQ(bench.Write(16), c.result);
        EXPECT_EQ(bench.clock.Sleeps(), c.sleeps);
        const Lines write = {"2A 00 00 00 00 10 00 00 10"};
        const Lines pair = write + Lines{"5C 00 00 00 00 00 00 00 0C"};
        EXPECT_EQ(bench.Trace(), c.result == kWhole ? pair + pair + write : pair);
    }
    // At once only the first time, however long the drive is busy.
    ChunkBench bench;
    bench.SetBuffer(512, 512);
    bench.RefuseWrites(500, kLongWrite);
    EXPECT_EQ(bench.Write(16), kWhole);
    EXPECT_EQ(bench.clock.Sleeps().size(), 499u);
    EXPECT_EQ(bench.clock.Sleeps().front(), 92);
    EXPECT_EQ(bench.clock.Sleeps().back(), 300) << "the longer it is busy the less it is asked";
}

TEST(DvdChunkTest, WithoutASpeedABusyEventDecides) {
    ChunkBench bench;
    bench.dvd.m_nVelocity = 0;
    bench.port.Queue(kGetEventStatus, Bytes{0, 6, 6, 0x40, 1, 1, 0, 3}); // busy, 3 units of 100 ms
    bench.port.Queue(kGetEventStatus, Bytes{0, 2, 0, 0x40});
    bench.RefuseWrites(3, kLongWrite);
    EXPECT_EQ(bench.Write(16), kWhole);
    // The event is waited for; without one the cache is flushed: at once first, then with a pause.
    EXPECT_THAT(bench.clock.Sleeps(), ElementsAre(400, 5000));
    EXPECT_EQ(bench.port.SentOpcodes(), (Bytes{0x2A, 0x4A, 0x00, 0x4A, // busy
                                               0x2A, 0x4A, 0x35,       // no event any more
                                               0x2A, 0x35, 0x2A}));
}

TEST(DvdChunkTest, BecomingReadyIsWaitedForAtBlockZeroOnly) {
    ChunkBench bench;
    bench.dvd.m_nPollDelayMs = 150;
    bench.RefuseWrites(6, 0x20401);
    EXPECT_EQ(bench.Write(0), kWhole);
    EXPECT_THAT(bench.clock.Sleeps(), ElementsAre(150, 150, 150, 5000, 300, 300));
    bench.RefuseWrites(1, 0x20401);
    EXPECT_EQ(bench.Write(16), -1);
}

TEST(DvdChunkTest, FlushesTheCacheOfADriveInTheMiddleOfSomething) {
    for (const int code : {0x20404, 0x20407, 0x52C00}) {
        SCOPED_TRACE(code);
        ChunkBench bench(0x1A);
        bench.RefuseWrites(4, code);
        EXPECT_EQ(bench.Write(16), kWhole);
        EXPECT_THAT(bench.clock.Sleeps(), ElementsAre(5000, 5000));
        const Lines pair = {"2A 00 00 00 00 10 00 00 10", "35"}; // flushed to the end
        EXPECT_EQ(bench.Trace(), pair + pair + pair + pair + Lines{pair[0]});
        bench.RefuseWrites(1, code);
        bench.port.Queue(kSynchronizeCache, Sense(0x30C00));
        EXPECT_EQ(bench.Write(16), -1);
    }
}

TEST(DvdChunkTest, OtherErrorsFailAtOnceAndOnlyADlDiscForgetsThatItWasWritten) {
    const std::tuple<uint32_t, Reply, bool> cases[] = {
        {0x1B, Sense(0x30C00), true},  {0x1B, NoReply(), true},
        {0x1A, Sense(0x52100), true},  {0x2B, Sense(0x52100), true},
        {0x2B, Sense(0x30C00), false}, {0x2B | MEDIA_BLANK, Sense(0x72700), false},
        {0x2B, NoReply(), false},
    };
    for (const auto& [profile, reply, writtenAfter] : cases) {
        SCOPED_TRACE(testing::Message() << profile << " " << int{reply.completion.sense[12]});
        ChunkBench bench(profile);
        bench.port.Queue(kWrite10, reply);
        EXPECT_EQ(bench.Write(0), -1);
        EXPECT_EQ(bench.port.Sent().size(), 1u);
        EXPECT_EQ(bench.dvd.m_bMediaWritten, writtenAfter);
    }
}

TEST(DvdChunkTest, WritingInOneGoWaitsLongerUntilTheDriveHasPaused) {
    ChunkBench bench;
    s_nDaoToggle = -1;
    bench.dvd.m_bDaoMode = true;
    bench.SetBuffer(512, 512);
    EXPECT_EQ(bench.Write(0), kWhole);
    bench.RefuseWrites(1, kLongWrite);
    EXPECT_EQ(bench.Write(16), kWhole);
    EXPECT_THAT(bench.clock.Sleeps(), ElementsAre(92)); // never at once in one go
    EXPECT_EQ(bench.Write(32), kWhole);
    const std::string again = "2A 00 00 00 00 10 00 00 10";
    EXPECT_THAT(Trace(bench.port.Sent(kWrite10)), ElementsAre("2A 00 00 00 00 00 00 00 10", again,
                                                              again, "2A 00 00 00 00 20 00 00 10"));
    EXPECT_EQ(s_nDaoToggle, 0);

    s_nDaoToggle = 1;
    bench.SetBuffer(512, 0);
    bench.RefuseWrites(1, kLongWrite);
    EXPECT_EQ(bench.Write(48), kWhole);
    EXPECT_EQ(s_nDaoToggle, 0) << "a pause for a full buffer counts as well";
}

TEST(DvdChunkTest, ACancelEndsEveryWaitButNoChunkThatTheDriveTakes) {
    const std::tuple<int, int32_t, uint32_t> cases[] = {
        {kLongWrite, 1385, 0}, {kLongWrite, 1385, 512}, {kLongWrite, 0, 0},   {0x20401, 1385, 0},
        {0x20404, 1385, 0},    {0x20407, 1385, 0},      {0x52C00, 1385, 512},
    };
    for (const auto& [code, velocity, freeKB] : cases) {
        SCOPED_TRACE(testing::Message() << code << " " << velocity << " " << freeKB);
        ChunkBench bench(0x2B);
        bench.dvd.m_nVelocity = velocity;
        bench.SetBuffer(512, freeKB);
        bench.port.Always(kWrite10, Sense(code));
        const CancelFunctor cancel([&bench] { return bench.clock.TotalSleep() >= 20'000; });
        const CancelScope scope(bench.drive, &cancel);
        EXPECT_EQ(bench.Write(0), kChunkCancelled);
        EXPECT_TRUE(bench.dvd.m_bMediaWritten);
        EXPECT_LE(bench.clock.TotalSleep(), 20'200);
        EXPECT_LE(std::ranges::max(bench.clock.Sleeps()), 200);
        // A drive that stays busy for 20 s is not asked in a frenzy.
        EXPECT_LE(bench.port.Sent().size(), 500u);

        bench.port.Clear();
        bench.port.Always(kWrite10, Reply());
        EXPECT_EQ(bench.Write(16), kWhole);
        EXPECT_EQ(bench.port.Sent().size(), 1u);
    }
}

} // namespace
} // namespace larkspin
