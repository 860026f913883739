// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/bd_media.h"
#include "drive/dvd_bench.h"

namespace larkspin {
namespace {

TEST(BlankTest, TellsFromTheSenseHowFarTheDriveIs) {
    constexpr int idle = 4711;
    // A sense, its progress or -1 for none, and the percentage that follows.
    const std::tuple<int, int, int> cases[] = {{0x20404, 0, 0},         {0x20407, 0x8000, 50},
                                               {0x20408, 0xFFFF, 99},   {0x20408, -1, -1},
                                               {0x20401, 0x8000, idle}, {0x23A04, 0x8000, idle},
                                               {0x50408, 0x8000, idle}, {0x20409, 0x8000, idle}};
    for (const auto& [code, progress, expected] : cases) {
        ScriptedDrive bench;
        Reply reply = Sense(code);
        reply.completion.sense[15] = progress >= 0 ? 0x80 : 0;
        StoreBe16(&reply.completion.sense[16], static_cast<uint16_t>(progress));
        bench.port.Queue(kReadDiscInformation, reply, 2);
        for (const bool isBusy : {expected != idle, false}) {
            int percent = idle;
            EXPECT_EQ(bench.drive.IsBlankingInProgress(&percent), isBusy);
            EXPECT_EQ(percent, isBusy ? expected : idle);
            EXPECT_EQ(bench.drive.IsBlankingInProgress(nullptr), isBusy);
            bench.port.Always(kReadDiscInformation, {});
        }
        EXPECT_EQ(bench.Trace(), Lines(4, "51 00 00 00 00 00 00 00 FF"));
    }
}

// The formats that a recording brings about: each is sent, waited for and then believed.
TEST(FormatTest, IsDoneWhenTheDiscAndTheRecordingNeedIt) {
    enum class Kind { PlusRw, RestartPlusRw, QuickGrow };
    const Bytes whole = {0, 2, 0, 8, 0, 0x23, 0x05, 0x40, 0x98, 0, 0, 0};
    const Bytes later = {0, 2, 0, 8, 1, 2, 3, 4, 0x98, 0, 0, 0};
    const Bytes restart = {0, 2, 0, 8, 0, 0x23, 0x05, 0x40, 0x98, 0, 0, 1};
    const Bytes grow = {0, 2, 0, 8, 0, 0, 0, 0, 0x4C, 0, 0, 16};
    const Bytes none;
    const auto to = [](uint32_t blocks, uint8_t type = 2) {
        return std::vector<FormatDescriptor>{{blocks, type}, {2'295'104, 0x26}};
    };
    struct {
        const char* what;
        Kind kind;
        std::vector<FormatDescriptor> formats;
        int64_t blocks;
        Bytes list; // parameter list of FORMAT UNIT
        bool grown = false;
        bool daoOnly = false;
    } const cases[] = {
        {"formatted", Kind::PlusRw, to(100), 0, none},
        {"unknown", Kind::PlusRw, to(100, 3), 0, none},
        {"unformatted", Kind::PlusRw, to(100, 1), 0, whole},
        {"listed later", Kind::PlusRw, {{100, 1}, {7, 0}, {8, 0x13}, {0x01020304, 0x26}}, 0, later},
        {"fits", Kind::RestartPlusRw, to(1008), 1000, none},
        {"fits when rounded", Kind::RestartPlusRw, to(1008), 993, none},
        {"outgrows", Kind::RestartPlusRw, to(1008), 1009, restart},
        {"outgrows when rounded", Kind::RestartPlusRw, to(1007), 993, restart},
        {"size unknown", Kind::RestartPlusRw, to(1008), 0, restart},
        {"in one go", Kind::RestartPlusRw, to(1008), 1000, restart, false, true},
        {"fits", Kind::QuickGrow, {{1008, 2}, {5000, 0x13}}, 993, none},
        {"outgrows", Kind::QuickGrow, {{1008, 2}, {5000, 0x13}}, 1009, grow, true},
        {"size unknown", Kind::QuickGrow, {{1008, 2}, {5000, 0x13}}, 0, grow, true},
        {"nowhere to grow", Kind::QuickGrow, {{1008, 2}, {0, 0x13}}, 2000, none},
        {"unformatted", Kind::QuickGrow, {{1008, 1}, {5000, 0x13}}, 16, grow, true},
        {"unformatted, no figure", Kind::QuickGrow, {{1008, 1}, {0, 0x13}}, 16, grow, true},
        {"quick formatted, not listed", Kind::QuickGrow, {{1008, 3}, {5000, 0}}, 16, none, true},
        {"formatted, not listed", Kind::QuickGrow, {{1008, 2}, {5000, 0}}, 2000, none},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.what << " " << static_cast<int>(c.kind));
        DvdBench bench(0x1A);
        bench.SetFormats(c.formats);
        bench.dvd.m_bDaoOnly = c.daoOnly;
        bench.port.Queue(kTestUnitReady, Sense(0x20404));
        Lines trace = {"04 11", "00", "00"};
        if (c.kind == Kind::PlusRw) {
            bench.dvd.FormatPlusRw(bench.command);
            trace.push_back("35");
        } else if (c.kind == Kind::RestartPlusRw) {
            EXPECT_EQ(bench.dvd.RestartPlusRwFormat(bench.command, c.blocks * kBlock), 0);
        } else {
            EXPECT_EQ(bench.dvd.QuickGrowMinusRw(bench.command, c.blocks * kBlock), 0);
        }
        EXPECT_EQ(bench.Trace(), c.list.empty() ? Lines() : trace);
        for (const SentCommand& sent : bench.port.Sent(kFormatUnit)) {
            EXPECT_EQ(sent.dataOut, c.list);
        }
        EXPECT_EQ(bench.dvd.m_bQuickGrown, c.grown);
    }
}

TEST(FormatTest, AFormatThatFailsSaysSo) {
    const Reply refused = Sense(0x52400);
    DvdBench bench(0x1A);
    CScsiCommand& command = bench.command;
    bench.SetFormats({{100, 1}, {2'295'104, 0x26}, {5000, 0x13}});
    bench.port.Queue(kFormatUnit, refused, 3);
    bench.port.Queue(kSynchronizeCache, Sense(0x33101));
    EXPECT_EQ(FailureOf([&] { bench.dvd.FormatPlusRw(command); }), "format command failed");
    EXPECT_EQ(bench.dvd.RestartPlusRwFormat(command, 0), 1);
    EXPECT_EQ(bench.dvd.QuickGrowMinusRw(command, 0), 1);
    EXPECT_EQ(FailureOf([&] { bench.dvd.FormatPlusRw(command); }), "flush failed");
    bench.port.Queue(kTestUnitReady, Sense(0x23A00));
    EXPECT_EQ(bench.dvd.QuickGrowMinusRw(command, 0), 0x23A00);

    const char* const notListed = "can't locate DVD+RW format descriptor";
    bench.SetFormats({{100, 1}, {7, 0}});
    EXPECT_EQ(FailureOf([&] { bench.dvd.FormatPlusRw(command); }), notListed);
    EXPECT_EQ(FailureOf([&] { bench.dvd.RestartPlusRwFormat(command, 0); }), notListed);

    bench.port.Queue(kFormatUnit, refused);
    EXPECT_EQ(FailureOf([&] { FormatBdRe(bench.dvd, command); }), "formatting the BD-RE failed");
    bench.SetFormats({{100, 1}, {7, 0x30}});
    EXPECT_EQ(FailureOf([&] { FormatBdRe(bench.dvd, command); }),
              "the drive offers no format for this BD-RE");
}

struct EraseTest : testing::Test {
    EraseTest() {
        // What a cancelled recording may have left in the buffer.
        std::fill_n(bench.dvd.m_pWriteBuffer.get(), kDvdBufferBytes, uint8_t{0xEE});
        bench.port.OnCommand([](const SentCommand& sent) {
            const bool beyond =
                sent.cdb[0] == kWrite10 && LoadBe32(&sent.cdb[2]) + 16 > kDiscBlocks;
            return beyond ? std::optional(Sense(0x52100)) : std::nullopt;
        });
    }

