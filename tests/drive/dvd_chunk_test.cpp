#include "drive/dvd_bench.h"

namespace larkspin {
namespace {

constexpr int kWhole = 32768;

ScriptedAnswer ErrorCode(int code) {
    return SenseAnswer(static_cast<uint8_t>(code >> 16), static_cast<uint8_t>(code >> 8),
                       static_cast<uint8_t>(code));
}

class DvdChunkTest : public testing::Test {
  protected:
    DvdChunkTest() {
        s_nDaoToggle = 0;
        CAspiCD& drive = bench.drive;
        drive.m_bMediaWritten = true;
        drive.m_nVelocity = 1385;
        for (size_t i = 0; i < chunk.size(); ++i)
            chunk[i] = static_cast<uint8_t>(i / 2048 + 1);
    }

    // READ BUFFER CAPACITY with these sizes in KB.
    void SetBuffer(uint32_t size, uint32_t free) {
        Bytes answer(12);
        StoreBe32(&answer[4], size << 10 | 1023);
        StoreBe32(&answer[8], free << 10 | 1023);
        bench.port.Always(mmc::kReadBufferCapacity, GoodAnswer(answer));
    }
    void RefuseWrites(int times, int code) {
        for (int i = 0; i < times; ++i)
            bench.port.Queue(mmc::kWrite10, ErrorCode(code));
    }
    int Write(int64_t block) { return bench.drive.WriteDvdChunk(chunk.data(), block * 2048); }
    size_t WritesSent() const { return bench.port.Sent(mmc::kWrite10).size(); }

