// Recording a CD: cue sheets, mode pages, the order of commands, retries and cancels.
#include "drive/answers.h"
#include "drive/cue_sheet.h"

#include <numeric>

namespace larkspin {
namespace {

using testing::Each;
using testing::ElementsAre;

TEST(CueSheetTest, HoldsOneImageOrTracksWithoutGaps) {
    const uint32_t tracks[] = {2352 * 4500, 2352 * 75 + 2351, 2352};
    // clang-format off
    EXPECT_EQ(BuildImageCueSheet(int64_t{2048} * 10'000),
              (Bytes{0x41, 0x00, 0x00, 0x14, 0, 0, 0, 0,
                     0x61, 0x01, 0x00, 0x10, 0, 0, 0, 0,
                     0x61, 0x01, 0x01, 0x10, 0, 0, 2, 0,
                     0x41, 0xAA, 0x01, 0x14, 0, 2, 15, 25}));
    EXPECT_EQ(BuildAudioCueSheet(tracks),
              (Bytes{0x01, 0x00, 0x00, 0x01, 0, 0, 0, 0,
                     0x21, 0x01, 0x00, 0x00, 0, 0, 0, 0,
                     0x21, 0x01, 0x01, 0x00, 0, 0, 2, 0,
                     0x21, 0x02, 0x01, 0x00, 0, 1, 2, 0,
                     0x21, 0x03, 0x01, 0x00, 0, 1, 3, 0,
                     0x01, 0xAA, 0x01, 0x01, 0, 1, 3, 1}));
    // clang-format on
    EXPECT_EQ(BuildImageCueSheet(int64_t{2048} * 4500 * 300)[29], 255) << "no other, shorter disc";
    EXPECT_EQ(MsfAddress(-4500).minutes, 0);
    EXPECT_EQ(MsfAddress(-1).total, 0);
}

TEST(ModePageTest, IsFoundBehindTheBlockDescriptors) {
    Bytes page = Page(5, 50);
    std::iota(page.begin() + 2, page.end(), uint8_t{2});
    for (const size_t descriptors : {0u, 8u, 16u, 4u}) {
        SCOPED_TRACE(descriptors);
        ScriptedDrive bench;
        bench.port.Queue(ModePage(5), GoodAnswer(ModeAnswer(page, descriptors)), 2);
        Bytes buffer(56, 0xFF), header(8), descriptor(8, 0xFF), little(4);
        EXPECT_EQ(bench.drive.ModeSense(0x45, buffer, header.data(), descriptor.data()), 0);
        EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 52), page);
        EXPECT_EQ(Bytes(buffer.begin() + 52, buffer.end()), Bytes(4));
        EXPECT_EQ(header[3], 0x42);
        EXPECT_EQ(descriptor, Bytes(8, descriptors >= 8 ? 0xDD : 0));
        EXPECT_EQ(bench.drive.ModeSense(5, little), 0);
        EXPECT_EQ(little, (Bytes{5, 50, 2, 3}));
        EXPECT_EQ(bench.Trace(),
                  (Lines{"5A 00 05 00 00 00 00 00 A4", "5A 00 05 00 00 00 00 00 70"}));
    }
    Bytes farAway = ModeAnswer(Page(5, 50));
    farAway[0] = 0xFF; // mode data length
    farAway[6] = 0x7F; // block descriptor length
    for (const ScriptedAnswer& answer :
         {SenseAnswer(0x52400), FailedAnswer(), GoodAnswer(ModeAnswer({})), GoodAnswer(farAway),
          GoodAnswer(ModeAnswer(Page(0x2A, 50))), GoodAnswer(Bytes(200, 0xFF))}) {
        ScriptedDrive bench;
        bench.port.Queue(ModePage(5), answer);
        Bytes buffer(56, 0xFF);
        EXPECT_EQ(bench.drive.ModeSense(5, buffer), 1);
        EXPECT_THAT(buffer, Each(0));
    }
}

TEST(ModePageTest, IsSelectedWithTwoBytesOfItsHeader) {
    ScriptedDrive bench;
    const Bytes header = {1, 2, 3, 4, 5, 6, 7, 8};
    Bytes page = Page(5, 3, 0x77);
    page.push_back(0x99); // behind the page
    EXPECT_EQ(bench.drive.ModeSelect(page, header.data()), 0);
    EXPECT_EQ(bench.drive.ModeSelect(page), 0);
    EXPECT_EQ(bench.Trace()[0], "55 10 00 00 00 00 00 00 0D");
    EXPECT_EQ(bench.port.Sent()[0].dataOut,
              (Bytes{0, 0, 3, 4, 0, 0, 0, 0, 5, 3, 0x77, 0x77, 0x77}));
    EXPECT_EQ(bench.port.Sent()[1].dataOut,
              (Bytes{0, 0, 0, 0, 0, 0, 0, 0, 5, 3, 0x77, 0x77, 0x77}));
    for (const ScriptedAnswer& answer : {SenseAnswer(0x52600), FailedAnswer()}) {
        bench.port.Queue(mmc::kModeSelect10, answer);
        EXPECT_EQ(bench.drive.ModeSelect(page), 1);
    }
}

// Answers MODE SENSE with these pages and no others.
void SetPages(ScriptedPort& port, const std::vector<Bytes>& pages) {
    port.Always(mmc::kModeSense10, SenseAnswer(0x52400));
    for (const Bytes& page : pages)
        port.Always(ModePage(page[0]), GoodAnswer(ModeAnswer(page)));
}

Bytes CapabilitiesPage(uint8_t byte4) {
    return Answer(32, {{0, 0x2A}, {1, 30}, {4, byte4}});
}

Bytes VendorPage(uint8_t abilities, uint8_t choices = 0, uint8_t length = 14) {
    return Answer(length + size_t{2}, {{0, 0x30}, {1, length}, {2, abilities}, {3, choices}});
}

// The page that was selected last, and before it the header.
Bytes Selected(const ScriptedPort& port) {
    return port.Sent(mmc::kModeSelect10).back().dataOut;
}

TEST(TrackAtOnceTest, PageBitsAndSmallCommands) {
    for (const uint8_t before : {uint8_t{0x00}, uint8_t{0xFF}}) {
        ScriptedDrive bench;
        SetPages(bench.port, {Page(5, 50, before)});
        EXPECT_EQ(bench.drive.SetTaoParameters(), 0);
        Bytes page = Page(5, 50, before);
        page[2] = before == 0 ? 0x41 : 0xF1;
        page[3] = before == 0 ? 0xC4 : 0xF4;
        page[4] = before == 0 ? 0x08 : 0xF8;
        page[8] = 0;
        std::fill(page.begin() + 16, page.begin() + 32, 0);
        EXPECT_EQ(Selected(bench.port), Bytes(8) + page);
    }
    ScriptedDrive bench;
    bench.drive.SetBlockSize2048();
    bench.drive.SendOpc();
    EXPECT_EQ(bench.drive.SyncCache(), 0);
    EXPECT_EQ(bench.drive.CloseSession(), 0);
    EXPECT_EQ(bench.Trace(),
              (Lines{"55 00 00 00 00 00 00 00 0C", "54 01 @60", "35 @120", "5B 00 02 @480"}));
    EXPECT_EQ(bench.port.Sent()[0].dataOut, Answer(12, {{3, 8}, {10, 8}}));
    for (const ScriptedAnswer& answer :
         {SenseAnswer(0x57200), SenseAnswer(0x10000), FailedAnswer()}) {
        bench.port.Queue(mmc::kCloseTrackSession, answer);
        EXPECT_EQ(bench.drive.CloseSession(), -1);
    }
}

struct SessionAtOnceTest : testing::Test {
    SessionAtOnceTest() { SetPages(bench.port, {Page(5, 50)}); }

