#include "drive/dvd_bench.h"
#include "support/memory_source.h"

namespace larkspin {
namespace {

constexpr size_t kBlock = 2048;

Bytes DescriptorWithSize(uint32_t blocks) {
    Bytes descriptor(kBlock);
    StoreBoth32(&descriptor[80], blocks);
    return descriptor;
}

TEST(NextSessionTest, InPlaceItBeginsBehindTheVolume) {
    for (const uint32_t profile : {0x12, 0x13, 0x1A, 0x2A}) {
        for (const auto& [size, next] : {std::pair<uint32_t, int32_t>{1000, 1008},
                                         {1008, 1008},
                                         {1009, 1024},
                                         {17, 32},
                                         {0x7FFFFFEF, 0x7FFFFFF0}}) {
            DvdBench bench(profile);
            int32_t previous = 0;
            EXPECT_EQ(bench.drive.GetNextSessionStart(DescriptorWithSize(size), &previous), next);
            EXPECT_EQ(previous, 16);
            EXPECT_EQ(bench.drive.m_nNextStart, next);
            EXPECT_TRUE(bench.port.Sent().empty());
        }
    }
}

TEST(NextSessionTest, ASizeThatCannotBeWouldPutTheNewDataOverTheOld) {
    for (const uint32_t size : {0u, 16u, 0x7FFFFFF1u, 0xFFFFFFFFu}) {
        DvdBench bench(0x1A);
        int32_t previous = 0;
        EXPECT_EQ(FailureOf([&] {
                      bench.drive.GetNextSessionStart(DescriptorWithSize(size), &previous);
                  }),
                  "previous session is not iso9660")
            << size;
    }
}

TEST(NextSessionTest, SequentialMediaSayWhereTheNextTrackIs) {
    for (const uint32_t profile : {0x11, 0x14, 0x15, 0x16, 0x1B, 0x2B}) {
        DvdBench bench(profile);
        bench.drive.m_abyDiscInfo[2] = 1;
        bench.drive.m_abyDiscInfo[5] = 3;
        bench.drive.m_abyDiscInfo[10] = 1;
        Bytes track(36);
        StoreBe32(&track[8], 0x12340);
        bench.port.Always(mmc::kReadTrackInformation, GoodAnswer(track));
        Bytes toc(12);
        StoreBe32(&toc[8], 0x8000);
        bench.port.Always(mmc::kReadToc, GoodAnswer(toc));
        int32_t previous = 0;
        EXPECT_EQ(bench.drive.GetNextSessionStart(Bytes(kBlock), &previous), 0x12340);
        EXPECT_EQ(previous, 0x8010);
        EXPECT_EQ(bench.drive.m_nNextStart, 0x12340);
        EXPECT_EQ(bench.drive.m_nNextTrack, 0x103);
        EXPECT_EQ(bench.Trace(), (std::vector<std::string>{"52 01 00 00 01 03 00 00 24",
                                                           "43 00 01 00 00 00 00 00 0C"}));
    }
}

TEST(NextSessionTest, SaysWhyADiscTakesNoSession) {
    struct {
        uint8_t status;
        uint8_t failing; // operation code
        ScriptedAnswer answer;
        const char* text;
    } const cases[] = {
        {0, 0, {}, "disk is finalized, cannot append"},
        {2, 0, {}, "disk is finalized, cannot append"},
        {1 | 0x08, 0, {}, "last disk session is not empty"},
        {1 | 0x0C, 0, {}, "last disk session is not empty"},
        {1 | 0x04, 0, {}, ""},
        {1, mmc::kReadTrackInformation, SenseAnswer(5, 0x24, 0), "disk already full"},
        {1, mmc::kReadTrackInformation, SenseAnswer(2, 0x04, 1), "cannot read track information"},
        // Addresses that can't be.
        {1, mmc::kReadTrackInformation, GoodAnswer(Answer(36)), "cannot read track information"},
        {1, mmc::kReadTrackInformation, GoodAnswer(Answer(36, {{11, 16}})),
         "cannot read track information"},
        {1, mmc::kReadTrackInformation, GoodAnswer(Answer(36, {{8, 0x80}})),
         "cannot read track information"},
        {1, mmc::kReadToc, GoodAnswer(Answer(12, {{8, 0xFF}, {9, 0xFF}, {10, 0xFF}, {11, 0xFF}})),
         "cannot read track information"},
        {1, mmc::kReadToc, SenseAnswer(5, 0x24, 0), "cannot read session info"},
    };
    for (const auto& c : cases) {
        DvdBench bench(0x11);
        bench.drive.m_abyDiscInfo[2] = c.status;
        bench.port.Always(mmc::kReadTrackInformation, GoodAnswer(Answer(36, {{9, 1}})));
        if (c.failing != 0)
            bench.port.Always(c.failing, c.answer);
        int32_t previous = 0;
        EXPECT_EQ(FailureOf([&] { bench.drive.ReadSequentialSessionStart(&previous); }), c.text);
    }
}

// A disc with blocks 16 to 31 of an old volume, and the new ones in the write buffer.
class DescriptorUpdateTest : public testing::Test {
  protected:
    DescriptorUpdateTest() {
        SetDescriptors(oldBlocks, {1, 0, 2, 255});
        SetDescriptors(newBlocks, {1, 0, 2, 255});
    }

