// Write speeds: the list for the user, and bringing a choice to the drive.
#include "drive/mmc.h"
#include "drive/mode_pages.h"
#include "drive/scsi_command.h"
#include "platform/byte_order.h"
#include "support/scripted_port.h"

#include <gmock/gmock.h>

namespace larkspin {
namespace {

using testing::DoubleEq;
using testing::ElementsAre;
using testing::IsEmpty;

void Append(Bytes* bytes, uint32_t value, int width) {
    while (width-- > 0)
        bytes->push_back(static_cast<uint8_t>(value >> (8 * width)));
}

// GET PERFORMANCE's answer of 16-byte descriptors, which hold two numbers: one at byte 4 or 8, the
// other at byte 12.
Bytes Performance(const std::vector<std::pair<uint32_t, uint32_t>>& descriptors, int first) {
    Bytes answer;
    Append(&answer, static_cast<uint32_t>(16 * descriptors.size() + 4), 4);
    Append(&answer, 0, 4);
    uint32_t number = 0;
    for (const auto& [one, other] : descriptors) {
        Append(&answer, ++number << 24, 4);
        Append(&answer, first == 4 ? one : 0, 4);
        Append(&answer, first == 8 ? one : 0, 4);
        Append(&answer, other, 4);
    }
    return answer;
}

Bytes WriteSpeeds(const std::vector<uint32_t>& speeds) {
    std::vector<std::pair<uint32_t, uint32_t>> descriptors;
    for (const uint32_t speed : speeds)
        descriptors.emplace_back(speed / 2, speed); // read speed, write speed
    return Performance(descriptors, 8);
}

Bytes CurrentSpeed(uint32_t start, uint32_t end) {
    return Performance({{start, end}}, 4);
}

// Page 2Ah with its header: the current write speed and the list.
Bytes Page2A(uint16_t current, const std::vector<uint16_t>& speeds, uint8_t pageLength = 0) {
    const size_t length = 30 + 4 * speeds.size();
    Bytes answer;
    Append(&answer, static_cast<uint32_t>(length + 8), 2);
    answer.resize(8);
    Append(&answer, 0x2A, 1);
    Append(&answer, pageLength != 0 ? pageLength : static_cast<uint8_t>(length), 1);
    answer.resize(8 + 28);
    Append(&answer, current, 2);
    Append(&answer, static_cast<uint32_t>(speeds.size()), 2);
    for (const uint16_t speed : speeds)
        Append(&answer, speed, 4);
    return answer;
}

ScriptedAnswer Profile(uint8_t profile) {
    return GoodAnswer({0, 0, 0, 4, 0, 0, 0, profile});
}

// What a call throws, as text; empty if it throws nothing.
template <typename Call>
std::string TextThrown(const Call& call) {
    try {
        call();
        return {};
    } catch (const CAspiCD::CgrowisofsException& failure) {
        return failure.what();
    }
}

constexpr uint8_t kWriteSpeedType = 3;

// Answers GET PERFORMANCE by its type: the list of write speeds, and the current speed.
struct SpeedBench : ScriptedDrive {
    SpeedBench() {
        port.OnCommand([this](const SentCommand& sent) -> std::optional<ScriptedAnswer> {
            if (sent.cdb[0] != mmc::kGetPerformance)
                return std::nullopt;
            const bool isList = sent.cdb[10] == kWriteSpeedType;
            std::deque<ScriptedAnswer>& answers = isList ? lists : currents;
            if (answers.empty())
                return SenseAnswer(5, 0x20, 0);
            const ScriptedAnswer answer = answers.front();
            if (answers.size() > 1)
                answers.pop_front();
            return answer;
        });
    }

