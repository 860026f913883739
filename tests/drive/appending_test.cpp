// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

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
            EXPECT_EQ(FailureOf([&] { bench.dvd.GetNextSessionStart(descriptor, &previous); }),
                      next != 0 ? "" : "previous session is not iso9660");
            EXPECT_EQ(previous, next != 0 ? 16 : 0);
            EXPECT_EQ(bench.dvd.m_nNextStart, next);
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
            bench.dvd.m_abyDiscInfo = {0, 0, c.status, 0, 0, 3, 0, 0, 0, 0, 1};
            bench.port.Always(kReadTrackInformation, trackAt(0x12340));
            bench.port.Always(kReadToc, tocAt(0x8000));
            bench.port.Always(c.question, c.reply);
            int32_t previous = 0;
            EXPECT_EQ(FailureOf([&] { bench.dvd.GetNextSessionStart({}, &previous); }), c.text);
            const bool appends = c.text[0] == '\0';
            EXPECT_EQ(bench.dvd.m_nNextStart, appends ? 0x12340 : 0);
            EXPECT_EQ(previous, appends ? 0x8010 : 0);
            if (appends) {
                EXPECT_EQ(bench.dvd.m_nNextTrack, 0x103);
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
        dvd.m_nSessionStart = 1008;
        dvd.m_bMediaWritten = true;
        dvd.m_nNextWriteAddress = 1520;
        std::ranges::copy(newer, dvd.m_pWriteBuffer.get() + kDvdChunkBytes);
        port.Always(kRead10, older);
    }
    std::string Update() {
        return FailureOf([this] { drive.UpdateVolumeDescriptors(); });
    }
    // What lies at block 16 after an update, a letter for each block: N a new descriptor, O the old
    // one that was at `oldAt`, T a terminator, = the block that was there before.
    std::string Updated(size_t oldAt = 1) {
        EXPECT_EQ(Update(), "");
        const Bytes written = port.Sent(kWrite10).back().dataOut;
        std::string letters;
        size_t next = 0;
        for (size_t i = 0; i < 16; ++i) {
            const Bytes block = BlocksOf(written, i, 1);
            Bytes fresh = BlocksOf(newer, next, 1);
            StoreBoth32(&fresh[kVolumeSpaceSize], 1008 + 500);
            const bool isTerminator = block[0] == 255 && block[1] == 'C' && block[kBlock - 1] == 0;
            letters += block == fresh                       ? 'N'
                       : isTerminator                       ? 'T'
                       : block == BlocksOf(older, i, 1)     ? '='
                       : block == BlocksOf(older, oldAt, 1) ? 'O'
                                                            : '?';
            next += block == fresh;
        }
        return letters.erase(letters.find_last_not_of('=') + 1);
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
        bench.dvd.m_bQuickGrown = isGrown;
        EXPECT_EQ(bench.Update(), "");
        EXPECT_EQ(bench.Trace(), trace);
        EXPECT_TRUE(bench.dvd.m_bStopAfterFinish);
        EXPECT_TRUE(bench.dvd.m_bMediaWritten) << "the finisher has work to do";
        if (!trace.empty()) {
            EXPECT_EQ(bench.port.Sent().back().cdb[0], kWrite10);
        }
        // Without a session, or when the user cancelled before a descriptor was written.
        bench.port.Clear();
        for (const bool written : {false, true}) {
            bench.dvd.m_bMediaWritten = written;
            bench.dvd.m_nSessionStart = written ? 0 : 1008;
            EXPECT_EQ(bench.Update(), "");
        }
        EXPECT_TRUE(bench.port.Sent().empty());
    }
}

// B, S and E stand for the recognition sequence of UDF, 0 for El Torito.
TEST(DescriptorUpdateTest, AllDescriptorsLeadToTheNewTree) {
    const Bytes sixteen = {1, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2};
    struct {
        Bytes oldTypes, newTypes;
        const char* blocks;
        uint32_t catalog = 900;
        size_t oldAt = 1;
    } const cases[] = {
        {{1, 2, 255}, {1, 2, 255}, "NNT"},
        {{7, 2, 255}, {1, 2, 255}, "NNT"},
        {{1, 0, 2, 255}, {1, 2, 255}, "N=NT"},
        {{1, 2, 0, 255}, {1, 2, 255}, "NONT", 900, 2},
        {{1, 0, 2, 255}, {1, 2, 255}, "NNTT", 1008}, // the catalog is written over
        {{1, 0, 255}, {1, 2, 255}, "N=T"},           // Joliet has no room
        {{1, 2, 2, 3, 255}, {1, 2, 255}, "NNTTT"},
        {{1, 2, 255}, {1, 255}, "NTT"},
        {{1, 255}, {1, 2, 255}, "NT"},
        {{1, 255, 255}, {1, 2, 255}, "NNT"},
        {{1, 255, 'B', 'S', 'E'}, {1, 2, 255}, "NNTTT"},
        {{1, 2, 255, 9, 'B'}, {1, 2, 255}, "NNT"}, // what lies behind may be a file's
        {{1}, {1, 2, 255}, "N"},
        {sixteen, {1, 2, 255}, "NNTTTTTTTTTTTTTT"}, // goes on behind what is read
        {sixteen, sixteen, "NNNNNNNNNNNNNNNT"},
    };
    for (const auto& c : cases) {
        UpdateBench bench(0x12, c.oldTypes, c.newTypes);
        for (size_t i = 0; i < c.oldTypes.size(); ++i) {
            uint8_t* const block = &bench.older[i * kBlock];
            const std::map<uint8_t, const char*> marks = {
                {'B', "BEA01"}, {'S', "NSR02"}, {'E', "TEA01"}, {9, "FILE9"}};
            if (c.oldTypes[i] == 0) {
                std::copy_n("EL TORITO SPECIFICATION", 23, block + 7);
                StoreLe32(block + 0x47, c.catalog);
            } else if (marks.contains(block[0])) {
                std::copy_n(marks.at(block[0]), 5, block + 1);
                block[0] = 0;
            }
        }
        bench.port.Always(kRead10, bench.older);
        EXPECT_EQ(bench.Updated(c.oldAt), c.blocks);
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
        EXPECT_TRUE(bench.dvd.m_bStopAfterFinish);
    }
}

} // namespace
} // namespace larkspin
