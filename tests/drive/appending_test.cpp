#include "drive/dvd_bench.h"

namespace larkspin {
namespace {

TEST(NextSessionTest, InPlaceItBeginsBehindTheVolume) {
    // A size that can't be would put the new data over the old: 0 stands for a refusal.
    const std::pair<uint32_t, int32_t> sizes[] = {
        {1000, 1008}, {1008, 1008}, {1009, 1024},    {17, 32},       {0x7FFFFFEF, 0x7FFFFFF0},
        {0, 0},       {16, 0},      {0x7FFFFFF1, 0}, {0xFFFFFFFF, 0}};
    for (const auto& [size, next] : sizes) {
        for (const uint32_t profile : {0x12, 0x13, 0x1A, 0x2A}) {
            DvdBench bench(profile);
            Bytes descriptor(kBlock);
            StoreBoth32(&descriptor[kVolumeSpaceSize], size);
            int32_t previous = 0;
            EXPECT_EQ(FailureOf([&] { bench.drive.GetNextSessionStart(descriptor, &previous); }),
                      next != 0 ? "" : "previous session is not iso9660");
            EXPECT_EQ(previous, next != 0 ? 16 : 0);
            EXPECT_EQ(bench.drive.m_nNextStart, next);
            EXPECT_TRUE(bench.port.Sent().empty());
        }
    }
}

TEST(NextSessionTest, SequentialMediaSayWhereTheNextTrackIsOrWhyThereIsNone) {
    const char* const unreadable = "cannot read track information";
    const auto trackAt = [](uint32_t start) { return Answer(36, {{8, start, 4}}); };
    const auto tocAt = [](uint32_t start) { return Answer(12, {{8, start, 4}}); };
    struct {
        const char* text;
        uint8_t status;
        uint8_t question = kTestUnitReady; // what is answered in another way
        Reply reply = {};
    } const cases[] = {
        {"disk is finalized, cannot append", 0},
        {"disk is finalized, cannot append", 2},
        {"last disk session is not empty", 1 | 0x08},
        {"last disk session is not empty", 1 | 0x0C},
        {"", 1},
        {"", 1 | 0x04},
        {"disk already full", 1, kReadTrackInformation, Sense(0x52400)},
        {unreadable, 1, kReadTrackInformation, Sense(0x20401)},
        {unreadable, 1, kReadTrackInformation, trackAt(0x8010)}, // addresses that can't be
        {unreadable, 1, kReadTrackInformation, trackAt(1u << 31)},
        {unreadable, 1, kReadToc, tocAt(0xFFFFFFFF)},
        {"cannot read session info", 1, kReadToc, Sense(0x52400)},
    };
    for (const auto& c : cases) {
        for (const uint32_t profile : {0x11, 0x14, 0x15, 0x16, 0x1B, 0x2B}) {
            SCOPED_TRACE(testing::Message() << c.text << " " << profile);
            DvdBench bench(profile);
            bench.drive.m_abyDiscInfo = {0, 0, c.status, 0, 0, 3, 0, 0, 0, 0, 1};
            bench.port.Always(kReadTrackInformation, trackAt(0x12340));
            bench.port.Always(kReadToc, tocAt(0x8000));
            bench.port.Always(c.question, c.reply);
            int32_t previous = 0;
            EXPECT_EQ(FailureOf([&] { bench.drive.GetNextSessionStart({}, &previous); }), c.text);
            const bool appends = c.text[0] == '\0';
            EXPECT_EQ(bench.drive.m_nNextStart, appends ? 0x12340 : 0);
            EXPECT_EQ(previous, appends ? 0x8010 : 0);
            if (appends) {
                EXPECT_EQ(bench.drive.m_nNextTrack, 0x103);
                EXPECT_EQ(bench.Trace(),
                          (Lines{"52 01 00 00 01 03 00 00 24", "43 00 01 00 00 00 00 00 0C"}));
            }
        }
    }
}

// A disc with blocks 16 to 31 of an old volume, and the new ones in the write buffer.
struct UpdateBench : DvdBench {
    explicit UpdateBench(uint32_t profile, const Bytes& oldTypes = {1, 0, 2, 255},
                         const Bytes& newTypes = {1, 0, 2, 255})
        : DvdBench(profile), older(BlocksOf(VolumeStream(32, 1000, oldTypes), 16, 16)),
          newer(BlocksOf(VolumeStream(32, 500, newTypes, 100), 16, 16)) {
        drive.m_nSessionStart = 1008;
        drive.m_bMediaWritten = true;
        drive.m_nNextWriteAddress = 1520;
        std::ranges::copy(newer, drive.m_pWriteBuffer.get() + kDvdChunkBytes);
        port.Always(kRead10, older);
    }
    std::string Update() {
        return FailureOf([this] { drive.UpdateVolumeDescriptors(); });
    }
    // What is to lie at block 16 with so many of the new descriptors.
    Bytes Merged(size_t replaced) const {
        Bytes merged = older;
        std::copy_n(newer.begin(), replaced * kBlock, merged.begin());
        for (size_t i = 0; i < replaced; ++i)
            StoreBoth32(&merged[i * kBlock + kVolumeSpaceSize], 1008 + 500);
        return merged;
    }

