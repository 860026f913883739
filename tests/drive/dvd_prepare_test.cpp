#include "drive/dvd_bench.h"

namespace larkspin {
namespace {

constexpr int64_t kBlock = 2048;

using Arrange = std::function<void(DvdBench& bench)>;

void AsIs(DvdBench&) {}
void OneGoOnly(DvdBench& bench) {
    bench.port.Always(Feature(0x21), GoodAnswer(Answer(16, {{3, 12}})));
}

// A disc with these formats, and what became of its background format: 0 never begun, 1
// interrupted, 3 done.
Arrange Formatted(const std::vector<FormatDescriptor>& formats, uint8_t state = 3) {
    return [formats, state](DvdBench& bench) {
        bench.SetFormats(formats);
        bench.drive.m_abyDiscInfo[7] = state;
    };
}

// Commands that the roads have in common.
const Lines kLockAndEvents = {"1E 00 00 00 01", "4A 01 00 00 FF 00 00 00 08"};
const Lines kFeature = {"46 02 00 21 00 00 00 00 10"};
const Lines kWriteParameters = {"52 01 00 00 00 01 00 00 20", "5A 08 05 00 00 00 00 00 0C",
                                "5A 08 05 00 00 00 00 00 3C", "55 10 00 00 00 00 00 00 3C"};
const Lines kSpeed = {"5A 08 2A 00 00 00 00 00 0C", "5A 08 2A 00 00 00 00 00 28",
                      "AC 00 00 00 00 00 00 00 00 01 03"};
const Lines kStoredCalibration = {"51 00 00 00 00 00 00 00 08"};
const Lines kReadAddress = {"52 01 00 00 00 01 00 00 20"};

const Lines kSetUp = kWriteParameters + kSpeed;
const Lines kSetUpDash = kSetUp + kStoredCalibration;

TEST(DvdPrepareTest, SetsTheDriveUpAsTheMediumAsks) {
    const Lines sequential = kFeature + kSetUpDash + kReadAddress;
    const Lines reserve = {"53 00 00 00 00 00 00 03 F0"};
    const Lines readLayers = {"AD 00 00 00 00 00 00 10 00 14"};
    const auto minusR = &CAspiCD::FinishMinusR;
    struct {
        const char* what;
        uint32_t profile;
        Arrange arrange;
        Lines trace;
        void (CAspiCD::*finish)();
        int selected; // multi-session and write type on the write parameters page; -1: none is sent
    } const cases[] = {
        {"DVD-R", 0x11, AsIs, sequential, minusR, 0xC0},
        {"DVD-R, second session, the feature does not matter", 0x11,
         [](DvdBench& bench) {
             OneGoOnly(bench);
             bench.drive.m_nNextTrack = 2;
         },
         kSetUpDash + Lines{"52 01 00 00 00 02 00 00 20"}, minusR, 0xC0},
        {"DVD-R that only takes one go", 0x11, OneGoOnly,
         kFeature + kSetUpDash + reserve + kReadAddress, minusR, 0x02},
        {"DVD-R in one go by choice", 0x11, [](DvdBench& bench) { bench.drive.m_bDaoMode = true; },
         kFeature + kSetUpDash + reserve + kReadAddress, minusR, 0xC2},
        {"DVD-R, a drive without the feature", 0x11,
         [](DvdBench& bench) {
             bench.port.Always(Feature(0x21), GoodAnswer(Answer(16, {{3, 4}})));
         },
         sequential, minusR, 0xC0},
        {"DVD-R without a stored calibration", 0x11,
         [](DvdBench& bench) {
             bench.SetDiscInfo(Answer(32, {{1, 32}}));
         },
         kFeature + kSetUpDash + Lines{"54 01 @120"} + kReadAddress, minusR, 0xC0},
        {"DVD-RW sequential", 0x14 | MEDIA_BLANK, AsIs, sequential, minusR, 0xC0},
        {"DVD-RW that only takes one go", 0x14, OneGoOnly,
         kFeature + kSetUpDash + reserve + kReadAddress, minusR, 0x02},
        {"DVD-R DL", 0x15, AsIs, kFeature + kSetUpDash + readLayers + kReadAddress, minusR, 0x00},
        {"DVD-R DL that only takes one go", 0x15, OneGoOnly,
         kFeature + kSetUpDash + readLayers + reserve + kReadAddress, minusR, 0x02},
        {"DVD-RW overwrite", 0x13, AsIs, kSetUpDash, &CAspiCD::FinishMinusRw, 0x00},
        {"DVD-RW overwrite that has to grow", 0x13, Formatted({{992, 2}, {5000, 0x13}}),
         kSetUpDash + Lines{"04 11", "00"}, &CAspiCD::FinishMinusRw, 0x00},
        {"DVD-RAM", 0x12, AsIs, kSpeed, &CAspiCD::FinishRam, -1},
        {"DVD+RW never formatted", 0x1A, Formatted({{2295104, 1}, {2295104, 0x26}}, 0),
         Lines{"04 11", "00", "35"} + kSpeed, &CAspiCD::FinishPlusRw, -1},
        {"DVD+RW, format interrupted", 0x1A, Formatted({{992, 2}, {2295104, 0x26}}, 1),
         Lines{"04 11", "00"} + kSpeed, &CAspiCD::FinishPlusRw, -1},
        {"DVD+RW formatted", 0x1A, AsIs, kSpeed, &CAspiCD::FinishPlusRw, -1},
        {"DVD+R", 0x1B, AsIs, kSetUp + kReadAddress, &CAspiCD::FinishPlusR, 0xC0},
        {"DVD+R DL", 0x2B, AsIs, kSpeed + kReadAddress, &CAspiCD::FinishPlusR, -1},
        {"DVD+R DL in one go", 0x2B, [](DvdBench& bench) { bench.drive.m_bDaoOnly = true; },
         kSpeed + Lines{"AD 00 00 00 00 00 00 20 00 0C", "BF 00 00 00 00 00 00 20 00 0C"} +
             kReadAddress,
         &CAspiCD::FinishPlusR, -1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        DvdBench bench(c.profile);
        bench.SetTrack(4096, 0);
        bench.port.Always(mmc::kReadDvdStructure, GoodAnswer(Answer(20, {{1, 10}})));
        c.arrange(bench);
        bench.drive.PrepareDvdMedia(1000 * kBlock);
        EXPECT_EQ(bench.Trace(), kLockAndEvents + c.trace);
        const bool readsAddress = c.trace.back().starts_with("52 01 00");
        EXPECT_EQ(bench.drive.m_nNextWriteAddress, readsAddress ? 4096u : 0u);
        EXPECT_EQ(bench.drive.m_nDriveBufferKB, 1024u);
        EXPECT_EQ(bench.drive.m_nVelocity, 5540);
        EXPECT_FALSE(bench.drive.m_bMediaWritten);
        for (const SentCommand& select : bench.port.Sent(mmc::kModeSelect10))
            EXPECT_EQ((select.dataOut[8 + 3] & 0xC0) | (select.dataOut[8 + 2] & 0x0F), c.selected);

        // The finisher is the medium's own: both leave the same trace.
        Lines traces[2];
        for (Lines& trace : traces) {
            bench.port.Clear();
            bench.drive.m_bMediaWritten = true;
            const bool grown = bench.drive.m_bQuickGrown;
            if (&trace == &traces[0])
                bench.drive.m_pfnFinalize(bench.drive);
            else
                (bench.drive.*c.finish)();
            trace = bench.Trace();
            bench.drive.m_bQuickGrown = grown;
        }
        EXPECT_EQ(traces[0], traces[1]);
    }
}

TEST(DvdPrepareTest, TakesNoAddressThatIsNotVouchedForAndReservesNothingWithoutASize) {
    for (const auto& answer :
         {GoodAnswer(TrackAnswer(4096, 0, 1, 0)), SenseAnswer(0x52400, TrackAnswer(4096))}) {
        DvdBench bench(0x2B);
        bench.drive.m_bDaoOnly = true;
        bench.port.Always(mmc::kReadTrackInformation, answer);
        bench.drive.PrepareDvdMedia(0);
        EXPECT_EQ(bench.drive.m_nNextWriteAddress, 0u);
        EXPECT_EQ(bench.Trace(), kLockAndEvents + kSpeed + kReadAddress);
    }
    DvdBench bench(0x15);
    OneGoOnly(bench);
    bench.drive.PrepareDvdMedia(0);
    EXPECT_TRUE(bench.drive.m_bDaoMode);
    EXPECT_EQ(bench.Trace(), kLockAndEvents + kFeature + kSetUpDash + kReadAddress);
}

TEST(DvdPrepareTest, FindsTheDrivesBufferOnPage2A) {
    struct {
        uint8_t pageLength;
        uint32_t bufferKB, expected;
    } const cases[] = {{30, 2048, 2048}, {30, 511, 512}, {12, 8192, 8192}, {11, 8192, 512}};
    for (const auto& c : cases) {
        DvdBench bench(0x12);
        Bytes page = Answer(32, {{0, 0x2A}, {1, c.pageLength}, {12, c.bufferKB, 2}});
        page.resize(c.pageLength + size_t{2});
        bench.SetPage2A(page);
        bench.drive.PrepareDvdMedia(0);
        EXPECT_EQ(bench.drive.m_nDriveBufferKB, c.expected);
        // The time for half of it, at the lowest speed if there is no other.
        EXPECT_EQ(bench.drive.m_nPollDelayMs, c.expected * 500 / 1352);
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
            bench.port.Always(ModePage(5), GoodAnswer(ModeAnswer(page, descriptorBytes)));
            const uint8_t packets = c.fixedPackets ? 0x11 : 0x01;
            bench.port.Always(
                mmc::kReadTrackInformation,
                GoodAnswer(Answer(32, {{5, 0xDD}, {6, packets}, {20, 0x01020304, 4}})));
            bench.drive.SetupWriteParameters(bench.command, c.profile, c.writeMode);

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
        bench.port.Queue(ModePage(5), GoodAnswer(first));
        bench.port.Queue(ModePage(5), GoodAnswer(second));
        bench.drive.SetupWriteParameters(bench.command, 0x1B, 0xC0);
        EXPECT_EQ(bench.Trace().back(), "55 10 00 00 00 00 00 00 3C");
        EXPECT_EQ(bench.port.Sent().back().dataOut.at(8), 5);
    }
}

TEST(DvdPrepareTest, SaysWhatIsWrongWithTheDriveOrTheDisc) {
    const auto good = [](size_t length, const std::vector<Field>& fields) {
        return GoodAnswer(Answer(length, fields));
    };
    const ScriptedAnswer refused = SenseAnswer(0x52400);
    Bytes noLength = ModeAnswer(Page(5, 50)); // the page's own length counts in the first answer
    StoreBe16(noLength.data(), 0);
    const std::string half = "more than half of space on DVD";
    const std::string waste = "R DL disk will be wasted, use single layer disk instead";
    struct {
        std::string text;
        uint32_t profile;
        uint16_t question;
        std::vector<ScriptedAnswer> answers;
        int64_t blocks = 1;
    } const cases[] = {
        {"disk type not supported", 0x16, 0, {}},
        {"disk type not supported", 0x2A, 0, {}},
        {"cannot access drive configuration", 0x11, Feature(0x21), {refused}},
        {"internal error #1015", 0x13, mmc::kReadTrackInformation, {refused}},
        {"internal error #1016", 0x13, ModePage(5), {refused}},
        {"internal error #1017", 0x13, ModePage(5), {GoodAnswer(ModeAnswer(Bytes(14), 8))}},
        {"internal error #1018", 0x13, ModePage(5), {good(22, {{1, 20}}), refused}},
        {"internal error #1019",
         0x13,
         ModePage(5),
         {good(12, {{1, 60}}), GoodAnswer(ModeAnswer(Bytes(13)))}},
        {"internal error #1019", 0x13, ModePage(5), {GoodAnswer(noLength), GoodAnswer(noLength)}},
        {"", 0x13, ModePage(5), {good(12, {{1, 60}}), GoodAnswer(ModeAnswer(Page(5, 12)))}},
        {"track 1 is not mode 1. cannot continue",
         0x1B,
         mmc::kReadTrackInformation,
         {good(32, {{6, 2}})}},
        {"internal error #1020. packet size is not fixed",
         0x13,
         mmc::kReadTrackInformation,
         {good(32, {{6, 0x01}})}},
        {"internal error #1021. packet size is fixed",
         0x11,
         mmc::kReadTrackInformation,
         {good(32, {{6, 0x11}})}},
        {"internal error #1021. packet size is fixed",
         0x14,
         mmc::kReadTrackInformation,
         {good(32, {{6, 0x11}})}},
        {"internal error #1022", 0x13, mmc::kModeSelect10, {SenseAnswer(0x52600)}},
        {"internal error #1006", 0x13, mmc::kReadDiscInformation, {refused}},
        // Calibration may fail but for its own error.
        {"power calibration failed", 0x14, mmc::kSendOpcInformation, {SenseAnswer(0x37303)}},
        {"", 0x14, mmc::kSendOpcInformation, {SenseAnswer(0x17301)}}, // the area is almost full
        {"", 0x14, mmc::kSendOpcInformation, {refused}},
        {"", 0x14, mmc::kSendOpcInformation, {FailedAnswer()}},
        {"unable to read dvd-r dl structure", 0x15, mmc::kReadDvdStructure, {refused}},
        {half + "-" + waste,
         0x15,
         mmc::kReadDvdStructure,
         {good(20, {{16, 0xFF012345, 4}})},
         0x12345},
        {"", 0x15, mmc::kReadDvdStructure, {good(20, {{16, 0xFF012345, 4}})}, 0x12346},
        {"cannot read DVD+R DL boundary information", 0x2B, mmc::kReadDvdStructure, {refused}},
        {"internal error #1007", 0x2B, mmc::kReadDvdStructure, {good(12, {{1, 9}})}},
        {half + "+" + waste, 0x2B, mmc::kReadDvdStructure, {good(12, {{1, 10}, {11, 32}})}, 32},
        {"", 0x2B, mmc::kReadDvdStructure, {good(12, {{1, 10}, {11, 32}})}, 33},
        {"", 0x2B, mmc::kReadDvdStructure, {good(12, {{1, 10}, {4, 0x80}, {11, 32}})}, 32}, // fixed
        {"cannot set DVD+R DL layer information", 0x2B, mmc::kSendDvdStructure, {refused}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.text << " " << c.profile << " " << c.question);
        DvdBench bench(c.profile);
        bench.drive.m_bDaoOnly = c.profile == 0x2B;
        if (c.question == mmc::kSendOpcInformation)
            bench.SetDiscInfo(Answer(32, {{1, 32}})); // no stored calibration
        bench.port.Always(mmc::kReadDvdStructure, good(12, {{1, 10}}));
        for (const ScriptedAnswer& answer : c.answers)
            bench.port.Queue(c.question, answer);
        EXPECT_EQ(FailureOf([&] { bench.drive.PrepareDvdMedia(c.blocks * kBlock); }), c.text);
        EXPECT_EQ(bench.port.QueuedLeft(), 0u);
    }
}

TEST(DvdPrepareTest, TheLayersOfADvdPlusRDlAreSplitInHalvesOfWholeEccBlocks) {
    for (const auto& [blocks, split] : {std::pair<int64_t, uint32_t>{1, 16},
                                        {16, 16},
                                        {17, 16},
                                        {33, 32},
                                        {4'000'000, 2'000'000}}) {
        DvdBench bench(0x2B);
        bench.port.Always(mmc::kReadDvdStructure, GoodAnswer(Answer(12, {{1, 10}})));
        bench.drive.SplitPlusRDl(bench.command, blocks * kBlock);
        EXPECT_EQ(bench.port.Sent().back().dataOut, Answer(12, {{1, 10}, {8, split, 4}}));
    }
}

} // namespace
} // namespace larkspin