    int Prepare(const CancelFunctor* cancel = nullptr, uint32_t blockSize = 2048) {
        bench.port.Clear();
        return bench.drive.PrepareSaoWrite(burnFree, speedControl, cue, cancel, blockSize);
    }

    ScriptedDrive bench;
    bool burnFree = true;
    bool speedControl = true;
    const Bytes cue = BuildImageCueSheet(int64_t{2048} * 1000);
};

TEST_F(SessionAtOnceTest, CommandsGoOutInOrderAndOptionsAsFarAsTheDriveHasThem) {
    const uint8_t can = 0x80, cannot = 0x7F; // byte 4 of page 2Ah
    struct {
        std::vector<Bytes> pages;
        bool options;
        uint32_t capabilities;
        int choices = -1; // of the vendor page that is selected; -1: none is
    } const cases[] = {
        {{}, true, 0},
        {{VendorPage(0x22)}, true, 0},
        {{CapabilitiesPage(can)}, true, CAP_BUFE},
        {{CapabilitiesPage(can)}, false, CAP_BUFE},
        {{CapabilitiesPage(can), VendorPage(0x22, 0, 6)}, true, CAP_BUFE},
        {{CapabilitiesPage(cannot), VendorPage(0xDD)}, true, 0},
        {{CapabilitiesPage(cannot), VendorPage(0x20, 0xFF)}, true, CAP_VENDOR_SPEED, 0xDF},
        {{CapabilitiesPage(cannot), VendorPage(0x20, 0x00)}, false, CAP_VENDOR_SPEED, 0x20},
        {{CapabilitiesPage(cannot), VendorPage(0x02, 0x20)}, true, CAP_VENDOR_BUFE, 0x21},
        {{CapabilitiesPage(cannot), VendorPage(0x02, 0x41)}, false, CAP_VENDOR_BUFE, 0x40},
        {{CapabilitiesPage(can), VendorPage(0x22, 0x20)},
         true,
         CAP_BUFE | CAP_VENDOR_BUFE | CAP_VENDOR_SPEED,
         0x01},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        const uint8_t before = c.options ? 0xBF : 0xFF; // BUFE is to be changed
        burnFree = speedControl = c.options;
        bench.port.ForgetAnswers();
        SetPages(bench.port, c.pages + std::vector<Bytes>{Page(5, 50, before)});
        bench.drive.m_dwCapabilities = 0xFF;
        EXPECT_EQ(Prepare(), 0);
        EXPECT_EQ(bench.drive.m_dwCapabilities, c.capabilities);

        Bytes opcodes(c.pages.empty() || c.pages[0][0] != 0x2A ? 2 : 3, mmc::kModeSense10);
        if (c.choices >= 0) {
            opcodes.insert(opcodes.end(), {mmc::kModeSense10, mmc::kModeSelect10});
            const Bytes list = bench.port.Sent(mmc::kModeSelect10)[0].dataOut;
            EXPECT_EQ(Bytes(list.begin() + 8, list.end()),
                      VendorPage(c.pages[1][2], static_cast<uint8_t>(c.choices)));
        }
        opcodes.insert(opcodes.end(), {0x55, 0x54, 0x52, 0x5D});
        opcodes.insert(opcodes.end(), 10, mmc::kWrite10); // 9 times 16 blocks and 6
        EXPECT_EQ(bench.port.SentOpcodes(), opcodes);
        const bool change = (c.capabilities & CAP_BUFE) != 0;
        Bytes page = Page(5, 50, before);
        page[2] = c.options == change ? 0xE2 : 0xA2;
        page[3] = 0x30;
        page[4] = before & 0xF0;
        page[8] = 0;
        EXPECT_EQ(Selected(bench.port), Bytes({0, 0, 0x41, 0x42, 0, 0, 0, 0}) + page);
    }
    EXPECT_THAT(bench.port.Locked(), testing::AllOf(testing::Each(2), testing::SizeIs(11)));
    EXPECT_EQ(Trace(bench.port.Sent(mmc::kSendOpcInformation)), Lines{"54 01 @60"});
    const std::vector<SentCommand> sheets = bench.port.Sent(mmc::kSendCueSheet);
    EXPECT_EQ(Trace(sheets), Lines{"5D 00 00 00 00 00 00 00 20"});
    EXPECT_EQ(sheets[0].dataOut, cue);
    SetPages(bench.port, {VendorPage(0x22)});
    bench.port.Queue(mmc::kModeSelect10, SenseAnswer(0x52600));
    EXPECT_EQ(bench.drive.SetVendorWriteOptions(true, true), 1);
    bench.port.Always(ModePage(0x30), SenseAnswer(0x52400));
    EXPECT_EQ(bench.drive.SetVendorWriteOptions(true, true), 1);
}

TEST_F(SessionAtOnceTest, PreGapLiesBeforeTheFirstBlock) {
    struct {
        int32_t nextAddress;
        uint32_t blockSize, chunk;
        std::string first;
    } const cases[] = {{0, 2048, 16, "2A 00 FF FF FF 6A 00 00 10 @180"},
                       {0, 2352, 8, "2A 00 FF FF FF 6A 00 00 08 @180"},
                       {20'150, 2048, 16, "2A 00 00 00 4E 20 00 00 10 @180"}};
    for (const auto& c : cases) {
        bench.drive.m_nNextAddress = c.nextAddress;
        EXPECT_EQ(Prepare(nullptr, c.blockSize), 0);
        const std::vector<SentCommand> writes = bench.port.Sent(mmc::kWrite10);
        EXPECT_EQ(Trace(writes).at(0), c.first);
        uint32_t blocks = 0;
        for (const SentCommand& write : writes) {
            EXPECT_EQ(write.dataOut, Bytes(write.cdb[8] * c.blockSize));
            blocks += write.cdb[8];
        }
        EXPECT_EQ(blocks, 150u);
        EXPECT_EQ(writes.size(), (150 + c.chunk - 1) / c.chunk);
    }
}

TEST_F(SessionAtOnceTest, FailuresEndThePreparationAndCancelsAreNone) {
    for (const uint16_t last : {ModePage(5), uint16_t{mmc::kModeSelect10},
                                uint16_t{mmc::kSendCueSheet}, uint16_t{mmc::kWrite10}}) {
        for (const ScriptedAnswer& answer : {SenseAnswer(0x52600), FailedAnswer()}) {
            bench.port.Queue(last, answer);
            EXPECT_EQ(Prepare(), 1);
            EXPECT_EQ(bench.port.QueuedLeft(), 0u);
            EXPECT_EQ(bench.port.SentOpcodes().back(), last > 0xFF ? last >> 8 : last);
        }
    }
    struct {
        uint8_t lastOpcode;
        size_t count; // commands of that operation code when the user cancels
    } const cancels[] = {{mmc::kModeSelect10, 1},         // before the calibration
                         {mmc::kReadTrackInformation, 1}, // before the cue sheet
                         {mmc::kSendCueSheet, 1},         // before the pre-gap
                         {mmc::kWrite10, 5}};
    for (const auto& c : cancels) {
        const CancelFunctor cancel([&] { return bench.port.Sent(c.lastOpcode).size() == c.count; });
        EXPECT_EQ(Prepare(&cancel), 0);
        EXPECT_EQ(bench.port.SentOpcodes().back(), c.lastOpcode);
        EXPECT_EQ(bench.port.Sent(c.lastOpcode).size(), c.count);
    }
}

struct WriteBlocksTest : testing::Test {
    WriteBlocksTest() {
        for (size_t index = 0; index < data.size(); ++index)
            data[index] = static_cast<uint8_t>(index / 2048);
    }
    int Write(int32_t count, const CancelFunctor* cancel = nullptr) {
        return bench.drive.WriteBlocks(&address, data.data(), count, cancel, 2048);
    }

    ScriptedDrive bench;
    Bytes data = Bytes(48 * 2048);
    int32_t address = 0x12345;
};

TEST_F(WriteBlocksTest, SplitsIntoChunksAndMovesTheAddress) {
    EXPECT_EQ(Write(0), 0);
    EXPECT_EQ(Write(-1), 0);
    EXPECT_EQ(Write(37), 0);
    EXPECT_EQ(address, 0x12345 + 37);
    EXPECT_EQ(bench.Trace(),
              (Lines{"2A 00 00 01 23 45 00 00 10 @180", "2A 00 00 01 23 55 00 00 10 @180",
                     "2A 00 00 01 23 65 00 00 05 @180"}));
    Bytes written;
    for (const SentCommand& command : bench.port.Sent())
        written.insert(written.end(), command.dataOut.begin(), command.dataOut.end());
    EXPECT_EQ(written, Bytes(data.begin(), data.begin() + 37 * 2048));
}

TEST_F(WriteBlocksTest, FullBufferAndMediumChangeAreTriedAgainAtTheSamePlace) {
    for (const int code : {0x20408, 0x62800, 0x20407, 0x11800})
        bench.port.Queue(mmc::kWrite10, SenseAnswer(code));
    EXPECT_EQ(Write(1), 0);
    EXPECT_EQ(address, 0x12346);
    EXPECT_EQ(bench.Trace(), Lines(4, "2A 00 00 01 23 45 00 00 01 @180")); // and a recovered error
    for (const SentCommand& sent : bench.port.Sent())
        EXPECT_EQ(sent.dataOut, Bytes(data.begin(), data.begin() + 2048));
    EXPECT_THAT(bench.clock.Sleeps(), ElementsAre(40, 10, 40));
}

TEST_F(WriteBlocksTest, AnythingElseFailsAtItsAddress) {
    for (const ScriptedAnswer& answer :
         {SenseAnswer(0x30C00), SenseAnswer(0x23A00), SenseAnswer(0x62900), SenseAnswer(0x52100),
          FailedAnswer(), FailedAnswer(PortError::Failed)}) {
        bench.port.Clear();
        address = 0;
        bench.port.Queue(mmc::kWrite10, GoodAnswer());
        bench.port.Queue(mmc::kWrite10, answer);
        EXPECT_EQ(Write(48), 1);
        EXPECT_EQ(address, 16);
        EXPECT_EQ(bench.port.Sent().size(), 2u);
    }
}

TEST_F(WriteBlocksTest, NoDriveHoldsTheJobForEver) {
    bench.port.Always(mmc::kWrite10, SenseAnswer(0x62800));
    EXPECT_EQ(Write(1), 1);
    EXPECT_EQ(bench.port.Sent().size(), 101u);

    // A buffer that stays full: only the user can end this.
    bench.port.Always(mmc::kWrite10, SenseAnswer(0x20408));
    const int64_t before = bench.clock.TotalSleep();
    const CancelFunctor cancel([&] { return bench.clock.TotalSleep() - before >= 2000; });
    EXPECT_EQ(Write(1, &cancel), 0);
    EXPECT_EQ(address, 0x12345);
    EXPECT_EQ(bench.clock.TotalSleep() - before, 2000);

    bench.port.Always(mmc::kWrite10, GoodAnswer());
    bench.port.Clear();
    const CancelFunctor between([&] { return bench.port.Sent().size() == 2; });
    EXPECT_EQ(Write(48, &between), 0);
    EXPECT_EQ(address, 0x12345 + 32);
}

TEST(UnitBusyTest, FollowsFromReadinessAndTheSenseOfTheDiscInformation) {
    ScriptedAnswer shortSense = SenseAnswer(0x20408);
    shortSense.completion.sense[7] = 5;
    const ScriptedAnswer good = GoodAnswer();
    struct {
        const char* name;
        ScriptedAnswer ready, info;
        int readiness, busy;
    } const cases[] = {
        {"idle", good, good, 0, 0},
        {"not ready", SenseAnswer(0x20408), good, 2, 2},
        {"attention", SenseAnswer(0x62800), good, 0, 0},
        {"broken", SenseAnswer(0x44400), good, 1, 1},
        {"silent", FailedAnswer(), good, 1, 1},
        {"long write", good, SenseAnswer(0x20408), 0, 2},
        {"operation in progress", good, SenseAnswer(0x20407), 0, 2},
        {"becoming ready", good, SenseAnswer(0x20401), 0, 0},
        {"sense too short", good, shortSense, 0, 0},
        {"other code", good, SenseAnswer(0x23A08), 0, 0},
        {"other key", good, SenseAnswer(0x50408), 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedDrive bench;
        bench.port.Always(mmc::kTestUnitReady, c.ready);
        bench.port.Always(mmc::kReadDiscInformation, c.info);
        EXPECT_EQ(bench.drive.TestUnitReady(), c.readiness);
        EXPECT_EQ(bench.drive.GetUnitBusy(), c.busy);
        EXPECT_EQ(bench.Trace().back(), c.readiness == 0 ? "51 00 00 00 00 00 00 00 04" : "00");
    }
}

TEST(LeadOutTest, IsWaitedForUntilTheDriveTheUserOrTheLimitEndsIt) {
    ScriptedDrive bench;
    bench.port.Queue(mmc::kTestUnitReady, SenseAnswer(0x20408));
    bench.port.Queue(mmc::kReadDiscInformation, SenseAnswer(0x20407));
    EXPECT_EQ(bench.drive.FinishSaoWrite(), 0);
    EXPECT_EQ(bench.port.SentOpcodes(), (Bytes{0x35, 0, 0, 0x51, 0, 0x51, 0x35}));
    EXPECT_THAT(bench.clock.Sleeps(), ElementsAre(2000, 2000));

    bench.port.Always(mmc::kTestUnitReady, SenseAnswer(0x20408));
    const CancelFunctor cancel([&] { return bench.clock.TotalSleep() >= 4000 + 3000; });
    EXPECT_EQ(bench.drive.FinishSaoWrite(&cancel), 0);
    EXPECT_EQ(bench.clock.TotalSleep(), 7000);
    EXPECT_EQ(bench.drive.FinishSaoWrite(), 1);
    EXPECT_EQ(bench.clock.TotalSleep(), 7000 + 30 * 60 * 1000);

    bench.port.Always(mmc::kTestUnitReady, SenseAnswer(0x30C00));
    EXPECT_EQ(bench.drive.FinishSaoWrite(), 1);
}

// A drive tells of blocks that it had taken and could not record when it is told to empty its
// cache, once; it is not busy afterwards.
TEST(LeadOutTest, BlocksLostInTheCacheAreAFailure) {
    struct {
        ScriptedAnswer answer;
        bool isLost;
    } const cases[] = {
        {GoodAnswer(), false},         {SenseAnswer(0x11700), false}, // recovered
        {SenseAnswer(0x20408), false},                                // still writing
        {SenseAnswer(0x30C00), true},  {SenseAnswer(0x44400), true},
        {SenseAnswer(0x52C00), false}, // nothing to flush
        {FailedAnswer(), true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(int{c.answer.completion.sense[2]});
        for (const size_t flush : {0u, 3u}) {
            ScriptedDrive bench;
            bench.port.AnswerNth(flush, c.answer);
            EXPECT_EQ(bench.drive.FinishSaoWrite(), c.isLost ? 1 : 0);
            EXPECT_EQ(bench.port.SentOpcodes(), (Bytes{0x35, 0, 0x51, 0x35}));
        }
        ScriptedDrive bench;
        bench.port.Queue(mmc::kSynchronizeCache, c.answer);
        EXPECT_EQ(bench.drive.SyncCache(), 0);
        EXPECT_EQ(bench.drive.m_bCacheLost, c.isLost);
        bench.drive.SyncCache();
        EXPECT_FALSE(bench.drive.m_bCacheLost) << "a flush forgets the one before";
    }
}

} // namespace
} // namespace larkspin
