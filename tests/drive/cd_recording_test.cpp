// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Recording a CD: cue sheets, mode pages, the order of commands, retries and cancels.
#include "drive/cue_sheet.h"
#include "drive/dvd_bench.h"

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
        bench.port.Queue(ModePage(5), ModeAnswer(page, descriptors), 2);
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
    const std::vector<Reply> useless = {Sense(0x52400),   NoReply(),
                                        ModeAnswer({}),   farAway,
                                        Bytes(200, 0xFF), ModeAnswer(Page(0x2A, 50))};
    for (const Reply& reply : useless) {
        ScriptedDrive bench;
        bench.port.Queue(ModePage(5), reply);
        Bytes buffer(56, 0xFF);
        EXPECT_EQ(bench.drive.ModeSense(5, buffer), 1);
        EXPECT_THAT(buffer, Each(0));
    }
}

// Answers MODE SENSE with these pages and no others.
void SetPages(ScriptedPort& port, const std::vector<Bytes>& pages) {
    port.Always(kModeSense10, Sense(0x52400));
    for (const Bytes& page : pages) {
        port.Always(ModePage(page[0]), ModeAnswer(page));
    }
}

Bytes CapabilitiesPage(uint8_t byte4) {
    return Answer(32, {{0, 0x2A}, {1, 30}, {4, byte4}});
}

Bytes VendorPage(uint8_t abilities, uint8_t choices = 0, uint8_t length = 14) {
    return Answer(length + size_t{2}, {{0, 0x30}, {1, length}, {2, abilities}, {3, choices}});
}

// The page that was selected last, and before it the header.
Bytes Selected(const ScriptedPort& port) {
    return port.Sent(kModeSelect10).back().dataOut;
}

TEST(TrackAtOnceTest, PageBitsAndRefusals) {
    for (const uint8_t before : {uint8_t{0x00}, uint8_t{0xFF}}) {
        ScriptedDrive bench;
        Bytes savable = Page(5, 50, before);
        savable[0] |= 0x80;
        bench.port.Always(ModePage(5), ModeAnswer(savable));
        EXPECT_EQ(bench.drive.SetTaoParameters(), 0);
        Bytes page = Page(5, 50, before);
        const Bytes changed = before == 0 ? Bytes{0x41, 0xC4, 0x08} : Bytes{0xF1, 0xF4, 0xF8};
        std::ranges::copy(changed, page.begin() + 2);
        page[8] = 0;
        std::fill_n(page.begin() + 16, 16, uint8_t{0});
        EXPECT_EQ(Selected(bench.port), Bytes(8) + page);
    }
    const std::tuple<uint16_t, int, int, int, uint8_t> cases[] = {
        {kModeSelect10, 0x62900, 1, 0, 0x41},
        {ModePage(5), 0x62900, 1, 0, 0x41},
        {kModeSelect10, 0x52600, 2, 0, 0x01}, // the drive knows no underruns
        {kModeSelect10, 0x52600, 9, 1, 0x01},
    };
    for (const auto& [question, code, times, result, writeType] : cases) {
        ScriptedDrive bench;
        SetPages(bench.port, {Page(5, 50)});
        bench.port.Queue(question, Sense(code), times);
        EXPECT_EQ(bench.drive.SetTaoParameters(), result);
        EXPECT_EQ(Selected(bench.port)[8 + 2], writeType);
    }
}