    // Blocks of one pattern, the first of them descriptors of these types.
    void SetDescriptors(Bytes& blocks, const std::vector<uint8_t>& types) {
        for (size_t i = 0; i < blocks.size(); ++i)
            blocks[i] = static_cast<uint8_t>(i % 253 + (&blocks == &newBlocks ? 100 : 0));
        for (size_t i = 0; i < types.size(); ++i) {
            blocks[i * kBlock] = types[i];
            std::copy_n("CD001", 5, &blocks[i * kBlock + 1]);
        }
        StoreBoth32(&blocks[80], &blocks == &newBlocks ? 500 : 1000);
    }

    // What lies at block 16 afterwards: from the new descriptors those at these positions.
    Bytes Merged(const std::vector<size_t>& replaced, uint32_t size) const {
        Bytes merged = oldBlocks;
        for (const size_t i : replaced) {
            std::copy_n(&newBlocks[i * kBlock], kBlock, &merged[i * kBlock]);
            StoreBoth32(&merged[i * kBlock + 80], size);
        }
        return merged;
    }

    void Prepare(DvdBench& bench) const {
        s_nDaoToggle = 0;
        bench.drive.m_nSessionStart = 1008;
        bench.drive.m_bMediaWritten = true;
        bench.drive.m_nNextWriteAddress = 1520;
        std::copy(newBlocks.begin(), newBlocks.end(),
                  bench.drive.m_pWriteBuffer.get() + kDvdChunkBytes);
        bench.port.Always(mmc::kRead10, GoodAnswer(oldBlocks));
    }

    Bytes oldBlocks = Bytes(kDvdChunkBytes);
    Bytes newBlocks = Bytes(kDvdChunkBytes);
};

TEST_F(DescriptorUpdateTest, EachMediumIsReadBackAfterItsOwnFlush) {
    const std::string read = "28 00 00 00 00 10 00 00 10";
    const std::string write = "2A 00 00 00 00 10 00 00 10";
    struct {
        uint32_t profile;
        bool grown;
        std::vector<std::string> trace;
    } const cases[] = {
        {0x12, false, {read, write}},
        {0x13, false, {"35 02", "00", "35", read, write}},
        {0x13, true, {"35 02", "00", "35", "5B 01 02", "00", read, write}},
        {0x1A, false, {"35 02", "00", "35", read, write}},
        {0x2A, false, {"35 02", "00", "35", read, write}},
        {0x11, false, {}},
        {0x14, false, {}},
        {0x1B, false, {}},
        {0x2B, false, {}},
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
            EXPECT_EQ(bench.port.Sent().back().dataOut, Merged({0, 1, 2}, 1508));
        }
    }
}

TEST_F(DescriptorUpdateTest, OnlyDescriptorsThatAgreeInPositionAndTypeAreReplaced) {
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
        {"all of them",
         {1, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2},
         {1, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2},
         {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}},
        {"the old first one does not matter", {7, 2}, {1, 2}, {0, 1}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        SetDescriptors(oldBlocks, c.oldTypes);
        SetDescriptors(newBlocks, c.newTypes);
        if (std::string(c.what) == "no terminator") { // the same type by chance, but no "CD001"
            oldBlocks[2 * kBlock] = newBlocks[2 * kBlock] = 9;
        }
        DvdBench bench(0x12);
        Prepare(bench);
        bench.drive.UpdateVolumeDescriptors();
        EXPECT_EQ(bench.port.Sent().back().dataOut, Merged(c.replaced, 1508));
    }
}

TEST_F(DescriptorUpdateTest, WithoutASessionOrAnythingWrittenTheOldDescriptorsStay) {
    DvdBench fresh(0x1A);
    Prepare(fresh);
    fresh.drive.m_nSessionStart = 0;
    fresh.drive.UpdateVolumeDescriptors();
    EXPECT_TRUE(fresh.port.Sent().empty());

    // Cancelled when the new descriptors were read but not yet written.
    DvdBench cancelled(0x1A);
    Prepare(cancelled);
    cancelled.drive.m_bMediaWritten = false;
    cancelled.drive.UpdateVolumeDescriptors();
    EXPECT_TRUE(cancelled.port.Sent().empty());
}

TEST_F(DescriptorUpdateTest, SaysWhatWentWrong) {
    struct {
        uint32_t profile;
        size_t failing; // index of the command
        const char* text;
    } const cases[] = {
        {0x1A, 2, "internal error #1008"},
        {0x1A, 3, "disk read error"},
        {0x12, 0, "disk read error"},
        {0x1A, 4, "unable to update volume descriptors, added data may be not accessible"},
    };
    for (const auto& c : cases) {
        DvdBench bench(c.profile);
        Prepare(bench);
        bench.FailCommand(c.failing, SenseAnswer(3, 0x0C, 0));
        EXPECT_EQ(FailureOf([&] { bench.drive.UpdateVolumeDescriptors(); }), c.text);
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
    bench.SetFormats({{2'295'104, 2}, {2'295'104, 0x26}});
    bench.port.Always(mmc::kRead10, GoodAnswer(oldBlocks));
    bench.drive.ResetDvdState();
    bench.drive.OpenDvdForWriting(false, -1.0);
    ASSERT_EQ(bench.drive.m_nNextStart, 1008);
    const Bytes stream = VolumeStream(500);
    MemorySource source(stream);
    bench.drive.WriteDvdFromHandle(source, bench.drive.m_nNextStart * int64_t{kBlock}, nullptr,
                                   nullptr);
    bench.drive.UpdateVolumeDescriptors();
    std::exchange(bench.drive.m_pfnFinalize, nullptr)(bench.drive);

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