    DvdBench bench{0x1B};
    Bytes chunk = Bytes(kDvdChunkBytes);
};

TEST_F(DvdChunkTest, SendsSixteenBlocksAndRemembersWhatFollows) {
    bench.drive.m_bMediaWritten = false;
    bench.drive.m_nNextWriteAddress = 0;
    EXPECT_EQ(Write(0x123450), kWhole);
    ASSERT_EQ(bench.Trace(), std::vector<std::string>{"2A 00 00 12 34 50 00 00 10"});
    const SentCommand& sent = bench.port.Sent().front();
    EXPECT_EQ(sent.direction, PortDirection::Out);
    EXPECT_EQ(sent.dataOut, chunk);
    EXPECT_EQ(sent.timeoutSeconds, 60u);
    EXPECT_EQ(bench.drive.m_nNextWriteAddress, 0x123460u);
    EXPECT_TRUE(bench.drive.m_bMediaWritten);
}

TEST_F(DvdChunkTest, RefusesOffsetsThatAreNoChunk) {
    for (const int64_t offset :
         {int64_t{2048}, int64_t{32767}, int64_t{-32768}, int64_t{0x100000000} * 2048})
        EXPECT_EQ(bench.drive.WriteDvdChunk(chunk.data(), offset), -1) << offset;
    EXPECT_TRUE(bench.port.Sent().empty());
}

TEST_F(DvdChunkTest, SkipsWhatLiesBeforeTheFirstWritableBlock) {
    struct {
        bool written;
        uint32_t nextWritable;
        int result;
        std::vector<std::string> trace;
        uint32_t nextAfter;
    } const cases[] = {
        {false, 48, kWhole, {}, 48},
        {false, 500, kWhole, {}, 500},
        {false, 47, 2048, {"2A 00 00 00 00 2F 00 00 01"}, 48},
        {false, 35, 13 * 2048, {"2A 00 00 00 00 23 00 00 0D"}, 48},
        {false, 32, kWhole, {"2A 00 00 00 00 20 00 00 10"}, 48},
        {false, 0, kWhole, {"2A 00 00 00 00 20 00 00 10"}, 48},
        {true, 500, kWhole, {"2A 00 00 00 00 20 00 00 10"}, 48},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.nextWritable);
        bench.port.Clear();
        bench.drive.m_bMediaWritten = c.written;
        bench.drive.m_nNextWriteAddress = c.nextWritable;
        EXPECT_EQ(Write(32), c.result);
        EXPECT_EQ(bench.Trace(), c.trace);
        EXPECT_EQ(bench.drive.m_nNextWriteAddress, c.nextAfter);
        EXPECT_EQ(bench.drive.m_bMediaWritten, !c.trace.empty());
        if (!c.trace.empty()) {
            const Bytes tail(chunk.end() - c.result, chunk.end());
            EXPECT_EQ(bench.port.Sent().front().dataOut, tail);
        }
    }
}

TEST_F(DvdChunkTest, WaitsForALongWriteAsLongAsTheBufferNeeds) {
    struct {
        const char* what;
        int32_t velocity;
        uint32_t knownKB;
        int64_t size, free;          // of READ BUFFER CAPACITY; size -1: it fails
        std::vector<int64_t> sleeps; // of two refusals
    } const cases[] = {
        {"half the buffer, empty", 1385, 512, 512, 0, {184, 184}},
        {"a larger buffer than known", 5540, 512, 2048, 24, {180, 180}},
        {"a smaller one counts as half the known", 1385, 512, 100, 90, {119, 119}},
        {"no answer", 1385, 1000, -1, 0, {361, 361}},
        {"enough is free", 1385, 512, 512, 256, {92}},
        {"more is free than asked for", 1385, 512, 512, 500, {92}},
        {"less than a second's thousandth is missing", 1385, 512, 512, 255, {92}},
        {"never a busy loop", 0x7FFFFFFF, 512, 512, 0, {5}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        DvdBench one(0x1B);
        s_nDaoToggle = 0;
        one.drive.m_nVelocity = c.velocity;
        one.drive.m_nDriveBufferKB = c.knownKB;
        Bytes answer(12);
        StoreBe32(&answer[4], static_cast<uint32_t>(c.size) << 10 | 1023);
        StoreBe32(&answer[8], static_cast<uint32_t>(c.free) << 10 | 1023);
        one.port.Always(mmc::kReadBufferCapacity,
                        c.size < 0 ? ErrorCode(0x52000) : GoodAnswer(answer));
        one.port.Queue(mmc::kWrite10, ErrorCode(0x20408));
        one.port.Queue(mmc::kWrite10, ErrorCode(0x20408));
        EXPECT_EQ(one.drive.WriteDvdChunk(chunk.data(), 32768), kWhole);
        EXPECT_EQ(one.clock.Sleeps(), c.sleeps);
        const std::vector<std::string> trace = {
            "2A 00 00 00 00 10 00 00 10", "5C 00 00 00 00 00 00 00 0C",
            "2A 00 00 00 00 10 00 00 10", "5C 00 00 00 00 00 00 00 0C",
            "2A 00 00 00 00 10 00 00 10"};
        EXPECT_EQ(one.Trace(), trace);
    }
}

TEST_F(DvdChunkTest, SendsAgainWithoutPauseOnlyOnceHoweverLongTheDriveIsBusy) {
    SetBuffer(512, 512);
    RefuseWrites(500, 0x20408);
    EXPECT_EQ(Write(16), kWhole);
    EXPECT_EQ(bench.clock.Sleeps(), std::vector<int64_t>(499, 92));
}

TEST_F(DvdChunkTest, ASpeedBelowZeroFails) {
    bench.drive.m_nVelocity = -1385;
    SetBuffer(512, 0);
    RefuseWrites(1, 0x20408);
    EXPECT_EQ(Write(16), -1);
    EXPECT_TRUE(bench.clock.Sleeps().empty());
}

TEST_F(DvdChunkTest, WithoutASpeedABusyEventDecides) {
    bench.drive.m_nVelocity = 0;
    bench.port.Queue(mmc::kGetEventStatus,
                     GoodAnswer({0, 6, 6, 0x40, 1, 1, 0, 3})); // busy, 3 units of 100 ms
    bench.port.Queue(mmc::kGetEventStatus, GoodAnswer({0, 2, 0, 0x40}));
    RefuseWrites(3, 0x20408);
    EXPECT_EQ(Write(16), kWhole);
    // The event is waited for; without one the cache is flushed: at once first, then with a pause.
    EXPECT_EQ(bench.clock.Sleeps(), (std::vector<int64_t>{400, 5000}));
    EXPECT_EQ(bench.port.SentOpcodes(), (Bytes{0x2A, 0x4A, 0x00, 0x4A, // busy
                                               0x2A, 0x4A, 0x35,       // no event any more
                                               0x2A, 0x35, 0x2A}));
}

TEST_F(DvdChunkTest, BecomingReadyIsWaitedForAtBlockZeroOnly) {
    bench.drive.m_nPollDelayMs = 150;
    RefuseWrites(6, 0x20401);
    EXPECT_EQ(Write(0), kWhole);
    EXPECT_EQ(bench.clock.Sleeps(), (std::vector<int64_t>{150, 150, 150, 5000, 150, 150}));
    RefuseWrites(1, 0x20401);
    EXPECT_EQ(Write(16), -1);
}

TEST_F(DvdChunkTest, FlushesTheCacheOfADriveInTheMiddleOfSomething) {
    for (const int code : {0x20404, 0x20407, 0x52C00}) {
        SCOPED_TRACE(code);
        DvdBench one(0x1A);
        s_nDaoToggle = 0;
        for (int i = 0; i < 4; ++i)
            one.port.Queue(mmc::kWrite10, ErrorCode(code));
        EXPECT_EQ(one.drive.WriteDvdChunk(chunk.data(), 32768), kWhole);
        EXPECT_EQ(one.clock.Sleeps(), (std::vector<int64_t>{5000, 5000}));
        EXPECT_EQ(one.port.SentOpcodes(),
                  (Bytes{0x2A, 0x35, 0x2A, 0x35, 0x2A, 0x35, 0x2A, 0x35, 0x2A}));
        EXPECT_EQ(one.port.Sent(0x35).front().cdb, Bytes({0x35, 0, 0, 0, 0, 0, 0, 0, 0, 0}));

        one.port.Queue(mmc::kWrite10, ErrorCode(code));
        one.port.Queue(mmc::kSynchronizeCache, ErrorCode(0x30C00));
        EXPECT_EQ(one.drive.WriteDvdChunk(chunk.data(), 32768), -1);
    }
}

TEST_F(DvdChunkTest, OtherErrorsFailAtOnceAndOnlyADlDiscForgetsThatItWasWritten) {
    struct {
        uint32_t profile;
        ScriptedAnswer answer;
        bool writtenAfter;
    } const cases[] = {
        {0x1B, ErrorCode(0x30C00), true},
        {0x1B, FailedAnswer(PortError::TimedOut), true},
        {0x1A, ErrorCode(0x52100), true},
        {0x2B, ErrorCode(0x52100), true},
        {0x2B, ErrorCode(0x30C00), false},
        {0x2B | MEDIA_BLANK, ErrorCode(0x72700), false},
        {0x2B, FailedAnswer(PortError::TimedOut), false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.profile << " " << int{c.answer.completion.sense[12]});
        DvdBench one(c.profile);
        one.drive.m_bMediaWritten = true;
        one.port.Queue(mmc::kWrite10, c.answer);
        EXPECT_EQ(one.drive.WriteDvdChunk(chunk.data(), 0), -1);
        EXPECT_EQ(one.port.Sent().size(), 1u);
        EXPECT_EQ(one.drive.m_bMediaWritten, c.writtenAfter);
    }
}

TEST_F(DvdChunkTest, WritingInOneGoWaitsLongerUntilTheDriveHasPaused) {
    s_nDaoToggle = -1;
    bench.drive.m_bDaoMode = true;
    SetBuffer(512, 512);
    EXPECT_EQ(Write(0), kWhole);
    RefuseWrites(1, 0x20408);
    EXPECT_EQ(Write(16), kWhole);
    EXPECT_EQ(bench.clock.Sleeps(), std::vector<int64_t>{92}); // never at once in one go
    EXPECT_EQ(Write(32), kWhole);
    std::vector<uint32_t> timeouts;
    for (const SentCommand& write : bench.port.Sent(mmc::kWrite10))
        timeouts.push_back(write.timeoutSeconds);
    EXPECT_EQ(timeouts, (std::vector<uint32_t>{180, 180, 180, 60}));
    EXPECT_EQ(s_nDaoToggle, 0);

    s_nDaoToggle = 1;
    SetBuffer(512, 0);
    RefuseWrites(1, 0x20408);
    EXPECT_EQ(Write(48), kWhole);
    EXPECT_EQ(s_nDaoToggle, 0) << "a pause for a full buffer counts as well";

    s_nDaoToggle = -1;
    bench.drive.m_bDaoMode = false;
    EXPECT_EQ(Write(64), kWhole);
    EXPECT_EQ(bench.port.Sent(mmc::kWrite10).back().timeoutSeconds, 60u);
}

TEST_F(DvdChunkTest, ACancelEndsEveryWait) {
    struct {
        int code;
        int32_t velocity;
        uint32_t freeKB;
    } const cases[] = {
        {0x20408, 1385, 0}, {0x20408, 1385, 512}, {0x20408, 0, 0},      {0x20401, 1385, 0},
        {0x20404, 1385, 0}, {0x20407, 1385, 0},   {0x52C00, 1385, 512},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.code << " " << c.velocity << " " << c.freeKB);
        DvdBench stuck(0x2B);
        stuck.drive.m_nVelocity = c.velocity;
        stuck.drive.m_bMediaWritten = true;
        Bytes answer(12);
        StoreBe32(&answer[4], 512 << 10);
        StoreBe32(&answer[8], c.freeKB << 10);
        stuck.port.Always(mmc::kReadBufferCapacity, GoodAnswer(answer));
        stuck.port.Always(mmc::kWrite10, ErrorCode(c.code));
        const CancelFunctor cancel([&stuck] { return stuck.clock.TotalSleep() >= 20'000; });
        const CancelScope scope(stuck.drive, &cancel);
        EXPECT_EQ(stuck.drive.WriteDvdChunk(chunk.data(), 0), kChunkCancelled);
        EXPECT_TRUE(stuck.drive.m_bMediaWritten);
        EXPECT_LE(stuck.clock.TotalSleep(), 20'200);
        for (const int64_t sleep : stuck.clock.Sleeps())
            ASSERT_LE(sleep, 200);
        // A drive that stays busy for 20 s is not asked in a frenzy.
        EXPECT_LE(stuck.port.Sent().size(), 500u);
    }
}

TEST_F(DvdChunkTest, ACancelDoesNotStopAChunkThatTheDriveTakes) {
    const CancelFunctor cancel([] { return true; });
    const CancelScope scope(bench.drive, &cancel);
    EXPECT_EQ(Write(16), kWhole);
    EXPECT_EQ(WritesSent(), 1u);
}

} // namespace
} // namespace larkspin