TEST(SmallCommandsTest, AreSentAsTheyAreInTheLengthOfTheirGroupAndToTheirLun) {
    ScriptedBench bench({0, 0, 2});
    CAspiCD drive(0, 0, 2, &bench.transport);
    EXPECT_EQ(drive.EjectDisk(), SS_COMP);
    drive.LockDoor(true);
    drive.LockDoor(false);
    drive.SetBlockSize2048();
    drive.SendOpc();
    EXPECT_EQ(drive.SyncCache(), 0);
    EXPECT_EQ(drive.CloseSession(), 0);
    bench.port.Queue(kBlank, Sense(0x53000)); // a refusal is not looked at
    drive.BlankDisk(false);
    drive.BlankDisk(true);
    EXPECT_EQ(bench.transport.m_nTimeoutSeconds, 0u);
    EXPECT_EQ(bench.port.Sent()[3].dataOut, Answer(12, {{3, 8}, {10, 8}}));
    EXPECT_EQ(bench.port.Sent().back().length, 0u);
    CScsiCommand command(drive);
    for (const uint8_t opcode : {kStartStopUnit, kReadToc, kSetCdSpeed}) {
        command[0] = opcode;
        command[1] = 1;
        EXPECT_EQ(command.Transport(Direction::NONE), 0);
    }
    EXPECT_EQ(bench.Trace(),
              (Lines{"1B 40 00 00 02", "1E 40 00 00 01", "1E 40", "55 40 00 00 00 00 00 00 0C",
                     "54 41", "35 40", "5B 40 02", "A1 51", "A1 50", "1B 41", "43 41", "BB 41"}));
    std::vector<size_t> lengths;
    for (const SentCommand& sent : bench.port.Sent()) {
        lengths.push_back(sent.cdb.size());
    }
    EXPECT_THAT(lengths, ElementsAre(6, 6, 6, 10, 10, 10, 10, 12, 12, 6, 10, 12));

    bench.port.Queue(kStartStopUnit, NoReply(PortError::Failed));
    EXPECT_EQ(drive.EjectDisk(), SS_ERR);
    for (const auto& [reply, result] :
         {std::pair(Sense(0x57200), -1), {Sense(0x15D00), 0}, {NoReply(), -1}}) {
        bench.port.Queue(kCloseTrackSession, reply);
        EXPECT_EQ(drive.CloseSession(), result);
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
    const uint32_t all = CAP_BUFE | CAP_VENDOR_BUFE | CAP_VENDOR_SPEED;
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
        {{CapabilitiesPage(can), VendorPage(0x22, 0x20)}, true, all, 0x01},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        const uint8_t before = c.options ? 0xBF : 0xFF; // BUFE is to be changed
        burnFree = speedControl = c.options;
        bench.port.ForgetAnswers();
        SetPages(bench.port, c.pages + std::vector<Bytes>{Page(5, 50, before)});
        CAspiCDPeek::Capabilities(bench.drive) = 0xFF;
        EXPECT_EQ(Prepare(), 0);
        EXPECT_EQ(CAspiCDPeek::Capabilities(bench.drive), c.capabilities);

        Bytes opcodes(c.pages.empty() || c.pages[0][0] != 0x2A ? 2 : 3, kModeSense10);
        if (c.choices >= 0) {
            opcodes.insert(opcodes.end(), {kModeSense10, kModeSelect10});
            const Bytes list = bench.port.Sent(kModeSelect10)[0].dataOut;
            EXPECT_EQ(Bytes(list.begin() + 8, list.end()),
                      VendorPage(c.pages[1][2], static_cast<uint8_t>(c.choices)));
        }
        opcodes.insert(opcodes.end(), {0x55, 0x54, 0x52, 0x5D});
        opcodes.insert(opcodes.end(), 10, kWrite10); // 9 times 16 blocks and 6
        EXPECT_EQ(bench.port.SentOpcodes(), opcodes);
        const bool change = (c.capabilities & CAP_BUFE) != 0;
        Bytes page = Page(5, 50, before);
        page[2] = c.options == change ? 0xE2 : 0xA2;
        page[3] = 0x30;
        page[4] = before & 0xF0;
        page[8] = 0;
        EXPECT_EQ(Selected(bench.port), Bytes({0, 0, 0x41, 0x42, 0, 0, 0, 0}) + page);
    }
    EXPECT_TRUE(bench.port.DriveAt(2).locked);
    EXPECT_EQ(Trace(bench.port.Sent(kSendOpcInformation)), Lines{"54 01"});
    const std::vector<SentCommand> sheets = bench.port.Sent(kSendCueSheet);
    EXPECT_EQ(Trace(sheets), Lines{"5D 00 00 00 00 00 00 00 20"});
    EXPECT_EQ(sheets[0].dataOut, cue);
    SetPages(bench.port, {VendorPage(0x22)});
    bench.port.Queue(kModeSelect10, Sense(0x52600));
    EXPECT_EQ(bench.drive.SetVendorWriteOptions(true, true), 1);
    bench.port.Always(ModePage(0x30), Sense(0x52400));
    EXPECT_EQ(bench.drive.SetVendorWriteOptions(true, true), 1);
    bench.port.DriveAt(2).lock = {LockResult::State::Refused, u"held"};
    bench.port.Clear();
    EXPECT_EQ(bench.drive.PrepareSaoWrite(true, true, {}, nullptr, 2048), 1);
    EXPECT_TRUE(bench.port.Sent().empty());
}