    std::deque<ScriptedAnswer> lists; // the last one of each stays
    std::deque<ScriptedAnswer> currents;
};

TEST(WriteSpeedListTest, BaseFollowsTheMedium) {
    struct Case {
        uint8_t profile;
        double base; // 0: no recordable medium
    };
    for (const Case& c :
         {Case{0x09, 176.4}, Case{0x0A, 176.4}, Case{0x11, 1385.0}, Case{0x14, 1385.0},
          Case{0x1A, 1385.0}, Case{0x1B, 1385.0}, Case{0x2B, 1385.0}, Case{0x00, 0}, Case{0x08, 0},
          Case{0x10, 0}, Case{0x15, 0}, Case{0x41, 0}}) {
        SCOPED_TRACE(int{c.profile});
        SpeedBench bench;
        bench.port.Always(mmc::kGetConfiguration, Profile(c.profile));
        bench.lists = {GoodAnswer(WriteSpeeds({5540}))};
        if (c.base > 0) {
            EXPECT_THAT(bench.drive.GetWriteSpeeds(), ElementsAre(DoubleEq(5540 / c.base)));
        } else {
            EXPECT_EQ(TextThrown([&] { bench.drive.GetWriteSpeeds(); }), "Unsupported media.");
        }
    }
    SpeedBench old;
    old.drive.m_bConfigKnown = true; // and there is no GET CONFIGURATION
    old.lists = {GoodAnswer(WriteSpeeds({1764}))};
    EXPECT_THAT(old.drive.GetWriteSpeeds(), ElementsAre(DoubleEq(10)));
}

TEST(WriteSpeedListTest, ComesFromGetPerformanceInTheDrivesOrder) {
    SpeedBench bench;
    bench.port.Always(mmc::kGetConfiguration, Profile(0x1B));
    bench.lists = {GoodAnswer(WriteSpeeds({11'080, 22'160, 5'540}))};
    EXPECT_THAT(bench.drive.GetWriteSpeeds(), ElementsAre(8, 16, 4));
    const std::vector<SentCommand> sent = bench.port.Sent(mmc::kGetPerformance);
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_THAT(sent[0].cdb, ElementsAre(0xAC, 0, 0, 0, 0, 0, 0, 0, 0, 1, 3, 0));
    EXPECT_EQ(sent[0].length, 24u);
    EXPECT_THAT(sent[1].cdb, ElementsAre(0xAC, 0, 0, 0, 0, 0, 0, 0, 0, 3, 3, 0));
    EXPECT_EQ(sent[1].length, 56u);
}

TEST(WriteSpeedListTest, PageIsAskedWhenGetPerformanceGivesNothingToBelieve) {
    Bytes odd = WriteSpeeds({5540});
    odd[3] = 21;
    Bytes huge = WriteSpeeds({5540});
    StoreBe32(huge.data(), 0x7FFFFFF4);
    struct Case {
        const char* name;
        std::deque<ScriptedAnswer> lists;
    };
    const Case cases[] = {
        {"refused", {SenseAnswer(5, 0x20, 0)}},
        {"no answer", {FailedAnswer(PortError::TimedOut)}},
        {"no descriptor", {GoodAnswer(WriteSpeeds({}))}},
        {"nothing at all", {GoodAnswer(Bytes(24))}},
        {"odd length", {GoodAnswer(odd)}},
        {"more than can be", {GoodAnswer(huge)}},
        {"a speed of 0", {GoodAnswer(WriteSpeeds({22'160, 0, 5'540}))}},
        {"a speed below 1x", {GoodAnswer(WriteSpeeds({22'160, 1'384}))}},
        {"a speed above 60x", {GoodAnswer(WriteSpeeds({22'160, 1'385 * 60 + 1}))}},
        {"all refused after one", {GoodAnswer(WriteSpeeds({5540, 5540})), SenseAnswer(2, 0x04, 1)}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        SpeedBench bench;
        bench.port.Always(mmc::kGetConfiguration, Profile(0x11));
        bench.lists = c.lists;
        bench.port.Always(mmc::kModeSense10, GoodAnswer(Page2A(0, {2'770, 277})));
        EXPECT_THAT(bench.drive.GetWriteSpeeds(), ElementsAre(2, DoubleEq(0.2)));
        // The first 36 bytes tell how long the page is.
        const std::vector<SentCommand> sent = bench.port.Sent(mmc::kModeSense10);
        ASSERT_EQ(sent.size(), 2u);
        EXPECT_THAT(sent[0].cdb, ElementsAre(0x5A, 8, 0x2A, 0, 0, 0, 0, 0, 36, 0));
        EXPECT_THAT(sent[1].cdb, ElementsAre(0x5A, 8, 0x2A, 0, 0, 0, 0, 0, 48, 0));
    }
}

TEST(WriteSpeedListTest, PageThatTellsNothingFails) {
    Bytes withDescriptors = Page2A(0, {2'770});
    withDescriptors[7] = 8;
    Bytes shortPage(8 + 20);
    shortPage[1] = 26;
    shortPage[8] = 0x2A;
    shortPage[9] = 18;
    for (const ScriptedAnswer& answer : {SenseAnswer(5, 0x24, 0), FailedAnswer(PortError::TimedOut),
                                         GoodAnswer(withDescriptors), GoodAnswer(shortPage)}) {
        SpeedBench bench;
        bench.port.Always(mmc::kGetConfiguration, Profile(0x11));
        bench.port.Always(mmc::kModeSense10, answer);
        EXPECT_EQ(TextThrown([&] { bench.drive.GetWriteSpeeds(); }),
                  "Cannot determine available write speeds.");
    }
    // A page that grows at each asking does not hold the caller for ever.
    SpeedBench bench;
    uint16_t length = 60;
    bench.port.Always(mmc::kGetConfiguration, Profile(0x11));
    bench.port.OnCommand([&](const SentCommand& sent) -> std::optional<ScriptedAnswer> {
        if (sent.cdb[0] == mmc::kGetPerformance)
            return SenseAnswer(5, 0x20, 0);
        if (sent.cdb[0] != mmc::kModeSense10)
            return std::nullopt;
        Bytes answer(8);
        StoreBe16(answer.data(), length++);
        return GoodAnswer(answer);
    });
    EXPECT_EQ(TextThrown([&] { bench.drive.GetWriteSpeeds(); }),
              "Cannot determine available write speeds.");
}

TEST(WriteSpeedListTest, CountInThePageIsNotBelievedBeyondThePage) {
    SpeedBench bench;
    Bytes page = Page2A(0, {2'770});
    page[8 + 31] = 200;
    bench.port.Always(mmc::kGetConfiguration, Profile(0x11));
    bench.port.Always(mmc::kModeSense10, GoodAnswer(page));
    EXPECT_THAT(bench.drive.GetWriteSpeeds(), ElementsAre(2));
}

TEST(CdSpeedTest, SpeedBecomesKilobytes) {
    struct Case {
        uint32_t speed;
        uint8_t high, low;
    };
    for (const Case& c : {Case{0, 0xFF, 0xFF}, Case{1, 0, 177}, Case{16, 0x0B, 0x10},
                          Case{52, 0x23, 0xF4}, Case{1000, 0xFF, 0xFF}}) {
        ScriptedDrive bench;
        EXPECT_FALSE(bench.drive.SetCdSpeed(c.speed));
        EXPECT_THAT(bench.port.Sent()[0].cdb,
                    ElementsAre(0xBB, 0, 0xFF, 0xFF, c.high, c.low, 0, 0, 0, 0, 0, 0));
    }
    for (const ScriptedAnswer& answer :
         {SenseAnswer(1, 0, 0), SenseAnswer(5, 0x24, 0), FailedAnswer(PortError::TimedOut)}) {
        ScriptedDrive bench;
        bench.port.Queue(mmc::kSetCdSpeed, answer);
        EXPECT_TRUE(bench.drive.SetCdSpeed(4));
    }
}

TEST(VelocityTest, PollDelayIsHalfTheBufferAtThatSpeed) {
    ScriptedDrive bench;
    bench.drive.SetVelocity(0);
    EXPECT_EQ(bench.drive.m_nPollDelayMs, 189u);
    bench.drive.m_nDriveBufferKB = 2048;
    bench.drive.SetVelocity(11'080);
    EXPECT_EQ(bench.drive.m_nVelocity, 11'080);
    EXPECT_EQ(bench.drive.m_nPollDelayMs, 2048u * 500 / 11'080);
    bench.drive.SetVelocity(1000);
    EXPECT_EQ(bench.drive.m_nPollDelayMs, 2048u * 500 / 1352);
}

TEST(Page2ATest, SecondReadTakesItAll) {
    const Bytes whole = Page2A(5540, {5540, 2770});
    ScriptedDrive bench;
    CScsiCommand command(bench.drive);
    bench.port.Always(mmc::kModeSense10, GoodAnswer(whole));
    EXPECT_EQ(bench.drive.ReadPage2A(command), whole);
    EXPECT_THAT(bench.port.Sent()[0].cdb, ElementsAre(0x5A, 8, 0x2A, 0, 0, 0, 0, 0, 12, 0));
    EXPECT_THAT(bench.port.Sent()[1].cdb, ElementsAre(0x5A, 8, 0x2A, 0, 0, 0, 0, 0, 48, 0));

    // A mode data length that is too short is helped by the page length, one that grew is cut.
    Bytes liar = whole;
    liar[1] = 20;
    bench.port.Always(mmc::kModeSense10, GoodAnswer(liar));
    EXPECT_EQ(bench.drive.ReadPage2A(command).size(), whole.size());
    bench.port.Queue(mmc::kModeSense10, GoodAnswer(whole));
    Bytes grown = whole;
    grown[1] = 200;
    bench.port.Queue(mmc::kModeSense10, GoodAnswer(grown));
    EXPECT_EQ(bench.drive.ReadPage2A(command)[1], whole.size() - 2);
}

TEST(Page2ATest, EachFailureHasItsNumber) {
    Bytes tight = Page2A(0, {});
    tight.insert(tight.begin() + 8, 8, 0);
    tight[7] = 8;
    tight[1] = 8 + 38 - 3;
    struct Case {
        std::vector<ScriptedAnswer> answers;
        const char* text;
    };
    for (const Case& c :
         {Case{{SenseAnswer(5, 0x24, 0)}, "internal error #1001"},
          Case{{GoodAnswer(tight)}, "internal error #1002"},
          Case{{GoodAnswer(Page2A(0, {})), SenseAnswer(5, 0x24, 0)}, "internal error #1003"}}) {
        ScriptedDrive bench;
        CScsiCommand command(bench.drive);
        for (const ScriptedAnswer& answer : c.answers)
            bench.port.Queue(mmc::kModeSense10, answer);
        EXPECT_EQ(TextThrown([&] { bench.drive.ReadPage2A(command); }), c.text);
    }
}

TEST(CurrentPerformanceTest, HighestSpeedCounts) {
    struct Case {
        Bytes answer;
        int result;
        int32_t velocity;
    };
    Bytes odd = CurrentSpeed(1, 2);
    odd[3] = 23;
    for (const Case& c :
         {Case{CurrentSpeed(5'540, 2'770), 0, 5'540}, Case{CurrentSpeed(5'540, 13'850), 0, 13'850},
          Case{Performance({}, 4), -1, 3}, Case{odd, -1, 3}}) {
        ScriptedDrive bench;
        CScsiCommand command(bench.drive);
        bench.drive.m_nVelocity = 3;
        EXPECT_EQ(bench.drive.ReadCurrentPerformance(c.answer, command), c.result);
        EXPECT_EQ(bench.drive.m_nVelocity, c.velocity);
        EXPECT_TRUE(bench.port.Sent().empty());
    }
    ScriptedDrive bench;
    CScsiCommand command(bench.drive);
    const Bytes zones = Performance({{2'770, 5'540}, {8'310, 5'540}, {1, 2}}, 4);
    bench.port.Queue(mmc::kGetPerformance, GoodAnswer(zones));
    EXPECT_EQ(bench.drive.ReadCurrentPerformance(Bytes(zones.begin(), zones.begin() + 24), command),
              0);
    EXPECT_EQ(bench.drive.m_nVelocity, 8'310);
    EXPECT_THAT(bench.port.Sent()[0].cdb, ElementsAre(0xAC, 4, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0));
    bench.port.Queue(mmc::kGetPerformance, SenseAnswer(5, 0x24, 0));
    EXPECT_EQ(TextThrown([&] { bench.drive.ReadCurrentPerformance(zones, command); }),
              "drive speed change problem");
}

TEST(DvdSpeedTest, WithoutAWishTheDriveIsOnlyAsked) {
    SpeedBench bench;
    bench.lists = {GoodAnswer(WriteSpeeds({5'540, 2'770}))};
    bench.currents = {GoodAnswer(CurrentSpeed(5'540, 5'540))};
    CScsiCommand command(bench.drive);
    Bytes page = Page2A(1, {});
    EXPECT_EQ(bench.drive.SetDvdWriteSpeed(command, false, &page), 0);
    EXPECT_EQ(bench.drive.m_nVelocity, 5'540);
    EXPECT_THAT(bench.port.Sent(mmc::kSetStreaming), IsEmpty());
}

TEST(DvdSpeedTest, WishIsScaledByTheLowestSpeedAndMatched) {
    struct Case {
        const char* name;
        std::vector<uint32_t> speeds;
        double wish;
        bool dash;
        int aimed;
    };
    const Case cases[] = {
        {"tie goes to the first", {5'540, 8'310, 13'850}, 8, false, 8'310},
        {"4x with lowest 1x", {1'385, 2'704, 5'540, 11'080}, 4, true, 5'540},
        {"exactly 2704", {2'704, 5'540, 11'080}, 4, false, 5'540},
        {"exactly 2704, dash", {2'704, 5'540, 11'080}, 4, true, 5'540},
        {"2705 and not dash", {2'705, 5'410, 10'820}, 4.8, false, 5'410},
        {"2705 and dash", {2'705, 5'410, 10'820}, 4, true, 5'410},
        {"lowest 4x", {5'540, 11'080}, 8, true, 11'080},
        {"lowest 6x", {8'310, 16'620}, 12, true, 16'620},
        {"lowest 8x", {11'080, 16'620, 22'160}, 16, false, 22'160},
        {"lowest 12x", {16'620, 22'160}, 12, false, 16'620},
        {"lowest 16x", {22'160, 27'700}, 16, false, 22'160},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        SpeedBench bench;
        bench.lists = {GoodAnswer(WriteSpeeds(c.speeds))};
        bench.currents = {GoodAnswer(CurrentSpeed(1, 1)),
                          GoodAnswer(CurrentSpeed(static_cast<uint32_t>(c.aimed), 1))};
        bench.drive.m_dSpeedFactor = c.wish;
        bench.drive.m_nProfile = 0x1A;
        StoreBe32(&bench.drive.m_abyFormats[4 + 8], 0x01020304);
        bench.drive.m_abyFormats[3] = 16;
        bench.drive.m_abyFormats[16] = 0x26 << 2;
        CScsiCommand command(bench.drive);
        Bytes page = Page2A(1, {});
        bench.port.Always(mmc::kModeSense10, GoodAnswer(Page2A(7, {})));
        EXPECT_EQ(bench.drive.SetDvdWriteSpeed(command, c.dash, &page), c.aimed);
        EXPECT_EQ(bench.drive.m_nVelocity, c.aimed);
        EXPECT_EQ(bench.drive.m_dSpeedFactor, 0.0);
        EXPECT_EQ(LoadBe16(&page[8 + 28]), 7) << "the page was read again";

        const SentCommand streaming = bench.port.Sent(mmc::kSetStreaming).at(0);
        EXPECT_THAT(streaming.cdb, ElementsAre(0xB6, 0, 0, 0, 0, 0, 0, 0, 0, 0, 28, 0));
        Bytes expected(28);
        const auto chosen = std::ranges::find(c.speeds, static_cast<uint32_t>(c.aimed));
        expected[0] = static_cast<uint8_t>(chosen - c.speeds.begin() + 1);
        StoreBe32(&expected[8], 0x01020303);
        StoreBe32(&expected[12], static_cast<uint32_t>(c.aimed / 2));
        StoreBe32(&expected[16], 1000);
        StoreBe32(&expected[20], static_cast<uint32_t>(c.aimed));
        StoreBe32(&expected[24], 1000);
        EXPECT_EQ(streaming.dataOut, expected);
    }
}

TEST(DvdSpeedTest, SpeedThatIsSetAlreadyIsLeftAlone) {
    SpeedBench bench;
    bench.lists = {GoodAnswer(WriteSpeeds({5'540, 2'770}))};
    bench.currents = {GoodAnswer(CurrentSpeed(5'540, 5'540))};
    bench.drive.m_dSpeedFactor = 4;
    CScsiCommand command(bench.drive);
    Bytes page = Page2A(1, {});
    EXPECT_EQ(bench.drive.SetDvdWriteSpeed(command, true, &page), 5'540);
    EXPECT_THAT(bench.port.Sent(mmc::kSetStreaming), IsEmpty());
}

TEST(DvdSpeedTest, DriveThatKeepsItsOldSpeedIsLookedAtThroughThePage) {
    struct Case {
        const char* name;
        uint16_t pageSpeed;
        int32_t velocity;
        const char* text;
    };
    for (const Case& c :
         {Case{"the page knows", 11'080, 11'080, ""},
          Case{"the page has a lower one", 5'540, 11'080, ""},
          Case{"the page has a higher one", 16'620, 16'620, ""},
          Case{"the page has one that can't be", 1'351, 1'351, "failed to change write speed"},
          Case{"the page has 0", 0, 11'080, ""}}) {
        SCOPED_TRACE(c.name);
        SpeedBench bench;
        bench.lists = {GoodAnswer(WriteSpeeds({5'540, 11'080}))};
        bench.currents = {GoodAnswer(CurrentSpeed(5'540, 5'540))}; // whatever was set
        bench.drive.m_dSpeedFactor = 8;
        bench.port.Always(mmc::kModeSense10, GoodAnswer(Page2A(c.pageSpeed, {})));
        CScsiCommand command(bench.drive);
        Bytes page = Page2A(1, {});
        int aimed = 0;
        EXPECT_EQ(TextThrown([&] { aimed = bench.drive.SetDvdWriteSpeed(command, true, &page); }),
                  c.text);
        EXPECT_EQ(bench.drive.m_nVelocity, c.velocity);
        EXPECT_EQ(aimed, *c.text == 0 ? 11'080 : 0);
        EXPECT_EQ(bench.port.Sent(mmc::kSetStreaming).size(), 1u);
    }
}

TEST(DvdSpeedTest, DrivesWithoutSpeedData) {
    Bytes shortPage = Page2A(5'540, {}, 28);
    struct Case {
        const char* name;
        std::deque<ScriptedAnswer> lists;
        Bytes page;
        int result;
    };
    const std::deque<ScriptedAnswer> good = {GoodAnswer(WriteSpeeds({5'540}))};
    for (const Case& c :
         {Case{"no list", {SenseAnswer(5, 0x20, 0)}, Page2A(1, {}), -1},
          Case{"an empty list", {GoodAnswer(WriteSpeeds({}))}, Page2A(1, {}), -1},
          Case{"no page", good, {}, -1}, Case{"a page without the list", good, shortPage, -1},
          Case{"the page helps", good, Page2A(5'540, {}), 0}}) {
        SCOPED_TRACE(c.name);
        SpeedBench bench; // no current speed by GET PERFORMANCE
        bench.lists = c.lists;
        CScsiCommand command(bench.drive);
        Bytes page = c.page;
        EXPECT_EQ(bench.drive.SetDvdWriteSpeed(command, true, page.empty() ? nullptr : &page),
                  c.result);
        EXPECT_EQ(bench.drive.m_nVelocity, c.result == 0 ? 5'540 : 0);
    }
}

TEST(DvdSpeedTest, EachFailureHasItsText) {
    {
        SpeedBench bench;
        bench.lists = {GoodAnswer(WriteSpeeds({5'540, 11'080})), SenseAnswer(5, 0x24, 0)};
        CScsiCommand command(bench.drive);
        EXPECT_EQ(TextThrown([&] { bench.drive.SetDvdWriteSpeed(command, true, nullptr); }),
                  "drive speed detection problem");
    }
    struct Case {
        uint8_t opcode;
        const char* text;
    };
    for (const Case& c : {Case{mmc::kSetStreaming, "drive speed change failure"},
                          Case{mmc::kModeSense10, "internal error #1004"}}) {
        SpeedBench bench;
        bench.lists = {GoodAnswer(WriteSpeeds({5'540, 11'080}))};
        bench.currents = {GoodAnswer(CurrentSpeed(5'540, 5'540))};
        bench.drive.m_dSpeedFactor = 8;
        bench.port.Always(c.opcode, SenseAnswer(5, 0x24, 0));
        CScsiCommand command(bench.drive);
        Bytes page = Page2A(1, {});
        EXPECT_EQ(TextThrown([&] { bench.drive.SetDvdWriteSpeed(command, true, &page); }), c.text);
    }
}

TEST(PageVelocityTest, OnlyACredibleSpeedStands) {
    struct Case {
        const char* name;
        Bytes page;
        bool dash;
        int32_t velocity;
        uint32_t delay; // of the speed that is believed in
        double wish;
    };
    const uint32_t slow = 512u * 500 / 1352;
    const Case cases[] = {
        {"credible", Page2A(5'540, {5'540, 0, 2'770}), false, 5'540, 512u * 500 / 5'540, 2},
        {"no list", Page2A(5'540, {}, 28), false, 5'540, 512u * 500 / 5'540, 2},
        {"too slow", Page2A(1'351, {5'540}), false, 0, slow, 2},
        {"a speed in the list is too slow", Page2A(5'540, {5'540, 1'351}), true, 0, slow, 2},
        {"no speed, plus family", Page2A(5'540, {}, 27), false, 0, slow, 2},
        {"no speed, dash family", Page2A(5'540, {}, 27), true, 1352, slow, 0},
        {"no page", {}, true, 1352, slow, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedDrive bench;
        bench.drive.m_dSpeedFactor = 2;
        bench.drive.m_nPollDelayMs = 1;
        bench.drive.VelocityFromPage2A(c.dash, c.page);
        EXPECT_EQ(bench.drive.m_nVelocity, c.velocity);
        EXPECT_EQ(bench.drive.m_nPollDelayMs, c.delay);
        EXPECT_EQ(bench.drive.m_dSpeedFactor, c.wish);
    }
}

} // namespace
} // namespace larkspin
