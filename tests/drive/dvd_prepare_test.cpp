// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/dvd_bench.h"

namespace larkspin {
namespace {

using Arrange = std::function<void(DvdBench& bench)>;

const Arrange kAsIs = [](DvdBench&) {};
const Arrange kOneGoOnly = [](DvdBench& bench) {
    bench.port.Always(Feature(0x21), Answer(16, {{3, 12}}));
};
const Arrange kOneGoByChoice = [](DvdBench& bench) { bench.dvd.m_bDaoMode = true; };
const Arrange kOneGoOnPlus = [](DvdBench& bench) { bench.dvd.m_bDaoOnly = true; };
const Arrange kWithoutTheFeature = [](DvdBench& bench) {
    bench.port.Always(Feature(0x21), Answer(16, {{3, 4}}));
};
const Arrange kSecondSession = [](DvdBench& bench) { bench.dvd.m_nNextTrack = 2; };
const Arrange kNotCalibrated = [](DvdBench& bench) { bench.SetDiscInfo(Answer(32, {{1, 32}})); };

// A disc with these formats, and what became of its background format: 0 never begun, 1
// interrupted, 3 done.
Arrange Formatted(const std::vector<FormatDescriptor>& formats, uint8_t state = 3) {
    return [formats, state](DvdBench& bench) {
        bench.SetFormats(formats);
        bench.dvd.m_abyDiscInfo[7] = state;
    };
}

// Commands that the roads have in common.
const Lines kLockAndEvents = {"1E 00 00 00 01", "4A 01 00 00 FF 00 00 00 08"};
const Lines kWriteParameters = {"52 01 00 00 00 01 00 00 20", "5A 08 05 00 00 00 00 00 0C",
                                "5A 08 05 00 00 00 00 00 3C", "55 10 00 00 00 00 00 00 3C"};
const Lines kSpeed = {"5A 08 2A 00 00 00 00 00 0C", "5A 08 2A 00 00 00 00 00 28",
                      "AC 00 00 00 00 00 00 00 00 01 03"};
const Lines kStoredCalibration = {"51 00 00 00 00 00 00 00 08"};
const Lines kReadAddress = {"52 01 00 00 00 01 00 00 20"};

const Lines kSetUp = kWriteParameters + kSpeed;
const Lines kSetUpDash = kSetUp + kStoredCalibration;

TEST(DvdPrepareTest, SetsTheDriveUpAsTheMediumAsks) {
    const Lines feature = {"46 02 00 21 00 00 00 00 10"};
    const Lines sequential = feature + kSetUpDash + kReadAddress;
    const Lines reserve = {"53 00 00 00 00 00 00 03 F0"};
    const Lines oneGo = feature + kSetUpDash + reserve + kReadAddress;
    const Lines layers = {"AD 00 00 00 00 00 00 10 00 14"};
    const Lines boundary = {"AD 00 00 00 00 00 00 20 00 0C", "BF 00 00 00 00 00 00 20 00 0C"};
    const Lines format = {"04 11", "00"};
    struct {
        const char* what;
        uint32_t profile;
        Arrange arrange;
        Lines trace;
        int selected = -1; // multi-session and write type of the page that is sent, if any
    } const cases[] = {
        {"DVD-R", 0x11, kAsIs, sequential, 0xC0},
        {"DVD-R, second session", 0x11, kSecondSession,
         kSetUpDash + Lines{"52 01 00 00 00 02 00 00 20"}, 0xC0},
        {"DVD-R that only takes one go", 0x11, kOneGoOnly, oneGo, 0x02},
        {"DVD-R in one go by choice", 0x11, kOneGoByChoice, oneGo, 0xC2},
        {"DVD-R, a drive without the feature", 0x11, kWithoutTheFeature, sequential, 0xC0},
        {"DVD-R without a stored calibration", 0x11, kNotCalibrated,
         feature + kSetUpDash + Lines{"54 01"} + kReadAddress, 0xC0},
        {"DVD-RW sequential", 0x14 | MEDIA_BLANK, kAsIs, sequential, 0xC0},
        {"DVD-RW that only takes one go", 0x14, kOneGoOnly, oneGo, 0x02},
        {"DVD-R DL", 0x15, kAsIs, feature + kSetUpDash + layers + kReadAddress, 0x00},
        {"DVD-R DL that only takes one go", 0x15, kOneGoOnly,
         feature + kSetUpDash + layers + reserve + kReadAddress, 0x02},
        {"DVD-RW overwrite", 0x13, kAsIs, kSetUpDash, 0x00},
        {"DVD-RW that grows", 0x13, Formatted({{992, 2}, {5000, 0x13}}), kSetUpDash + format, 0x00},
        {"DVD-RAM", 0x12, kAsIs, kSpeed},
        {"DVD+RW never formatted", 0x1A, Formatted({{2295104, 1}, {2295104, 0x26}}, 0),
         format + Lines{"35"} + kSpeed},
        {"DVD+RW, format interrupted", 0x1A, Formatted({{992, 2}, {2295104, 0x26}}, 1),
         format + kSpeed},
        {"DVD+RW formatted", 0x1A, kAsIs, kSpeed},
        {"DVD+R", 0x1B, kAsIs, kSetUp + kReadAddress, 0xC0},
        {"DVD+R DL", 0x2B, kAsIs, kSpeed + kReadAddress},
        {"DVD+R DL in one go", 0x2B, kOneGoOnPlus, kSpeed + boundary + kReadAddress},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        DvdBench bench(c.profile);
        bench.SetTrack(4096, 0);
        bench.port.Always(kReadDvdStructure, Answer(20, {{1, 10}}));
        c.arrange(bench);
        bench.dvd.PrepareDvdMedia(1000 * kBlock);
        EXPECT_EQ(bench.Trace(), kLockAndEvents + c.trace);
        const bool readsAddress = c.trace.back().starts_with("52 01 00");
        EXPECT_EQ(bench.dvd.m_nNextWriteAddress, readsAddress ? 4096u : 0u);
        EXPECT_EQ(bench.dvd.m_nDriveBufferKB, 1024u);
        EXPECT_EQ(bench.dvd.m_nVelocity, 5540);
        EXPECT_FALSE(bench.dvd.m_bMediaWritten);
        for (const SentCommand& select : bench.port.Sent(kModeSelect10)) {
            EXPECT_EQ((select.dataOut[8 + 3] & 0xC0) | (select.dataOut[8 + 2] & 0x0F), c.selected);
        }
    }
}

TEST(DvdPrepareTest, TakesNoAddressThatIsNotVouchedForAndReservesNothingWithoutASize) {
    for (const Reply& answer :
         {Reply(TrackAnswer(4096, 0, 1, 0)), Sense(0x52400, TrackAnswer(4096))}) {
        DvdBench bench(0x2B);
        bench.dvd.m_bDaoOnly = true;
        bench.port.Always(kReadTrackInformation, answer);
        bench.dvd.PrepareDvdMedia(0);
        EXPECT_EQ(bench.dvd.m_nNextWriteAddress, 0u);
        EXPECT_EQ(bench.Trace(), kLockAndEvents + kSpeed + kReadAddress);
    }
    DvdBench bench(0x15);
    kOneGoOnly(bench);
    bench.dvd.PrepareDvdMedia(0);
    EXPECT_TRUE(bench.dvd.m_bDaoMode);
    EXPECT_TRUE(bench.port.Sent(kReadDvdStructure).empty());
    EXPECT_TRUE(bench.port.Sent(kReserveTrack).empty());
}

TEST(DvdPrepareTest, FindsTheDrivesBufferOnPage2A) {
    const std::tuple<uint8_t, uint32_t, uint32_t> cases[] = {
        {30, 2048, 2048}, {30, 511, 512}, {12, 8192, 8192}, {11, 8192, 512}};
    for (const auto& [length, bufferKB, expected] : cases) {
        DvdBench bench(0x12);
        Bytes page = Answer(32, {{0, 0x2A}, {1, length}, {12, bufferKB, 2}});
        page.resize(length + size_t{2});
        bench.SetPage2A(page);
        bench.dvd.PrepareDvdMedia(0);
        EXPECT_EQ(bench.dvd.m_nDriveBufferKB, expected);
        // The time for half of it, at the lowest speed if there is no other.
        EXPECT_EQ(bench.dvd.m_nPollDelayMs, expected * 500 / 1352);
    }
}

TEST(DvdWriteParametersTest, AreFilledForEachMedium) {
    struct {
        const char* what;
        uint32_t profile;
        uint8_t writeMode;
        uint8_t fill; // every byte of the page as the drive has it
        bool fixedPackets;
        uint8_t p2, p3, p5;
        uint32_t packetSize;
    } const cases[] = {
        {"DVD-R", 0x11, 0xC0, 0x00, false, 0x60, 0xE5, 0x10, 16},
        {"DVD-R, bits set before", 0x11, 0xC0, 0xFF, false, 0xE0, 0xF5, 0x10, 16},
        {"DVD-R in one go", 0x11, 0x02, 0x00, false, 0x62, 0x25, 0x10, 16},
        {"DVD-RW overwrite", 0x13, 0xC0, 0x00, true, 0x40, 0x2D, 0x00, 0x01020304},
        {"DVD-RW overwrite, bits set before", 0x13, 0xC0, 0xFF, true, 0xC0, 0x3D, 0x00, 0x01020304},
        {"DVD-RW sequential", 0x14, 0xC0, 0x00, false, 0x60, 0xCD, 0x10, 0},
        {"DVD-RW sequential in one go", 0x14, 0xC2, 0xFF, false, 0xE2, 0xDD, 0x10, 0},
        {"DVD-R DL", 0x15, 0x00, 0xFF, false, 0xC0, 0x1D, 0x00, 0},
        {"DVD+R", 0x1B, 0xC0, 0x00, false, 0x40, 0xCD, 0x00, 0},
        {"DVD+R with fixed packets", 0x1B, 0xC0, 0xFF, true, 0xC0, 0xFD, 0x00, 0x01020304},
    };
    for (const auto& c : cases) {
        for (const size_t descriptorBytes : {0, 8, 16}) {
            SCOPED_TRACE(testing::Message() << c.what << " behind " << descriptorBytes);
            DvdBench bench(c.profile);
            Bytes page = Page(0x85, 50, c.fill);
            bench.port.Always(ModePage(5), ModeAnswer(page, descriptorBytes));
            const uint8_t packets = c.fixedPackets ? 0x11 : 0x01;
            bench.port.Always(kReadTrackInformation,
                              Answer(32, {{5, 0xDD}, {6, packets}, {20, 0x01020304, 4}}));
            bench.dvd.SetupWriteParameters(bench.command, c.profile, c.writeMode);

            page[0] = 0x05;
            page[2] = c.p2;
            page[3] = c.p3;
            page[4] = 8;
            page[5] = c.p5;
            page[8] = 0;
            StoreBe32(&page[10], c.packetSize);
            EXPECT_EQ(bench.Trace().back(), "55 10 00 00 00 00 00 00 3C");
            EXPECT_EQ(bench.port.Sent().back().dataOut, Bytes(8) + page);
        }
    }
}

TEST(DvdWriteParametersTest, AnswersAreNotBelievedBeyondTheirEnds) {
    // The second answer claims more than was asked for: what was is sent back.
    Bytes more = ModeAnswer(Page(5, 50));
    StoreBe16(more.data(), 0xFFFF);
    // It has no block descriptors any more: the page is right behind the header.
    const Bytes without = ModeAnswer(Page(5, 50));
    for (const auto& [first, second] :
         {std::pair{ModeAnswer(Page(5, 50)), more}, {ModeAnswer(Page(5, 50), 40), without}}) {
        DvdBench bench(0x1B);
        bench.port.Queue(ModePage(5), first);
        bench.port.Queue(ModePage(5), second);
        bench.dvd.SetupWriteParameters(bench.command, 0x1B, 0xC0);
        EXPECT_EQ(bench.Trace().back(), "55 10 00 00 00 00 00 00 3C");
        EXPECT_EQ(bench.port.Sent().back().dataOut.at(8), 5);
    }
}

TEST(DvdPrepareTest, SaysWhatIsWrongWithTheDriveOrTheDisc) {
    const Reply refused = Sense(0x52400);
    Bytes noLength = ModeAnswer(Page(5, 50)); // the page's own length counts in the first answer
    StoreBe16(noLength.data(), 0);
    const Bytes claims60 = Answer(12, {{1, 60}});
    const Bytes loose = Answer(32, {{6, 0x01}}), fixed = Answer(32, {{6, 0x11}}); // packets
    const Bytes layers = Answer(20, {{16, 0xFF012345, 4}});
    const Bytes boundary = Answer(12, {{1, 10}, {11, 32}});
    const std::string half = "more than half of space on DVD";
    const std::string waste = "R DL disk will be wasted, use single layer disk instead";
    struct {
        std::string text;
        uint32_t profile;
        uint16_t question = kTestUnitReady;
        std::vector<Reply> answers = {};
        int64_t blocks = 1;
    } const cases[] = {
        {"disk type not supported", 0x16},
        {"disk type not supported", 0x2A},
        {"cannot access drive configuration", 0x11, Feature(0x21), {refused}},
        {"internal error #1015", 0x13, kReadTrackInformation, {refused}},
        {"internal error #1016", 0x13, ModePage(5), {refused}},
        {"internal error #1017", 0x13, ModePage(5), {ModeAnswer(Bytes(14), 8)}},
        {"internal error #1018", 0x13, ModePage(5), {Answer(22, {{1, 20}}), refused}},
        {"internal error #1019", 0x13, ModePage(5), {claims60, ModeAnswer(Bytes(13))}},
        {"internal error #1019", 0x13, ModePage(5), {noLength, noLength}},
        {"", 0x13, ModePage(5), {claims60, ModeAnswer(Page(5, 12))}},
        {"track 1 is not mode 1. cannot continue", 0x1B, kReadTrackInformation, {Bytes(32)}},
        {"internal error #1020. packet size is not fixed", 0x13, kReadTrackInformation, {loose}},
        {"internal error #1021. packet size is fixed", 0x11, kReadTrackInformation, {fixed}},
        {"internal error #1021. packet size is fixed", 0x14, kReadTrackInformation, {fixed}},
        {"internal error #1022", 0x13, kModeSelect10, {Sense(0x52600)}},
        {"internal error #1006", 0x13, kReadDiscInformation, {refused}},
        // Calibration may fail but for its own error.
        {"power calibration failed", 0x14, kSendOpcInformation, {Sense(0x37303)}},
        {"", 0x14, kSendOpcInformation, {Sense(0x17301)}}, // the area is almost full
        {"", 0x14, kSendOpcInformation, {refused}},
        {"", 0x14, kSendOpcInformation, {NoReply()}},
        {"unable to read dvd-r dl structure", 0x15, kReadDvdStructure, {refused}},
        {half + "-" + waste, 0x15, kReadDvdStructure, {layers}, 0x12345},
        {"", 0x15, kReadDvdStructure, {layers}, 0x12346},
        {"cannot read DVD+R DL boundary information", 0x2B, kReadDvdStructure, {refused}},
        {"internal error #1007", 0x2B, kReadDvdStructure, {Answer(12, {{1, 9}})}},
        {half + "+" + waste, 0x2B, kReadDvdStructure, {boundary}, 32},
        {"", 0x2B, kReadDvdStructure, {boundary}, 33},
        {"", 0x2B, kReadDvdStructure, {Answer(12, {{1, 10}, {4, 0x80}, {11, 32}})}, 32}, // fixed
        {"cannot set DVD+R DL layer information", 0x2B, kSendDvdStructure, {refused}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.text << " " << c.profile << " " << c.question);
        DvdBench bench(c.profile);
        bench.dvd.m_bDaoOnly = c.profile == 0x2B;
        if (c.question == kSendOpcInformation) {
            bench.SetDiscInfo(Answer(32, {{1, 32}})); // no stored calibration
        }
        bench.port.Always(kReadDvdStructure, Answer(12, {{1, 10}}));
        for (const Reply& answer : c.answers) {
            bench.port.Queue(c.question, answer);
        }
        EXPECT_EQ(FailureOf([&] { bench.dvd.PrepareDvdMedia(c.blocks * kBlock); }), c.text);
        EXPECT_EQ(bench.port.QueuedLeft(), 0u);
    }
}

TEST(DvdPrepareTest, TheLayersOfADvdPlusRDlAreSplitInHalvesOfWholeEccBlocks) {
    const std::pair<int64_t, uint32_t> splits[] = {
        {1, 16}, {16, 16}, {17, 16}, {33, 32}, {4'000'000, 2'000'000}};
    for (const auto& [blocks, split] : splits) {
        DvdBench bench(0x2B);
        bench.port.Always(kReadDvdStructure, Answer(12, {{1, 10}}));
        bench.dvd.SplitPlusRDl(bench.command, blocks * kBlock);
        EXPECT_EQ(bench.port.Sent().back().dataOut, Answer(12, {{1, 10}, {8, split, 4}}));
    }
}

} // namespace
} // namespace larkspin
