#include "drive/dvd_bench.h"
#include "drive/dvd_texts.h"

namespace larkspin {
namespace {

constexpr int64_t kBlock = 2048;
constexpr int64_t kChunk = kDvdChunkBytes;

TEST(BlankTest, StartsTheBlankAndLeavesTheDriveToIt) {
    ScriptedBench bench({0, 0, 2});
    CAspiCD drive(0, 0, 2, &bench.transport);
    bench.port.Queue(mmc::kBlank, SenseAnswer(5, 0x30, 0)); // a refusal is not looked at
    drive.BlankDisk(false);
    drive.BlankDisk(true);
    EXPECT_EQ(Trace(bench.port.Sent()), (std::vector<std::string>{"A1 51", "A1 50"}));
    for (const SentCommand& sent : bench.port.Sent()) {
        EXPECT_EQ(sent.cdb.size(), 12u);
        EXPECT_EQ(sent.timeoutSeconds, 9600u);
        EXPECT_EQ(sent.length, 0u);
    }
    EXPECT_EQ(bench.transport.m_nTimeoutSeconds, 0u);
}

TEST(BlankTest, TellsFromTheSenseHowFarTheDriveIs) {
    struct {
        uint8_t key, asc, ascq;
        bool valid;
        uint16_t progress;
        bool busy;
        int percent;
    } const cases[] = {
        {2, 4, 4, true, 0, true, 0},          {2, 4, 7, true, 0x8000, true, 50},
        {2, 4, 8, true, 0xFFFF, true, 99},    {2, 4, 8, false, 0x8000, true, -1},
        {2, 4, 1, true, 0x8000, false, 4711}, {2, 0x3A, 0, true, 0x8000, false, 4711},
        {5, 4, 8, true, 0x8000, false, 4711}, {0, 0, 0, false, 0, false, 4711},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << int{c.key} << " " << int{c.ascq} << " " << c.progress);
        ScriptedDrive bench;
        ScriptedAnswer answer = SenseAnswer(c.key, c.asc, c.ascq);
        if (c.key == 0)
            answer = GoodAnswer(Bytes(255));
        answer.completion.sense[15] = c.valid ? 0x80 : 0;
        StoreBe16(&answer.completion.sense[16], c.progress);
        bench.port.Always(mmc::kReadDiscInformation, answer);
        int percent = 4711;
        EXPECT_EQ(bench.drive.IsBlankingInProgress(&percent), c.busy);
        EXPECT_EQ(percent, c.percent);
        EXPECT_EQ(bench.drive.IsBlankingInProgress(nullptr), c.busy);
        EXPECT_EQ(Trace(bench.port.Sent()).at(0), "51 00 00 00 00 00 00 00 FF");
    }
}

struct FormatCase {
    const char* what;
    std::vector<FormatDescriptor> formats;
    int64_t blocks;
    bool sent;
    Bytes list; // parameter list of FORMAT UNIT
    const char* text;
};

TEST(FormatTest, ADvdPlusRwIsFormattedBeforeItsFirstUse) {
    const FormatCase cases[] = {
        {"formatted", {{100, 2}, {2295104, 0x26}}, 0, false, {}, ""},
        {"unknown", {{100, 3}, {2295104, 0x26}}, 0, false, {}, ""},
        {"unformatted",
         {{100, 1}, {2295104, 0x26}},
         0,
         true,
         {0, 2, 0, 8, 0, 0x23, 0x05, 0x40, 0x98, 0, 0, 0},
         ""},
        {"listed later",
         {{100, 1}, {7, 0}, {8, 0x13}, {0x01020304, 0x26}},
         0,
         true,
         {0, 2, 0, 8, 1, 2, 3, 4, 0x98, 0, 0, 0},
         ""},
        {"not listed", {{100, 1}, {7, 0}}, 0, false, {}, "can't locate DVD+RW format descriptor"},
    };
    for (const FormatCase& c : cases) {
        SCOPED_TRACE(c.what);
        DvdBench bench(0x1A);
        bench.SetFormats(c.formats);
        bench.port.Queue(mmc::kTestUnitReady, SenseAnswer(2, 4, 4));
        CScsiCommand command(bench.drive);
        EXPECT_EQ(FailureOf([&] { bench.drive.FormatPlusRw(command); }), c.text);
        if (!c.sent) {
            EXPECT_TRUE(bench.port.Sent().empty());
            continue;
        }
        EXPECT_EQ(bench.Trace(), (std::vector<std::string>{"04 11", "00", "00", "35"}));
        EXPECT_EQ(bench.port.Sent(mmc::kFormatUnit).at(0).dataOut, c.list);
    }
}

TEST(FormatTest, AFormatThatFailsSaysSo) {
    for (const auto& [opcode, text] : {std::pair{mmc::kFormatUnit, "format command failed"},
                                       std::pair{mmc::kSynchronizeCache, "flush failed"}}) {
        DvdBench bench(0x1A);
        bench.SetFormats({{100, 1}, {2295104, 0x26}});
        bench.port.Always(opcode, SenseAnswer(3, 0x31, 1));
        CScsiCommand command(bench.drive);
        EXPECT_EQ(FailureOf([&] { bench.drive.FormatPlusRw(command); }), text);
        EXPECT_EQ(bench.port.Sent().back().cdb[0], opcode);
    }
}

TEST(FormatTest, AnInterruptedFormatGoesOnWhenTheRecordingNeedsIt) {
    struct {
        const char* what;
        uint32_t currentBlocks;
        int64_t blocks;
        bool daoOnly;
        bool sent;
    } const cases[] = {
        {"fits", 1008, 1000, false, false},     {"fits when rounded", 1008, 993, false, false},
        {"outgrows", 1008, 1009, false, true},  {"outgrows when rounded", 1007, 993, false, true},
        {"size unknown", 1008, 0, false, true}, {"in one go", 1008, 1000, true, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        DvdBench bench(0x1A);
        bench.SetFormats({{c.currentBlocks, 2}, {2295104, 0x26}});
        bench.drive.m_bDaoOnly = c.daoOnly;
        CScsiCommand command(bench.drive);
        EXPECT_EQ(bench.drive.RestartPlusRwFormat(command, c.blocks * kBlock), 0);
        if (!c.sent) {
            EXPECT_TRUE(bench.port.Sent().empty());
            continue;
        }
        EXPECT_EQ(bench.Trace(), (std::vector<std::string>{"04 11", "00"}));
        EXPECT_EQ(bench.port.Sent(mmc::kFormatUnit).at(0).dataOut,
                  (Bytes{0, 2, 0, 8, 0, 0x23, 0x05, 0x40, 0x98, 0, 0, 1}));
    }
    DvdBench refused(0x1A);
    refused.SetFormats({{16, 2}, {2295104, 0x26}});
    refused.port.Always(mmc::kFormatUnit, SenseAnswer(5, 0x24, 0));
    CScsiCommand command(refused.drive);
    EXPECT_EQ(refused.drive.RestartPlusRwFormat(command, 0), 1);
    refused.SetFormats({{16, 2}});
    EXPECT_EQ(FailureOf([&] { refused.drive.RestartPlusRwFormat(command, 0); }),
              "can't locate DVD+RW format descriptor");
}

TEST(FormatTest, ADvdMinusRwGrowsWhenTheRecordingNeedsIt) {
    struct {
        const char* what;
        std::vector<FormatDescriptor> formats;
        int64_t blocks;
        bool sent, grown;
    } const cases[] = {
        {"fits", {{1008, 2}, {5000, 0x13}}, 993, false, false},
        {"outgrows", {{1008, 2}, {5000, 0x13}}, 1009, true, true},
        {"size unknown", {{1008, 2}, {5000, 0x13}}, 0, true, true},
        {"nowhere to grow", {{1008, 2}, {0, 0x13}}, 2000, false, false},
        {"unformatted", {{1008, 1}, {5000, 0x13}}, 16, true, true},
        {"unformatted, no figure", {{1008, 1}, {0, 0x13}}, 16, true, true},
        {"quick formatted, not listed", {{1008, 3}, {5000, 0}}, 16, false, true},
        {"formatted, not listed", {{1008, 2}, {5000, 0}}, 2000, false, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        DvdBench bench(0x13);
        bench.SetFormats(c.formats);
        CScsiCommand command(bench.drive);
        EXPECT_EQ(bench.drive.QuickGrowMinusRw(command, c.blocks * kBlock), 0);
        EXPECT_EQ(bench.drive.m_bQuickGrown, c.grown);
        if (!c.sent) {
            EXPECT_TRUE(bench.port.Sent().empty());
            continue;
        }
        EXPECT_EQ(bench.Trace(), (std::vector<std::string>{"04 11", "00"}));
        EXPECT_EQ(bench.port.Sent(mmc::kFormatUnit).at(0).dataOut,
                  (Bytes{0, 2, 0, 8, 0, 0, 0, 0, 0x4C, 0, 0, 16}));
    }
    DvdBench bench(0x13);
    bench.SetFormats({{16, 2}, {5000, 0x13}});
    CScsiCommand command(bench.drive);
    bench.port.Queue(mmc::kFormatUnit, SenseAnswer(5, 0x24, 0));
    EXPECT_EQ(bench.drive.QuickGrowMinusRw(command, 0), 1);
    bench.port.Queue(mmc::kTestUnitReady, SenseAnswer(2, 0x3A, 0));
    EXPECT_EQ(bench.drive.QuickGrowMinusRw(command, 0), 0x23A00);
}

class EraseTest : public testing::Test {
  protected:
    EraseTest() {
        bench.SetFormats({{kDiscBlocks, 2}, {kDiscBlocks, 0x26}});
        bench.drive.m_abyDiscInfo[7] = 3;
        // What a cancelled recording may have left in the buffer.
        std::fill_n(bench.drive.m_pWriteBuffer.get(), kDvdBufferBytes, uint8_t{0xEE});
        bench.port.OnCommand([this](const SentCommand& sent) -> std::optional<ScriptedAnswer> {
            if (sent.cdb[0] == mmc::kModeSense10)
                return bench.page2A;
            const bool beyond =
                sent.cdb[0] == mmc::kWrite10 && LoadBe32(&sent.cdb[2]) + 16 > kDiscBlocks;
            return beyond ? std::optional(SenseAnswer(5, 0x21, 0)) : std::nullopt;
        });
    }
    ~EraseTest() override { bench.drive.m_pfnFinalize = nullptr; }

    void Erase(int64_t offset, bool quick, const CancelFunctor* cancel = nullptr) {
        bench.drive.FormatDvdRewritable(
            offset, quick, [this](int percent) { progress.push_back(percent); }, cancel);
    }

    static constexpr uint32_t kDiscBlocks = 160;
    DvdBench bench{0x1A};
    std::vector<int> progress;
};

TEST_F(EraseTest, QuickZeroesTheDescriptorsOnly) {
    Erase(0, true);
    EXPECT_EQ(bench.Recorded(), Bytes(kDvdBufferBytes));
    EXPECT_EQ(bench.port.Sent(mmc::kWrite10).size(), 2u);
    EXPECT_EQ(progress, (std::vector<int>{50, 100}));
    EXPECT_TRUE(bench.drive.m_bZeroFill);
    bench.port.Clear();
    bench.drive.m_pfnFinalize(bench.drive);
    EXPECT_EQ(bench.port.SentOpcodes(), (Bytes{0x35, 0, 0x35, 0x5B, 0, 0x5B, 0, 0x1B}));
}

TEST_F(EraseTest, FullRunsUntilTheDriveRefuses) {
    EXPECT_EQ(FailureOf([this] { Erase(0, false); }), kDvdWriteError);
    EXPECT_EQ(bench.port.Sent(mmc::kWrite10).size(), kDiscBlocks / 16 + 1);
    EXPECT_EQ(progress, (std::vector<int>{10, 20, 20, 30, 40, 50, 60, 70, 80, 90, 100}));
    for (const SentCommand& write : bench.port.Sent(mmc::kWrite10))
        EXPECT_EQ(write.dataOut, Bytes(kDvdChunkBytes));
    EXPECT_NE(bench.drive.m_pfnFinalize, nullptr);
    EXPECT_TRUE(bench.drive.m_bMediaWritten);
}

TEST_F(EraseTest, StartsAtTheOffset) {
    Erase(2 * kChunk, true);
    EXPECT_EQ(LoadBe32(&bench.port.Sent(mmc::kWrite10).at(0).cdb[2]), 32u);
    EXPECT_EQ(progress, (std::vector<int>{50, 100}));
}

TEST_F(EraseTest, EndsWhenTheUserSaysSo) {
    const CancelFunctor atOnce([] { return true; });
    Erase(0, false, &atOnce);
    EXPECT_TRUE(bench.port.Sent().empty());
    EXPECT_EQ(bench.drive.m_pfnFinalize, nullptr);

    const CancelFunctor later([this] { return bench.port.Sent(mmc::kWrite10).size() == 5; });
    Erase(0, false, &later);
    EXPECT_EQ(bench.drive.m_nCurrentOffset, 5 * kChunk);
    EXPECT_NE(bench.drive.m_pfnFinalize, nullptr);
    EXPECT_EQ(bench.drive.m_pCancel, nullptr);
}

TEST_F(EraseTest, ADiscThatCannotBeOverwrittenIsRefused) {
    bench.drive.m_nProfile = 0x2A;
    EXPECT_EQ(FailureOf([this] { Erase(0, true); }), "disk type not supported");
    EXPECT_TRUE(bench.port.Sent(mmc::kWrite10).empty());
}

} // namespace
} // namespace larkspin
