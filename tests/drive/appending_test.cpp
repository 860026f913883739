#include "drive/dvd_bench.h"
#include "support/memory_source.h"

namespace larkspin {
namespace {

constexpr size_t kBlock = 2048;

TEST(NextSessionTest, InPlaceItBeginsBehindTheVolume) {
    for (const uint32_t profile : {0x12, 0x13, 0x1A, 0x2A}) {
        // A size that can't be would put the new data over the old: 0 stands for a refusal.
        for (const auto& [size, next] : {std::pair<uint32_t, int32_t>{1000, 1008},
                                         {1008, 1008},
                                         {1009, 1024},
                                         {17, 32},
                                         {0x7FFFFFEF, 0x7FFFFFF0},
                                         {0, 0},
                                         {16, 0},
                                         {0x7FFFFFF1, 0},
                                         {0xFFFFFFFF, 0}}) {
            DvdBench bench(profile);
            Bytes descriptor(kBlock);
            StoreBoth32(&descriptor[80], size);
            int32_t previous = 0;
            EXPECT_EQ(FailureOf([&] {
                          EXPECT_EQ(bench.drive.GetNextSessionStart(descriptor, &previous), next);
                      }),
                      next != 0 ? "" : "previous session is not iso9660");
            EXPECT_EQ(previous, next != 0 ? 16 : 0);
            EXPECT_EQ(bench.drive.m_nNextStart, next);
            EXPECT_TRUE(bench.port.Sent().empty());
        }
    }
}

TEST(NextSessionTest, SequentialMediaSayWhereTheNextTrackIsOrWhyThereIsNone) {
    const char* const unreadable = "cannot read track information";
    const auto track = [](uint32_t start) { return GoodAnswer(Answer(36, {{8, start, 4}})); };
    struct {
        uint8_t status;
        uint8_t question;
        ScriptedAnswer answer;
        const char* text;
    } const cases[] = {
        {0, 0, {}, "disk is finalized, cannot append"},
        {2, 0, {}, "disk is finalized, cannot append"},
        {1 | 0x08, 0, {}, "last disk session is not empty"},
        {1 | 0x0C, 0, {}, "last disk session is not empty"},
        {1, 0, {}, ""},
        {1 | 0x04, 0, {}, ""},
        {1, mmc::kReadTrackInformation, SenseAnswer(0x52400), "disk already full"},
        {1, mmc::kReadTrackInformation, SenseAnswer(0x20401), unreadable},
        {1, mmc::kReadTrackInformation, track(0x8010), unreadable}, // addresses that can't be
        {1, mmc::kReadTrackInformation, track(1u << 31), unreadable},
        {1, mmc::kReadToc, GoodAnswer(Answer(12, {{8, 0xFFFFFFFF, 4}})), unreadable},
        {1, mmc::kReadToc, SenseAnswer(0x52400), "cannot read session info"},
    };
    for (const auto& c : cases) {
        for (const uint32_t profile : {0x11, 0x14, 0x15, 0x16, 0x1B, 0x2B}) {
            SCOPED_TRACE(testing::Message() << c.text << " " << profile);
            DvdBench bench(profile);
            bench.drive.m_abyDiscInfo[2] = c.status;
            bench.drive.m_abyDiscInfo[5] = 3;
            bench.drive.m_abyDiscInfo[10] = 1;
            bench.port.Always(mmc::kReadTrackInformation, track(0x12340));
            bench.port.Always(mmc::kReadToc, GoodAnswer(Answer(12, {{8, 0x8000, 4}})));
            if (c.question != 0)
                bench.port.Always(c.question, c.answer);
            int32_t previous = 0;
            int32_t next = 0;
            EXPECT_EQ(FailureOf([&] {
                          next = bench.drive.GetNextSessionStart(Bytes(kBlock), &previous);
                      }),
                      c.text);
            if (c.text[0] != '\0')
                continue;
            EXPECT_EQ(next, 0x12340);
            EXPECT_EQ(previous, 0x8010);
            EXPECT_EQ(bench.drive.m_nNextStart, 0x12340);
            EXPECT_EQ(bench.drive.m_nNextTrack, 0x103);
            EXPECT_EQ(bench.Trace(),
                      (Lines{"52 01 00 00 01 03 00 00 24", "43 00 01 00 00 00 00 00 0C"}));
        }
    }
}

// A disc with blocks 16 to 31 of an old volume, and the new ones in the write buffer.
struct DescriptorUpdateTest : testing::Test {
    // Blocks of one pattern, the first of them descriptors of these types.
    static Bytes Descriptors(uint8_t pattern, uint32_t size, const std::vector<uint8_t>& types) {
        Bytes blocks(kDvdChunkBytes);
        for (size_t i = 0; i < blocks.size(); ++i)
            blocks[i] = static_cast<uint8_t>(i % 253 + pattern);
        for (size_t i = 0; i < types.size(); ++i) {
            blocks[i * kBlock] = types[i];
            std::copy_n("CD001", 5, &blocks[i * kBlock + 1]);
        }
        StoreBoth32(&blocks[80], size);
        return blocks;
    }