TEST_F(SessionAtOnceTest, PreGapLiesBeforeTheFirstBlock) {
    const std::tuple<int32_t, uint32_t, size_t, std::string> cases[] = {
        {0, 2048, 10, "2A 00 FF FF FF 6A 00 00 10"}, // WRITEs, and the first of them
        {0, 2352, 19, "2A 00 FF FF FF 6A 00 00 08"},
        {20'150, 2048, 10, "2A 00 00 00 4E 20 00 00 10"}};
    for (const auto& [nextAddress, blockSize, count, first] : cases) {
        bench.drive.Disk().m_nNextAddress = nextAddress;
        EXPECT_EQ(Prepare(nullptr, blockSize), 0);
        const std::vector<SentCommand> writes = bench.port.Sent(kWrite10);
        EXPECT_EQ(Trace(writes).at(0), first);
        EXPECT_EQ(writes.size(), count);
        uint32_t blocks = 0;
        for (const SentCommand& write : writes) {
            EXPECT_EQ(write.dataOut, Bytes(size_t{write.cdb[8]} * blockSize));
            blocks += write.cdb[8];
        }
        EXPECT_EQ(blocks, 150u);
    }
}

TEST_F(SessionAtOnceTest, FailuresEndThePreparationAndCancelsAreNone) {
    const uint16_t failing[] = {ModePage(5), kModeSelect10, kSendCueSheet, kWrite10};
    for (const uint16_t last : failing) {
        for (const Reply& reply : {Sense(0x52600), NoReply()}) {
            bench.port.Queue(last, reply);
            EXPECT_EQ(Prepare(), 1);
            EXPECT_EQ(bench.port.QueuedLeft(), 0u);
            EXPECT_EQ(bench.port.SentOpcodes().back(), last > 0xFF ? last >> 8 : last);
        }
    }
    // The user cancels after so many commands of an operation code: before the calibration, the
    // cue sheet and the pre-gap, and in the middle of that.
    const std::pair<uint8_t, size_t> cancels[] = {
        {kModeSelect10, 1}, {kReadTrackInformation, 1}, {kSendCueSheet, 1}, {kWrite10, 5}};
    for (const std::pair<uint8_t, size_t>& last : cancels) {
        const CancelFunctor cancel(
            [&] { return bench.port.Sent(last.first).size() == last.second; });
        EXPECT_EQ(Prepare(&cancel), 0);
        EXPECT_EQ(bench.port.SentOpcodes().back(), last.first);
        EXPECT_EQ(bench.port.Sent(last.first).size(), last.second);
    }
}

struct WriteBlocksTest : testing::Test {
    int Write(int32_t count, const CancelFunctor* cancel = nullptr) {
        bench.port.Clear();
        address = 0x12345;
        return bench.drive.WriteBlocks(&address, data.data(), count, cancel, 2048);
    }

    ScriptedDrive bench;
    const Bytes data = VolumeStream(48);
    int32_t address = 0;
};

TEST_F(WriteBlocksTest, SplitsIntoChunksAndMovesTheAddress) {
    for (const int32_t count : {0, -1}) {
        EXPECT_EQ(Write(count), 0);
        EXPECT_TRUE(bench.port.Sent().empty());
    }
    EXPECT_EQ(Write(37), 0);
    EXPECT_EQ(address, 0x12345 + 37);
    EXPECT_EQ(bench.Trace(), (Lines{"2A 00 00 01 23 45 00 00 10", "2A 00 00 01 23 55 00 00 10",
                                    "2A 00 00 01 23 65 00 00 05"}));
    Bytes written;
    for (const SentCommand& command : bench.port.Sent()) {
        written = written + command.dataOut;
    }
    EXPECT_EQ(written, BlocksOf(data, 0, 37));
}

TEST_F(WriteBlocksTest, FullBufferAndMediumChangeAreTriedAgainAndAnythingElseFails) {
    for (const int code : {0x20408, 0x62800, 0x20407, 0x11800}) {
        bench.port.Queue(kWrite10, Sense(code));
    }
    EXPECT_EQ(Write(1), 0);
    EXPECT_EQ(address, 0x12346);
    EXPECT_EQ(bench.Trace(), Lines(4, "2A 00 00 01 23 45 00 00 01")); // and a recovered error
    for (const SentCommand& sent : bench.port.Sent()) {
        EXPECT_EQ(sent.dataOut, BlocksOf(data, 0, 1));
    }
    EXPECT_THAT(bench.clock.Sleeps(), ElementsAre(40, 10, 40));
    for (const Reply& reply : {Sense(0x30C00), Sense(0x23A00), Sense(0x62900), Sense(0x52100),
                               NoReply(), NoReply(PortError::Failed)}) {
        bench.port.Queue(kWrite10, {});
        bench.port.Queue(kWrite10, reply);
        EXPECT_EQ(Write(48), 1);
        EXPECT_EQ(address, 0x12345 + 16);
        EXPECT_EQ(bench.port.Sent().size(), 2u);
    }
}

TEST_F(WriteBlocksTest, NoDriveHoldsTheJobForEver) {
    bench.port.Always(kWrite10, Sense(0x62800));
    EXPECT_EQ(Write(1), 1);
    EXPECT_EQ(bench.port.Sent().size(), 101u);

    // A buffer that stays full: only the user can end this.
    bench.port.Always(kWrite10, Sense(0x20408));
    const int64_t before = bench.clock.TotalSleep();
    const CancelFunctor cancel([&] { return bench.clock.TotalSleep() - before >= 2000; });
    EXPECT_EQ(Write(1, &cancel), 0);
    EXPECT_EQ(address, 0x12345);
    EXPECT_LE(bench.clock.TotalSleep() - before, 2200);

    bench.port.Always(kWrite10, {});
    const CancelFunctor between([&] { return bench.port.Sent().size() == 2; });
    EXPECT_EQ(Write(48, &between), 0);
    EXPECT_EQ(address, 0x12345 + 32);
}

TEST(UnitBusyTest, FollowsFromReadinessAndTheSenseOfTheDiscInformation) {
    Reply shortSense = Sense(0x20408);
    shortSense.completion.sense[7] = 5;
    const std::tuple<const char*, Reply, Reply, int, int> cases[] = {
        {"idle", {}, {}, 0, 0},
        {"not ready", Sense(0x20408), {}, 2, 2},
        {"attention", Sense(0x62800), {}, 0, 0},
        {"recovered", Sense(0x15D00), {}, 0, 0},
        {"broken", Sense(0x44400), {}, 1, 1},
        {"silent", NoReply(), {}, 1, 1},
        {"long write", {}, Sense(0x20408), 0, 2},
        {"operation in progress", {}, Sense(0x20407), 0, 2},
        {"becoming ready", {}, Sense(0x20401), 0, 0},
        {"sense too short", {}, shortSense, 0, 0},
        {"other code", {}, Sense(0x23A08), 0, 0},
        {"other key", {}, Sense(0x50408), 0, 0},
    };
    for (const auto& [name, ready, info, readiness, busy] : cases) {
        SCOPED_TRACE(name);
        ScriptedDrive bench;
        bench.port.Always(kTestUnitReady, ready);
        bench.port.Always(kReadDiscInformation, info);
        EXPECT_EQ(bench.drive.TestUnitReady(), readiness);
        EXPECT_EQ(bench.drive.GetUnitBusy(), busy);
        EXPECT_EQ(bench.Trace().back(), readiness == 0 ? "51 00 00 00 00 00 00 00 04" : "00");
    }
}

TEST(LeadOutTest, IsWaitedForUntilTheDriveTheUserOrTheLimitEndsIt) {
    ScriptedDrive bench;
    bench.port.Queue(kTestUnitReady, Sense(0x20408));
    bench.port.Queue(kReadDiscInformation, Sense(0x20407));
    EXPECT_EQ(bench.drive.FinishSaoWrite(), 0);
    EXPECT_EQ(bench.port.SentOpcodes(), (Bytes{0x35, 0, 0, 0x51, 0, 0x51, 0x35}));
    EXPECT_THAT(bench.clock.Sleeps(), ElementsAre(2000, 2000));

    bench.port.Always(kTestUnitReady, Sense(0x20408));
    const CancelFunctor cancel([&] { return bench.clock.TotalSleep() >= 4000 + 3000; });
    EXPECT_EQ(bench.drive.FinishSaoWrite(&cancel), 0);
    EXPECT_EQ(bench.clock.TotalSleep(), 7000);
    EXPECT_EQ(bench.drive.FinishSaoWrite(), 1);
    EXPECT_EQ(bench.clock.TotalSleep(), 7000 + 30 * 60 * 1000);

    bench.port.Always(kTestUnitReady, Sense(0x30C00));
    EXPECT_EQ(bench.drive.FinishSaoWrite(), 1);
}

// A drive tells of blocks that it had taken and could not record when it is told to empty its
// cache, once; it is not busy afterwards.
TEST(LeadOutTest, BlocksLostInTheCacheAreAFailure) {
    const std::pair<Reply, bool> cases[] = {
        {Reply(), false},        {Sense(0x11700), false}, // recovered
        {Sense(0x62900), true},  {Sense(0x23A00), true},  // the cache has gone
        {Sense(0x30C00), true},  {Sense(0x44400), true},
        {Sense(0x52C00), false}, // nothing to flush
        {NoReply(), true},       {Sense(0x53005), true},
    };
    for (const auto& [reply, isLost] : cases) {
        SCOPED_TRACE(int{reply.completion.sense[2]});
        for (const size_t flush : {0u, 3u}) {
            ScriptedDrive bench;
            bench.port.AnswerNth(flush, reply);
            EXPECT_EQ(bench.drive.FinishSaoWrite(), isLost ? 1 : 0);
            EXPECT_EQ(bench.port.SentOpcodes(), (Bytes{0x35, 0, 0x51, 0x35}));
        }
        ScriptedDrive bench;
        bench.port.Queue(kSynchronizeCache, reply);
        EXPECT_EQ(bench.drive.SyncCache(), 0);
        EXPECT_EQ(bench.drive.IsCacheLost(), isLost);
        bench.drive.SyncCache();
        EXPECT_EQ(bench.drive.IsCacheLost(), isLost) << "a good flush brings nothing back";
    }
    // One that is still writing is asked again, and not for ever.
    for (const int busy : {1, 1000, 2000}) {
        ScriptedDrive bench;
        bench.port.Queue(kSynchronizeCache, Sense(0x20408), busy);
        bench.drive.SyncCache();
        EXPECT_EQ(bench.drive.IsCacheLost(), busy == 2000);
        EXPECT_EQ(bench.clock.TotalSleep(), std::min(busy, 1800) * 1000);
    }
}

} // namespace
} // namespace larkspin