    void Erase(size_t offset, bool quick, const CancelFunctor* cancel = nullptr) {
        bench.drive.FormatDvdRewritable(
            static_cast<int64_t>(offset), quick,
            [this](int percent) { progress.push_back(percent); }, cancel);
        EXPECT_EQ(bench.drive.Cancel(), nullptr);
    }

    static constexpr uint32_t kDiscBlocks = 160;
    DvdBench bench{0x1A, kDiscBlocks};
    std::vector<int> progress;
};

TEST_F(EraseTest, QuickZeroesTheDescriptorsOnly) {
    for (const size_t offset : {size_t{0}, 64 * kBlock}) {
        bench.port.Clear();
        progress.clear();
        Erase(offset, true);
        const std::vector<SentCommand> writes = bench.port.Sent(kWrite10);
        ASSERT_EQ(writes.size(), 2u);
        EXPECT_EQ(LoadBe32(&writes[0].cdb[2]), offset / kBlock);
        EXPECT_EQ(bench.Recorded(), Bytes(offset + kDvdBufferBytes));
        EXPECT_EQ(progress, (std::vector<int>{50, 100}));
        EXPECT_TRUE(bench.dvd.m_bZeroFill);
        bench.port.Clear();
        bench.dvd.m_pfnFinalize(bench.dvd);
        EXPECT_EQ(bench.port.SentOpcodes(), (Bytes{0x35, 0, 0x35, 0x5B, 0, 0x5B, 0, 0x1B}));
    }
}

TEST_F(EraseTest, FullRunsUntilTheDriveRefusesOrTheUserSaysSo) {
    EXPECT_EQ(FailureOf([this] { Erase(0, false); }), kDvdWriteError);
    EXPECT_EQ(bench.port.Sent(kWrite10).size(), kDiscBlocks / 16 + 1);
    EXPECT_EQ(progress, (std::vector<int>{10, 20, 20, 30, 40, 50, 60, 70, 80, 90, 100}));
    for (const SentCommand& write : bench.port.Sent(kWrite10)) {
        EXPECT_EQ(write.dataOut, Bytes(kDvdChunkBytes));
    }
    EXPECT_NE(bench.dvd.m_pfnFinalize, nullptr);
    EXPECT_TRUE(bench.dvd.m_bMediaWritten);

    for (const size_t writes : {0u, 5u}) {
        bench.port.Clear();
        bench.dvd.m_pfnFinalize = nullptr;
        const CancelFunctor cancel([&] { return bench.port.Sent(kWrite10).size() == writes; });
        Erase(0, false, &cancel);
        EXPECT_EQ(bench.port.Sent().empty(), writes == 0);
        EXPECT_EQ(bench.dvd.m_nCurrentOffset, static_cast<int64_t>(writes * kDvdChunkBytes));
        EXPECT_EQ(bench.dvd.m_pfnFinalize != nullptr, writes > 0);
    }
    bench.port.Clear();
    bench.dvd.m_nProfile = 0x2A;
    EXPECT_EQ(FailureOf([this] { Erase(0, true); }), "disk type not supported");
    EXPECT_TRUE(bench.port.Sent(kWrite10).empty());
}

} // namespace
} // namespace larkspin