    // What lies at block 16 afterwards: from the new descriptors those at these positions.
    Bytes Merged(const std::vector<size_t>& replaced) const {
        Bytes merged = oldBlocks;
        for (const size_t i : replaced) {
            std::copy_n(&newBlocks[i * kBlock], kBlock, &merged[i * kBlock]);
            StoreBoth32(&merged[i * kBlock + 80], 1008 + 500);
        }
        return merged;
    }

    void Prepare(DvdBench& bench) const {
        bench.drive.m_nSessionStart = 1008;
        bench.drive.m_bMediaWritten = true;
        bench.drive.m_nNextWriteAddress = 1520;
        std::ranges::copy(newBlocks, bench.drive.m_pWriteBuffer.get() + kDvdChunkBytes);
        bench.port.Always(mmc::kRead10, GoodAnswer(oldBlocks));
    }

    Bytes oldBlocks = Descriptors(0, 1000, {1, 0, 2, 255});
    Bytes newBlocks = Descriptors(100, 500, {1, 0, 2, 255});
};

TEST_F(DescriptorUpdateTest, EachMediumIsReadBackAfterItsOwnFlush) {
    const Lines flush = {"35 02", "00", "35"};
    const Lines update = {"28 00 00 00 00 10 00 00 10", "2A 00 00 00 00 10 00 00 10 @60"};
    struct {
        uint32_t profile;
        bool grown;
        Lines trace;
    } const cases[] = {
        {0x12, false, update},
        {0x13, false, flush + update},
        {0x1A, false, flush + update},
        {0x2A, false, flush + update},
        {0x11, false, {}},
        {0x14, false, {}},
        {0x1B, false, {}},
        {0x2B, false, {}},
        {0x13, true, flush + Lines{"5B 01 02", "00"} + update},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.profile << " " << c.grown);
        DvdBench bench(c.profile);
        Prepare(bench);
        bench.drive.m_bQuickGrown = c.grown;
        bench.drive.UpdateVolumeDescriptors();
        EXPECT_EQ(bench.Trace(), c.trace);
        EXPECT_TRUE(bench.drive.m_bStopAfterFinish);
        EXPECT_TRUE(bench.drive.m_bMediaWritten) << "the finisher has work to do";
        if (!c.trace.empty()) {
            EXPECT_EQ(bench.port.Sent().back().dataOut, Merged({0, 1, 2}));
        }

        // Without a session, or when the user cancelled before a descriptor was written.
        bench.port.Clear();
        bench.drive.m_bMediaWritten = false;
        bench.drive.UpdateVolumeDescriptors();
        bench.drive.m_bMediaWritten = true;
        bench.drive.m_nSessionStart = 0;
        bench.drive.UpdateVolumeDescriptors();
        EXPECT_TRUE(bench.port.Sent().empty());
    }
}

TEST_F(DescriptorUpdateTest, OnlyDescriptorsThatAgreeInPositionAndTypeAreReplaced) {
    const std::vector<uint8_t> sixteen = {1, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2};
    struct {
        const char* what;
        std::vector<uint8_t> oldTypes, newTypes;
        std::vector<size_t> replaced;
    } const cases[] = {
        {"the same", {1, 2, 255}, {1, 2, 255}, {0, 1}},
        {"fewer new ones", {1, 0, 2, 255}, {1, 255}, {0}},
        {"more new ones", {1, 255}, {1, 2, 255}, {0}},
        {"another order", {1, 2, 0, 255}, {1, 0, 2, 255}, {0}},
        {"no terminator", {1, 2}, {1, 2}, {0, 1}},
        {"all of them", sixteen, sixteen, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}},
        {"the old first one does not matter", {7, 2}, {1, 2}, {0, 1}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        oldBlocks = Descriptors(0, 1000, c.oldTypes);
        newBlocks = Descriptors(100, 500, c.newTypes);
        if (c.newTypes.size() == 2 && c.replaced.size() == 2) // the same type, but no "CD001"
            oldBlocks[2 * kBlock] = newBlocks[2 * kBlock] = 9;
        DvdBench bench(0x12);
        Prepare(bench);
        bench.drive.UpdateVolumeDescriptors();
        EXPECT_EQ(bench.port.Sent().back().dataOut, Merged(c.replaced));
    }
}

TEST_F(DescriptorUpdateTest, SaysWhatWentWrong) {
    struct {
        uint32_t profile;
        size_t failing; // index of the command
        const char* text;
    } const cases[] = {
        {0x1A, 0, "internal error #1008"},
        {0x1A, 1, "internal error #1008"},
        {0x1A, 2, "internal error #1008"},
        {0x13, 1, "internal error #1008"},
        {0x13, 2, "internal error #1008"},
        {0x1A, 3, "disk read error"},
        {0x12, 0, "disk read error"},
        {0x1A, 4, "unable to update volume descriptors, added data may be not accessible"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.profile << " " << c.failing);
        DvdBench bench(c.profile);
        Prepare(bench);
        bench.port.AnswerNth(c.failing, SenseAnswer(0x30C00));
        EXPECT_EQ(FailureOf([&] { bench.drive.UpdateVolumeDescriptors(); }), c.text);
        EXPECT_TRUE(bench.drive.m_bStopAfterFinish);
    }
    DvdBench bench(0x12);
    Prepare(bench);
    bench.drive.m_pWriteBuffer[kDvdChunkBytes] = 2;
    EXPECT_EQ(FailureOf([&] { bench.drive.UpdateVolumeDescriptors(); }), "internal error #1023");
    EXPECT_TRUE(bench.port.Sent(mmc::kWrite10).empty());
}

TEST_F(DescriptorUpdateTest, AnAppendInPlaceGivesBothPartsOneSize) {
    DvdBench bench(0x1A);
    bench.SetDiscInfo(Answer(32, {{1, 40}, {2, 1}, {7, 3}}));
    bench.port.Always(mmc::kRead10, GoodAnswer(oldBlocks));
    bench.drive.ResetDvdState();
    bench.drive.OpenDvdForWriting(false, -1.0);
    ASSERT_EQ(bench.drive.m_nNextStart, 1008);
    const Bytes stream = VolumeStream(500);
    MemorySource source(stream);
    bench.drive.WriteDvdFromHandle(source, 1008 * int64_t{kBlock}, nullptr, nullptr);
    bench.drive.UpdateVolumeDescriptors();
    bench.drive.m_pfnFinalize(bench.drive);

    const Bytes disc = bench.Recorded();
    EXPECT_EQ(Bytes(disc.begin() + 1008 * kBlock, disc.begin() + 1508 * kBlock), stream);
    EXPECT_EQ(LoadLe32(&disc[16 * kBlock + 80]), 1508u);
    EXPECT_EQ(LoadBe32(&disc[16 * kBlock + 84]), 1508u);
    // Behind the types that differ from the new volume's the old blocks stand as they were.
    EXPECT_EQ(Bytes(disc.begin() + 17 * kBlock, disc.begin() + 32 * kBlock),
              Bytes(oldBlocks.begin() + kBlock, oldBlocks.end()));
    EXPECT_EQ(bench.Trace().back(), "1B 01");
}

} // namespace
} // namespace larkspin
