// Recording a CD: cue sheets, mode pages, the order of commands, retries and cancels.
#include "drive/cue_sheet.h"
#include "drive/mmc.h"
#include "support/scripted_port.h"

#include <gmock/gmock.h>
#include <numeric>

namespace larkspin {
namespace {

using testing::Each;
using testing::ElementsAre;

TEST(CueSheetTest, ImageOnCd) {
    EXPECT_EQ(BuildImageCueSheet(int64_t{2048} * 10'000),
              (Bytes{
                  // clang-format off
        0x41, 0x00, 0x00, 0x14, 0, 0, 0, 0,
        0x61, 0x01, 0x00, 0x10, 0, 0, 0, 0,
        0x61, 0x01, 0x01, 0x10, 0, 0, 2, 0,
        0x41, 0xAA, 0x01, 0x14, 0, 2, 15, 25,
                  // clang-format on
              }));
}

TEST(CueSheetTest, AudioTracksFollowOneAnotherWithoutGaps) {
    const uint32_t tracks[] = {2352 * 4500, 2352 * 75 + 2351, 2352};
    EXPECT_EQ(BuildAudioCueSheet(tracks),
              (Bytes{
                  // clang-format off
        0x01, 0x00, 0x00, 0x01, 0, 0, 0, 0,
        0x21, 0x01, 0x00, 0x00, 0, 0, 0, 0,
        0x21, 0x01, 0x01, 0x00, 0, 0, 2, 0,
        0x21, 0x02, 0x01, 0x00, 0, 1, 2, 0,
        0x21, 0x03, 0x01, 0x00, 0, 1, 3, 0,
        0x01, 0xAA, 0x01, 0x01, 0, 1, 3, 1,
                  // clang-format on
              }));
}

TEST(CueSheetTest, AddressesCountFramesFromZero) {
    const MsfAddress address(79 * 4500 + 59 * 75 + 74);
    EXPECT_EQ(address.minutes, 79);
    EXPECT_EQ(address.seconds, 59);
    EXPECT_EQ(address.frames, 74);
    EXPECT_EQ(MsfAddress(-1).total, 0);
    EXPECT_EQ(MsfAddress(-4500).minutes, 0);
}

// An answer to MODE SENSE(10) with `page` behind a header and `descriptors` bytes.
Bytes ModeAnswer(const Bytes& page, size_t descriptors = 0) {
    Bytes answer(8 + descriptors, 0xDD);
    const size_t length = answer.size() + page.size() - 2;
    const Bytes header = {
        static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length), 0x41, 0x42, 0x43, 0x44, 0,
        static_cast<uint8_t>(descriptors)};
    std::copy(header.begin(), header.end(), answer.begin());
    answer.insert(answer.end(), page.begin(), page.end());
    return answer;
}

// A page whose bytes behind code and length are all `fill`.
Bytes Page(uint8_t code, uint8_t length, uint8_t fill = 0) {
    Bytes page(length + size_t{2}, fill);
    page[0] = code;
    page[1] = length;
    return page;
}

TEST(ModeSenseTest, FindsThePageBehindTheBlockDescriptors) {
    Bytes page = Page(0x05, 50);
    std::iota(page.begin() + 2, page.end(), uint8_t{2});
    for (const size_t descriptors : {0u, 8u, 16u, 4u}) {
        SCOPED_TRACE(descriptors);
        ScriptedDrive bench;
        bench.port.Queue(mmc::kModeSense10, GoodAnswer(ModeAnswer(page, descriptors)));
        Bytes buffer(56, 0xFF);
        Bytes header(8);
        Bytes descriptor(8, 0xFF);
        EXPECT_EQ(bench.drive.ModeSense(0x45, buffer, header.data(), descriptor.data()), 0);
        Bytes expected = page;
        expected.resize(56);
        EXPECT_EQ(buffer, expected);
        EXPECT_EQ(header[3], 0x42);
        EXPECT_EQ(descriptor, Bytes(8, descriptors >= 8 ? 0xDD : 0));
        EXPECT_THAT(bench.port.Sent()[0].cdb, ElementsAre(0x5A, 0, 5, 0, 0, 0, 0, 0, 164, 0));
    }
    ScriptedDrive bench;
    bench.port.Queue(mmc::kModeSense10, GoodAnswer(ModeAnswer(page)));
    Bytes little(4);
    EXPECT_EQ(bench.drive.ModeSense(5, little), 0);
    EXPECT_EQ(little, (Bytes{5, 50, 2, 3}));
}

TEST(ModeSenseTest, WhatIsNoPageFails) {
    Bytes farAway = ModeAnswer(Page(5, 50));
    farAway[0] = 0xFF; // mode data length
    farAway[6] = 0x7F; // block descriptor length
    const ScriptedAnswer cases[] = {
        SenseAnswer(5, 0x24, 0),    FailedAnswer(PortError::TimedOut),
        GoodAnswer(ModeAnswer({})), GoodAnswer(ModeAnswer(Page(0x2A, 50))),
        GoodAnswer(farAway),        GoodAnswer(Bytes(200, 0xFF)),
    };
    for (const ScriptedAnswer& answer : cases) {
        ScriptedDrive bench;
        bench.port.Queue(mmc::kModeSense10, answer);
        Bytes buffer(56, 0xFF);
        EXPECT_EQ(bench.drive.ModeSense(5, buffer), 1);
        EXPECT_THAT(buffer, Each(0));
    }
}

TEST(ModeSelectTest, SendsOnlyTwoBytesOfTheHeaderBack) {
    ScriptedDrive bench;
    const Bytes header = {1, 2, 3, 4, 5, 6, 7, 8};
    Bytes page = Page(5, 3, 0x77);
    page.push_back(0x99); // behind the page
    EXPECT_EQ(bench.drive.ModeSelect(page, header.data()), 0);
    EXPECT_EQ(bench.drive.ModeSelect(page), 0);
    EXPECT_THAT(bench.port.Sent()[0].cdb, ElementsAre(0x55, 0x10, 0, 0, 0, 0, 0, 0, 13, 0));
    EXPECT_EQ(bench.port.Sent()[0].dataOut,
              (Bytes{0, 0, 3, 4, 0, 0, 0, 0, 5, 3, 0x77, 0x77, 0x77}));
    EXPECT_EQ(bench.port.Sent()[1].dataOut,
              (Bytes{0, 0, 0, 0, 0, 0, 0, 0, 5, 3, 0x77, 0x77, 0x77}));
    for (const ScriptedAnswer& answer :
         {SenseAnswer(5, 0x26, 0), FailedAnswer(PortError::TimedOut)}) {
        bench.port.Queue(mmc::kModeSelect10, answer);
        EXPECT_EQ(bench.drive.ModeSelect(page), 1);
    }
}

// Answers MODE SENSE by page: `pages` holds what each page's answer is.
void AnswerPages(ScriptedPort& port, std::map<uint8_t, Bytes> pages) {
    port.OnCommand(
        [pages = std::move(pages)](const SentCommand& sent) -> std::optional<ScriptedAnswer> {
            if (sent.cdb[0] != mmc::kModeSense10)
                return std::nullopt;
            const auto found = pages.find(sent.cdb[2]);
            return found != pages.end() ? GoodAnswer(ModeAnswer(found->second))
                                        : SenseAnswer(5, 0x24, 0);
        });
}

Bytes CapabilitiesPage(bool bufe) {
    Bytes page = Page(0x2A, 30);
    page[4] = bufe ? 0x80 : 0x7F;
    return page;
}

Bytes VendorPage(uint8_t abilities, uint8_t choices = 0, uint8_t length = 14) {
    Bytes page = Page(0x30, length);
    page[2] = abilities;
    page[3] = choices;
    return page;
}

TEST(CapabilitiesTest, ComeFromTwoPages) {
    struct Case {
        std::map<uint8_t, Bytes> pages;
        uint32_t capabilities;
    };
    const Case cases[] = {
        {{}, 0},
        {{{0x2A, CapabilitiesPage(true)}}, CAP_BUFE},
        {{{0x2A, CapabilitiesPage(false)}, {0x30, VendorPage(0xDD)}}, 0},
        {{{0x2A, CapabilitiesPage(true)}, {0x30, VendorPage(0x22)}},
         CAP_BUFE | CAP_VENDOR_BUFE | CAP_VENDOR_SPEED},
        {{{0x2A, CapabilitiesPage(false)}, {0x30, VendorPage(0x20)}}, CAP_VENDOR_SPEED},
        {{{0x2A, CapabilitiesPage(true)}, {0x30, VendorPage(0x22, 0, 6)}}, CAP_BUFE},
        {{{0x30, VendorPage(0x22)}}, 0},
    };
    for (const Case& c : cases) {
        ScriptedDrive bench;
        AnswerPages(bench.port, c.pages);
        bench.drive.m_dwCapabilities = 0xFF;
        bench.drive.ReadCapabilities();
        EXPECT_EQ(bench.drive.m_dwCapabilities, c.capabilities);
    }
}

TEST(VendorOptionsTest, SetOnlyWhatTheDriveCanDo) {
    struct Case {
        uint32_t capabilities;
        bool burnFree, speedControl;
        uint8_t before, after;
    };
    for (const Case& c : {Case{CAP_VENDOR_BUFE, true, true, 0x20, 0x21},
                          Case{CAP_VENDOR_BUFE, false, false, 0x41, 0x40},
                          Case{CAP_VENDOR_SPEED, true, true, 0xFF, 0xDF},
                          Case{CAP_VENDOR_SPEED, false, false, 0x00, 0x20},
                          Case{CAP_VENDOR_BUFE | CAP_VENDOR_SPEED, true, true, 0x20, 0x01}}) {
        ScriptedDrive bench;
        AnswerPages(bench.port, {{0x30, VendorPage(0x22, c.before)}});
        bench.drive.m_dwCapabilities = c.capabilities | CAP_BUFE;
        EXPECT_EQ(bench.drive.SetVendorWriteOptions(c.burnFree, c.speedControl), 0);
        EXPECT_EQ(bench.port.Sent(mmc::kModeSelect10).at(0).dataOut.at(8 + 3), c.after);
        EXPECT_EQ(bench.port.Sent(mmc::kModeSelect10).at(0).dataOut.size(), 8u + 16u);
    }
    ScriptedDrive bench;
    bench.drive.m_dwCapabilities = CAP_BUFE;
    EXPECT_EQ(bench.drive.SetVendorWriteOptions(true, true), 0);
    EXPECT_TRUE(bench.port.Sent().empty());
    bench.drive.m_dwCapabilities = CAP_VENDOR_BUFE;
    bench.port.Always(mmc::kModeSense10, SenseAnswer(5, 0x24, 0));
    EXPECT_EQ(bench.drive.SetVendorWriteOptions(true, true), 1);
}

TEST(TrackAtOnceTest, PageBits) {
    for (const uint8_t before : {uint8_t{0x00}, uint8_t{0xFF}}) {
        ScriptedDrive bench;
        AnswerPages(bench.port, {{5, Page(5, 50, before)}});
        EXPECT_EQ(bench.drive.SetTaoParameters(), 0);
        const SentCommand select = bench.port.Sent(mmc::kModeSelect10).at(0);
        ASSERT_EQ(select.dataOut.size(), 8u + 52u);
        Bytes expected = Page(5, 50, before);
        expected[2] = before == 0 ? 0x41 : 0xF1;
        expected[3] = before == 0 ? 0xC4 : 0xF4;
        expected[4] = before == 0 ? 0x08 : 0xF8;
        expected[8] = 0;
        std::fill(expected.begin() + 16, expected.begin() + 32, 0);
        EXPECT_EQ(Bytes(select.dataOut.begin() + 8, select.dataOut.end()), expected);
        EXPECT_EQ(Bytes(select.dataOut.begin(), select.dataOut.begin() + 8), Bytes(8, 0));
    }
}

TEST(TrackAtOnceTest, SmallCommands) {
    ScriptedDrive bench;
    bench.drive.SetBlockSize2048();
    bench.drive.SendOpc();
    EXPECT_EQ(bench.drive.SyncCache(), 0);
    EXPECT_EQ(bench.drive.CloseSession(), 0);
    const std::vector<SentCommand>& sent = bench.port.Sent();
    ASSERT_EQ(sent.size(), 4u);
    EXPECT_EQ(sent[0].cdb, (Bytes{0x55, 0, 0, 0, 0, 0, 0, 0, 12, 0}));
    EXPECT_EQ(sent[0].dataOut, (Bytes{0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 8, 0}));
    EXPECT_EQ(sent[1].cdb, (Bytes{0x54, 1, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(sent[1].timeoutSeconds, 60u);
    EXPECT_EQ(sent[2].cdb, (Bytes{0x35, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(sent[2].timeoutSeconds, 120u);
    EXPECT_EQ(sent[3].cdb, (Bytes{0x5B, 0, 2, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(sent[3].timeoutSeconds, 480u);

    bench.port.Always(mmc::kSynchronizeCache, FailedAnswer(PortError::TimedOut));
    EXPECT_EQ(bench.drive.SyncCache(), 0);
    for (const ScriptedAnswer& answer :
         {SenseAnswer(5, 0x72, 0), SenseAnswer(1, 0, 0), FailedAnswer(PortError::TimedOut)}) {
        bench.port.Queue(mmc::kCloseTrackSession, answer);
        EXPECT_EQ(bench.drive.CloseSession(), -1);
    }
}

class SessionAtOnceTest : public testing::Test {
  protected:
    void SetUp() override {
        AnswerPages(
            m_bench.port,
            {{5, Page(5, 50, 0xFF)}, {0x2A, CapabilitiesPage(true)}, {0x30, VendorPage(0x22)}});
    }

    int Prepare(bool burnFree = true, const CancelFunctor* cancel = nullptr,
                uint32_t blockSize = 2048) {
        return m_bench.drive.PrepareSaoWrite(burnFree, true, m_cue, cancel, blockSize);
    }

    ScriptedDrive m_bench;
    const Bytes m_cue = BuildImageCueSheet(int64_t{2048} * 1000);
};

TEST_F(SessionAtOnceTest, CommandsGoOutInOrder) {
    EXPECT_EQ(Prepare(), 0);
    Bytes expected = {mmc::kModeSense10,  // write parameters
                      mmc::kModeSense10,  // capabilities
                      mmc::kModeSense10,  // vendor page
                      mmc::kModeSense10,  // vendor page, to be changed
                      mmc::kModeSelect10, // vendor page
                      mmc::kModeSelect10, // write parameters
                      mmc::kSendOpcInformation, mmc::kReadTrackInformation, mmc::kSendCueSheet};
    expected.insert(expected.end(), 10, mmc::kWrite10); // 9 times 16 blocks and 6
    EXPECT_EQ(m_bench.port.SentOpcodes(), expected);
    EXPECT_THAT(m_bench.port.Locked(), ElementsAre(2));

    const SentCommand cue = m_bench.port.Sent(mmc::kSendCueSheet).at(0);
    EXPECT_THAT(cue.cdb, ElementsAre(0x5D, 0, 0, 0, 0, 0, 0, 0, 32, 0));
    EXPECT_EQ(cue.dataOut, m_cue);
    EXPECT_EQ(m_bench.port.Sent(mmc::kSendOpcInformation).at(0).timeoutSeconds, 60u);
}

TEST_F(SessionAtOnceTest, PageBits) {
    for (const bool burnFree : {true, false}) {
        m_bench.port.Clear();
        EXPECT_EQ(Prepare(burnFree), 0);
        const Bytes list = m_bench.port.Sent(mmc::kModeSelect10).at(1).dataOut;
        Bytes expected = Page(5, 50, 0xFF);
        expected[2] = burnFree ? 0xE2 : 0xA2;
        expected[3] = 0x30;
        expected[4] = 0xF0;
        expected[8] = 0;
        EXPECT_EQ(Bytes(list.begin() + 8, list.end()), expected);
        EXPECT_EQ(Bytes(list.begin(), list.begin() + 8), (Bytes{0, 0, 0x41, 0x42, 0, 0, 0, 0}));
    }
}

TEST_F(SessionAtOnceTest, PreGapLiesBeforeTheFirstBlock) {
    struct Case {
        int32_t nextAddress;
        uint32_t blockSize;
        size_t chunk;
        Bytes firstAddress;
    };
    for (const Case& c :
         {Case{0, 2048, 16, {0xFF, 0xFF, 0xFF, 0x6A}}, Case{0, 2352, 8, {0xFF, 0xFF, 0xFF, 0x6A}},
          Case{20'150, 2048, 16, {0, 0, 0x4E, 0x20}}}) {
        m_bench.port.Clear();
        m_bench.drive.m_nNextAddress = c.nextAddress;
        EXPECT_EQ(Prepare(true, nullptr, c.blockSize), 0);
        const std::vector<SentCommand> writes = m_bench.port.Sent(mmc::kWrite10);
        const Bytes first = writes.at(0).cdb;
        EXPECT_EQ(Bytes(first.begin() + 2, first.begin() + 6), c.firstAddress);
        size_t blocks = 0;
        for (const SentCommand& write : writes) {
            EXPECT_LE(write.cdb[8], c.chunk);
            EXPECT_EQ(write.length, write.cdb[8] * c.blockSize);
            EXPECT_THAT(write.dataOut, Each(0));
            EXPECT_EQ(write.timeoutSeconds, 180u);
            blocks += write.cdb[8];
        }
        EXPECT_EQ(blocks, 150u);
        EXPECT_EQ(writes.size(), (150 + c.chunk - 1) / c.chunk);
    }
}

TEST_F(SessionAtOnceTest, FailuresEndThePreparation) {
    struct Case {
        uint8_t opcode;
        ScriptedAnswer answer;
    };
    for (const Case& c : {Case{mmc::kModeSelect10, SenseAnswer(5, 0x26, 0)},
                          Case{mmc::kSendCueSheet, SenseAnswer(5, 0x26, 0)},
                          Case{mmc::kSendCueSheet, FailedAnswer(PortError::TimedOut)},
                          Case{mmc::kWrite10, SenseAnswer(3, 0x0C, 0)},
                          Case{mmc::kWrite10, FailedAnswer(PortError::TimedOut)}}) {
        SCOPED_TRACE(c.opcode);
        m_bench.port.Clear();
        m_bench.port.Always(c.opcode, c.answer);
        EXPECT_EQ(Prepare(), 1);
        EXPECT_EQ(m_bench.port.Sent().back().cdb[0], c.opcode);
        m_bench.port.Always(c.opcode, GoodAnswer());
    }
    AnswerPages(m_bench.port, {});
    m_bench.port.Clear();
    EXPECT_EQ(Prepare(), 1);
    EXPECT_EQ(m_bench.port.Sent().size(), 1u);
}

TEST_F(SessionAtOnceTest, CancelBetweenTheStepsIsNoFailure) {
    struct Case {
        const char* name;
        uint8_t lastOpcode;
        size_t count; // commands of that operation code when the user cancels
    };
    for (const Case& c : {Case{"before the calibration", mmc::kModeSelect10, 2},
                          Case{"before the cue sheet", mmc::kReadTrackInformation, 1},
                          Case{"before the pre-gap", mmc::kSendCueSheet, 1},
                          Case{"inside the pre-gap", mmc::kWrite10, 5}}) {
        SCOPED_TRACE(c.name);
        m_bench.port.Clear();
        const CancelFunctor cancel(
            [&] { return m_bench.port.Sent(c.lastOpcode).size() == c.count; });
        EXPECT_EQ(Prepare(true, &cancel), 0);
        EXPECT_EQ(m_bench.port.Sent().back().cdb[0], c.lastOpcode);
        EXPECT_EQ(m_bench.port.Sent(c.lastOpcode).size(), c.count);
    }
}

TEST(WriteBlocksTest, SplitsIntoChunksAndMovesTheAddress) {
    ScriptedDrive bench;
    Bytes data(37 * 2048);
    for (size_t index = 0; index < data.size(); ++index)
        data[index] = static_cast<uint8_t>(index / 2048);
    int32_t address = 0x12345;
    EXPECT_EQ(bench.drive.WriteBlocks(&address, data.data(), 37, nullptr, 2048), 0);
    EXPECT_EQ(address, 0x12345 + 37);
    const std::vector<SentCommand>& sent = bench.port.Sent();
    ASSERT_EQ(sent.size(), 3u);
    EXPECT_THAT(sent[0].cdb, ElementsAre(0x2A, 0, 0, 1, 0x23, 0x45, 0, 0, 16, 0));
    EXPECT_THAT(sent[1].cdb, ElementsAre(0x2A, 0, 0, 1, 0x23, 0x55, 0, 0, 16, 0));
    EXPECT_THAT(sent[2].cdb, ElementsAre(0x2A, 0, 0, 1, 0x23, 0x65, 0, 0, 5, 0));
    Bytes written;
    for (const SentCommand& command : sent)
        written.insert(written.end(), command.dataOut.begin(), command.dataOut.end());
    EXPECT_EQ(written, data);

    bench.port.Clear();
    EXPECT_EQ(bench.drive.WriteBlocks(&address, data.data(), 0, nullptr, 2048), 0);
    EXPECT_EQ(bench.drive.WriteBlocks(&address, data.data(), -1, nullptr, 2048), 0);
    EXPECT_TRUE(bench.port.Sent().empty());
}

TEST(WriteBlocksTest, FullBufferAndMediumChangeAreTriedAgainAtTheSamePlace) {
    ScriptedDrive bench;
    bench.port.Queue(mmc::kWrite10, SenseAnswer(2, 0x04, 0x08));
    bench.port.Queue(mmc::kWrite10, SenseAnswer(6, 0x28, 0));
    bench.port.Queue(mmc::kWrite10, SenseAnswer(2, 0x04, 0x07));
    Bytes data(2048, 0x5A);
    int32_t address = 100;
    EXPECT_EQ(bench.drive.WriteBlocks(&address, data.data(), 1, nullptr, 2048), 0);
    EXPECT_EQ(address, 101);
    ASSERT_EQ(bench.port.Sent().size(), 4u);
    for (const SentCommand& sent : bench.port.Sent()) {
        EXPECT_EQ(sent.cdb[5], 100);
        EXPECT_EQ(sent.dataOut, data);
    }
    EXPECT_THAT(bench.clock.Sleeps(), ElementsAre(40, 10, 40));
}

TEST(WriteBlocksTest, AnythingElseFailsAtItsAddress) {
    for (const ScriptedAnswer& answer :
         {SenseAnswer(3, 0x0C, 0), SenseAnswer(2, 0x3A, 0), SenseAnswer(6, 0x29, 0),
          SenseAnswer(5, 0x21, 0), FailedAnswer(PortError::TimedOut),
          FailedAnswer(PortError::Failed)}) {
        ScriptedDrive bench;
        bench.port.Queue(mmc::kWrite10, GoodAnswer());
        bench.port.Queue(mmc::kWrite10, answer);
        const Bytes data(48 * 2048);
        int32_t address = 0;
        EXPECT_EQ(bench.drive.WriteBlocks(&address, data.data(), 48, nullptr, 2048), 1);
        EXPECT_EQ(address, 16);
        EXPECT_EQ(bench.port.Sent().size(), 2u);
    }
    ScriptedDrive recovered;
    recovered.port.Queue(mmc::kWrite10, SenseAnswer(1, 0x18, 0));
    const Bytes data(2048);
    int32_t address = 0;
    EXPECT_EQ(recovered.drive.WriteBlocks(&address, data.data(), 1, nullptr, 2048), 0);
}

TEST(WriteBlocksTest, BrokenDrivesDoNotHoldTheJobForEver) {
    const Bytes data(2048);
    int32_t address = 0;
    ScriptedDrive attentive;
    attentive.port.Always(mmc::kWrite10, SenseAnswer(6, 0x28, 0));
    EXPECT_EQ(attentive.drive.WriteBlocks(&address, data.data(), 1, nullptr, 2048), 1);
    EXPECT_EQ(attentive.port.Sent().size(), 101u);

    ScriptedDrive full; // never takes the block: only the user can end this
    full.port.Always(mmc::kWrite10, SenseAnswer(2, 0x04, 0x08));
    const CancelFunctor cancel([&] { return full.clock.TotalSleep() >= 2000; });
    EXPECT_EQ(full.drive.WriteBlocks(&address, data.data(), 1, &cancel, 2048), 0);
    EXPECT_EQ(address, 0);
    EXPECT_EQ(full.clock.TotalSleep(), 2000);
}

TEST(WriteBlocksTest, CancelStopsBetweenChunks) {
    ScriptedDrive bench;
    const CancelFunctor cancel([&] { return bench.port.Sent().size() == 2; });
    const Bytes data(64 * 2048);
    int32_t address = 0;
    EXPECT_EQ(bench.drive.WriteBlocks(&address, data.data(), 64, &cancel, 2048), 0);
    EXPECT_EQ(address, 32);
}

TEST(UnitBusyTest, ReadinessAndTheSenseOfTheDiscInformation) {
    Bytes info(4);
    ScriptedAnswer shortSense = SenseAnswer(2, 0x04, 0x08);
    shortSense.completion.sense[7] = 5;
    struct Case {
        const char* name;
        ScriptedAnswer ready;
        ScriptedAnswer info;
        int readiness;
        int busy;
    };
    const ScriptedAnswer good = GoodAnswer();
    const Case cases[] = {
        {"idle", good, GoodAnswer(info), 0, 0},
        {"not ready", SenseAnswer(2, 0x04, 0x08), good, 2, 2},
        {"attention", SenseAnswer(6, 0x28, 0), good, 0, 0},
        {"broken", SenseAnswer(4, 0x44, 0), good, 1, 1},
        {"silent", FailedAnswer(PortError::TimedOut), good, 1, 1},
        {"long write", good, SenseAnswer(2, 0x04, 0x08), 0, 2},
        {"operation in progress", good, SenseAnswer(2, 0x04, 0x07), 0, 2},
        {"becoming ready", good, SenseAnswer(2, 0x04, 0x01), 0, 0},
        {"sense too short", good, shortSense, 0, 0},
        {"other key", good, SenseAnswer(5, 0x04, 0x08), 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedDrive bench;
        bench.port.Always(mmc::kTestUnitReady, c.ready);
        bench.port.Always(mmc::kReadDiscInformation, c.info);
        EXPECT_EQ(bench.drive.TestUnitReady(), c.readiness);
        bench.port.Clear();
        EXPECT_EQ(bench.drive.GetUnitBusy(), c.busy);
        if (c.readiness == 0) {
            EXPECT_THAT(bench.port.Sent().at(1).cdb, ElementsAre(0x51, 0, 0, 0, 0, 0, 0, 0, 4, 0));
        }
    }
}

TEST(LeadOutTest, WaitsUntilTheDriveIsDone) {
    ScriptedDrive bench;
    bench.port.Queue(mmc::kTestUnitReady, SenseAnswer(2, 0x04, 0x08));
    bench.port.Queue(mmc::kReadDiscInformation, SenseAnswer(2, 0x04, 0x07));
    EXPECT_EQ(bench.drive.FinishSaoWrite(), 0);
    constexpr uint8_t sync = mmc::kSynchronizeCache;
    constexpr uint8_t info = mmc::kReadDiscInformation;
    EXPECT_EQ(bench.port.SentOpcodes(), (Bytes{sync, 0, 0, info, 0, info, sync}));
    EXPECT_THAT(bench.clock.Sleeps(), ElementsAre(2000, 2000));
}

TEST(LeadOutTest, EndsByTheUserByAnErrorOrByItsLimit) {
    ScriptedDrive cancelled;
    cancelled.port.Always(mmc::kTestUnitReady, SenseAnswer(2, 0x04, 0x08));
    const CancelFunctor cancel([&] { return cancelled.clock.TotalSleep() >= 3000; });
    EXPECT_EQ(cancelled.drive.FinishSaoWrite(&cancel), 0);
    EXPECT_EQ(cancelled.clock.TotalSleep(), 3000);

    ScriptedDrive failed;
    failed.port.Always(mmc::kTestUnitReady, SenseAnswer(3, 0x0C, 0));
    EXPECT_EQ(failed.drive.FinishSaoWrite(), 1);

    ScriptedDrive stuck;
    stuck.port.Always(mmc::kTestUnitReady, SenseAnswer(2, 0x04, 0x08));
    EXPECT_EQ(stuck.drive.FinishSaoWrite(), 1);
    EXPECT_EQ(stuck.clock.TotalSleep(), 30 * 60 * 1000);
}

// A drive tells of blocks that it had taken and could not record when it is told to empty its
// cache, once; it is not busy afterwards.
TEST(LeadOutTest, BlocksLostInTheCacheAreAFailure) {
    struct Case {
        const char* name;
        ScriptedAnswer answer;
        bool isLost;
    };
    const Case cases[] = {
        {"good", GoodAnswer(), false},
        {"recovered error", SenseAnswer(1, 0x17, 0), false},
        {"still writing", SenseAnswer(2, 0x04, 0x08), false},
        {"write error", SenseAnswer(3, 0x0C, 0), true},
        {"internal failure", SenseAnswer(4, 0x44, 0), true},
        {"nothing to flush", SenseAnswer(5, 0x2C, 0), false},
        {"no answer", FailedAnswer(PortError::TimedOut), true},
    };
    for (const Case& c : cases) {
        for (const bool isFirst : {true, false}) {
            SCOPED_TRACE(c.name);
            SCOPED_TRACE(isFirst ? "first flush" : "second flush");
            ScriptedDrive bench;
            bench.port.Queue(mmc::kSynchronizeCache, isFirst ? c.answer : GoodAnswer());
            bench.port.Queue(mmc::kSynchronizeCache, isFirst ? GoodAnswer() : c.answer);
            EXPECT_EQ(bench.drive.FinishSaoWrite(), c.isLost ? 1 : 0);
            EXPECT_EQ(bench.port.Sent(mmc::kSynchronizeCache).size(), 2u);
        }
        ScriptedDrive bench;
        bench.port.Queue(mmc::kSynchronizeCache, c.answer);
        EXPECT_EQ(bench.drive.SyncCache(), 0);
        EXPECT_EQ(bench.drive.m_bCacheLost, c.isLost) << c.name;
        bench.drive.SyncCache();
        EXPECT_FALSE(bench.drive.m_bCacheLost) << "a flush forgets the one before";
    }
}

} // namespace
} // namespace larkspin