    Bytes older, newer;
};

TEST(DescriptorUpdateTest, EachMediumIsReadBackAfterItsOwnFlush) {
    const Lines flush = {"35 02", "00", "35"};
    const Lines update = {"28 00 00 00 00 10 00 00 10", "2A 00 00 00 00 10 00 00 10"};
    const Lines flushed = flush + update, grown = flush + Lines{"5B 01 02", "00"} + update, none;
    const std::tuple<uint32_t, bool, Lines> cases[] = {
        {0x12, false, update},  {0x13, false, flushed}, {0x13, true, grown},
        {0x1A, false, flushed}, {0x2A, false, flushed}, {0x11, false, none},
        {0x14, false, none},    {0x1B, false, none},    {0x2B, false, none}};
    for (const auto& [profile, isGrown, trace] : cases) {
        SCOPED_TRACE(testing::Message() << profile << " " << isGrown);
        UpdateBench bench(profile);
        bench.drive.m_bQuickGrown = isGrown;
        EXPECT_EQ(bench.Update(), "");
        EXPECT_EQ(bench.Trace(), trace);
        EXPECT_TRUE(bench.drive.m_bStopAfterFinish);
        EXPECT_TRUE(bench.drive.m_bMediaWritten) << "the finisher has work to do";
        if (!trace.empty()) {
            EXPECT_EQ(bench.port.Sent().back().dataOut, bench.Merged(3));
        }
        // Without a session, or when the user cancelled before a descriptor was written.
        bench.port.Clear();
        for (const bool written : {false, true}) {
            bench.drive.m_bMediaWritten = written;
            bench.drive.m_nSessionStart = written ? 0 : 1008;
            EXPECT_EQ(bench.Update(), "");
        }
        EXPECT_TRUE(bench.port.Sent().empty());
    }
}

TEST(DescriptorUpdateTest, OnlyDescriptorsThatAgreeInPositionAndTypeAreReplaced) {
    const Bytes sixteen = {1, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2};
    struct {
        const char* what;
        Bytes oldTypes, newTypes;
        size_t replaced;
    } const cases[] = {
        {"the same", {1, 2, 255}, {1, 2, 255}, 2},
        {"fewer new ones", {1, 0, 2, 255}, {1, 255}, 1},
        {"more new ones", {1, 255}, {1, 2, 255}, 1},
        {"another order", {1, 2, 0, 255}, {1, 0, 2, 255}, 1},
        {"no terminator", {1, 2}, {1, 2}, 2},
        {"all of them", sixteen, sixteen, 16},
        {"the old first one does not matter", {7, 2}, {1, 2}, 2},
    };
    for (const auto& c : cases) {
        UpdateBench bench(0x12, c.oldTypes, c.newTypes);
        EXPECT_EQ(bench.Update(), "");
        EXPECT_EQ(bench.port.Sent().back().dataOut, bench.Merged(c.replaced)) << c.what;
    }
    UpdateBench bench(0x12, {1, 2}, {2, 2});
    EXPECT_EQ(bench.Update(), "internal error #1023");
    EXPECT_TRUE(bench.port.Sent(kWrite10).empty());
}

TEST(DescriptorUpdateTest, SaysWhatWentWrong) {
    const char* const lost =
        "unable to update volume descriptors, added data may be not accessible";
    const std::tuple<uint32_t, size_t, const char*> cases[] = {
        {0x1A, 0, "internal error #1008"}, {0x1A, 1, "internal error #1008"},
        {0x1A, 2, "internal error #1008"}, {0x13, 1, "internal error #1008"},
        {0x13, 2, "internal error #1008"}, {0x1A, 3, "disk read error"},
        {0x12, 0, "disk read error"},      {0x1A, 4, lost},
    };
    for (const auto& [profile, failing, text] : cases) {
        SCOPED_TRACE(testing::Message() << profile << " " << failing);
        UpdateBench bench(profile);
        bench.port.AnswerNth(failing, Sense(0x30C00));
        EXPECT_EQ(bench.Update(), text);
        EXPECT_TRUE(bench.drive.m_bStopAfterFinish);
    }
}

} // namespace
} // namespace larkspin
