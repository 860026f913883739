// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Write speeds: the list for the user, and bringing a choice to the drive.
#include "drive/dvd_bench.h"

namespace larkspin {
namespace {

using testing::DoubleEq;
using testing::ElementsAre;

constexpr uint16_t kList = PerformanceData(3);
constexpr uint16_t kCurrent = PerformanceData(0);

// GET PERFORMANCE's answer of 16-byte descriptors, which hold two numbers: one at byte `first`,
// the other at byte 12.
Bytes Performance(const std::vector<std::pair<uint32_t, uint32_t>>& descriptors, size_t first) {
    const auto count = static_cast<uint32_t>(descriptors.size());
    Bytes answer = Answer(8, {{0, 16 * count + 4, 4}});
    uint32_t number = 0;
    for (const auto& [one, other] : descriptors) {
        answer = answer + Answer(16, {{0, ++number}, {first, one, 4}, {12, other, 4}});
    }
    return answer;
}

Bytes WriteSpeeds(const std::vector<uint32_t>& speeds) {
    std::vector<std::pair<uint32_t, uint32_t>> descriptors;
    descriptors.reserve(speeds.size());
    for (const uint32_t speed : speeds) {
        descriptors.emplace_back(speed / 2, speed); // read speed, write speed
    }
    return Performance(descriptors, 8);
}

Bytes CurrentSpeed(uint32_t start, uint32_t end) {
    return Performance({{start, end}}, 4);
}

// The answer with page 2Ah: the current write speed and the list.
Bytes Page2A(uint16_t current, const std::vector<uint16_t>& speeds = {}, uint8_t pageLength = 0) {
    const auto count = static_cast<uint32_t>(speeds.size());
    Bytes page = Answer(32, {{0, 0x2A}, {28, current, 2}, {30, count, 2}});
    for (const uint16_t speed : speeds) {
        page = page + Answer(4, {{2, speed, 2}});
    }
    page[1] = pageLength != 0 ? pageLength : static_cast<uint8_t>(page.size() - 2);
    return ModeAnswer(page);
}

TEST(WriteSpeedListTest, ComesFromGetPerformanceInTheDrivesOrderAsMultiplesOfTheMediumsBase) {
    const double no = 0; // no recordable medium
    const std::pair<uint8_t, double> bases[] = {
        {0x09, 176.4}, {0x0A, 176.4}, {0x11, 1385}, {0x14, 1385}, {0x1A, 1385},
        {0x1B, 1385},  {0x2B, 1385},  {0x41, 4496}, {0x43, 4496}, {0x00, no},
        {0x08, no},    {0x10, no},    {0x15, no},   {0x42, no}};
    for (const auto& [profile, base] : bases) {
        SCOPED_TRACE(int{profile});
        DvdBench bench(profile);
        bench.port.Always(kList, WriteSpeeds({5540}));
        if (base > 0) {
            EXPECT_THAT(bench.drive.GetWriteSpeeds(), ElementsAre(DoubleEq(5540 / base)));
        } else {
            EXPECT_EQ(FailureOf([&] { bench.drive.GetWriteSpeeds(); }), "Unsupported media.");
        }
        CAspiCDPeek::HasConfig(bench.drive) = false; // an old drive, for CDs only
        EXPECT_THAT(bench.drive.GetWriteSpeeds(), ElementsAre(DoubleEq(5540 / 176.4)));
    }
    DvdBench bench(0x1B);
    bench.port.Always(kList, WriteSpeeds({11'080, 22'160, 5'540}));
    EXPECT_THAT(bench.drive.GetWriteSpeeds(), ElementsAre(8, 16, 4));
    const std::vector<SentCommand> sent = bench.port.Sent(kGetPerformance);
    EXPECT_EQ(Trace(sent),
              (Lines{"AC 00 00 00 00 00 00 00 00 01 03", "AC 00 00 00 00 00 00 00 00 03 03"}));
    EXPECT_EQ(sent[0].length, 24u);
    EXPECT_EQ(sent[1].length, 56u);
}

TEST(WriteSpeedListTest, PageIsAskedWhenGetPerformanceGivesNothingToBelieve) {
    Bytes odd = WriteSpeeds({5540});
    odd[3] = 21;
    Bytes huge = WriteSpeeds({5540});
    StoreBe32(huge.data(), 0x7FFFFFF4);
    const Bytes withZero = WriteSpeeds({22'160, 0, 5'540});
    const std::pair<const char*, std::vector<Reply>> cases[] = {
        {"refused", {Sense(0x52000)}},
        {"no answer", {NoReply()}},
        {"no descriptor", {WriteSpeeds({})}},
        {"nothing at all", {Bytes(24)}},
        {"odd length", {odd}},
        {"more than can be", {huge}},
        {"a speed of 0", {withZero, withZero}},
        {"a speed below 1x", {WriteSpeeds({1'384})}},
        {"a speed above 60x", {WriteSpeeds({1'385 * 60 + 1})}},
        {"all refused after one", {WriteSpeeds({5540, 5540}), Sense(0x20401)}},
    };
    for (const auto& [name, lists] : cases) {
        SCOPED_TRACE(name);
        DvdBench bench(0x11);
        for (const Reply& list : lists) {
            bench.port.Queue(kList, list);
        }
        Bytes page = Page2A(0, {2'770, 277});
        page[8 + 31] = 200; // a count that is not believed beyond the page
        bench.port.Always(ModePage(0x2A), page);
        EXPECT_THAT(bench.drive.GetWriteSpeeds(), ElementsAre(2, DoubleEq(0.2)));
        // The first 36 bytes tell how long the page is.
        EXPECT_EQ(Trace(bench.port.Sent(kModeSense10)),
                  (Lines{"5A 08 2A 00 00 00 00 00 24", "5A 08 2A 00 00 00 00 00 30"}));
        EXPECT_EQ(bench.port.QueuedLeft(), 0u);
    }
    // A page that tells nothing either.
    Bytes withDescriptors = Page2A(0, {2'770});
    withDescriptors[7] = 8;
    std::vector<Reply> pages = {Sense(0x52400), NoReply(), ModeAnswer(Page(0x2A, 18)),
                                withDescriptors};
    for (size_t i = 0; i <= pages.size(); ++i) {
        DvdBench bench(0x11);
        for (uint32_t length = 60; i == pages.size() && length < 80; ++length) {
            bench.port.Queue(ModePage(0x2A), Answer(8, {{0, length, 2}})); // it grows and grows
        }
        if (i < pages.size()) {
            bench.port.Always(ModePage(0x2A), pages[i]);
        }
        EXPECT_EQ(FailureOf([&] { bench.drive.GetWriteSpeeds(); }),
                  "Cannot determine available write speeds.");
    }
}

TEST(CdSpeedTest, SpeedBecomesKilobytes) {
    const std::pair<uint32_t, std::string> cases[] = {
        {0, "FF FF"}, {1, "00 B1"}, {16, "0B 10"}, {52, "23 F4"}, {1000, "FF FF"}};
    ScriptedDrive bench;
    for (const auto& [speed, bytes] : cases) {
        EXPECT_FALSE(bench.drive.SetCdSpeed(speed));
        EXPECT_EQ(bench.Trace().back(), "BB 00 FF FF " + bytes);
        EXPECT_EQ(bench.port.Sent().back().cdb.size(), 12u);
    }
    for (const Reply& reply : {Sense(0x52400), NoReply()}) {
        bench.port.Queue(kSetCdSpeed, reply);
        EXPECT_TRUE(bench.drive.SetCdSpeed(4));
    }
}

TEST(Page2ATest, SecondReadTakesItAll) {
    const Bytes whole = Page2A(5540, {5540, 2770});
    DvdBench bench(0x1A);
    bench.port.Queue(ModePage(0x2A), whole, 2);
    EXPECT_EQ(bench.dvd.ReadPage2A(bench.command), whole);
    EXPECT_EQ(bench.Trace(), (Lines{"5A 08 2A 00 00 00 00 00 0C", "5A 08 2A 00 00 00 00 00 30"}));

    // A mode data length that is too short is helped by the page length, one that grew is cut.
    Bytes liar = whole;
    liar[1] = 20;
    bench.port.Queue(ModePage(0x2A), liar, 2);
    EXPECT_EQ(bench.dvd.ReadPage2A(bench.command).size(), whole.size());
    liar[1] = 200;
    bench.port.Queue(ModePage(0x2A), whole);
    bench.port.Queue(ModePage(0x2A), liar);
    EXPECT_EQ(bench.dvd.ReadPage2A(bench.command)[1], whole.size() - 2);
}

TEST(DvdSpeedTest, WishIsScaledByTheLowestSpeedAndMatched) {
    const std::tuple<const char*, std::vector<uint32_t>, double, bool, uint32_t> cases[] = {
        {"tie goes to the first", {5'540, 8'310, 13'850}, 8, false, 8'310},
        {"4x with lowest 1x", {1'385, 2'704, 5'540, 11'080}, 4, true, 5'540},
        {"exactly 2704", {2'704, 5'540, 11'080}, 4, false, 5'540},
        {"exactly 2704, dash", {2'704, 5'540, 11'080}, 4, true, 5'540},
        {"2705 and not dash", {2'705, 5'410, 10'820}, 4.8, false, 5'410},
        {"2705 and dash", {2'705, 5'410, 10'820}, 4, true, 5'410},
        {"lowest 4x", {5'540, 11'080}, 8, true, 11'080},
        {"lowest 6x", {8'310, 16'620}, 12, true, 16'620},
        {"lowest 8x", {11'080, 16'620, 22'160}, 12, false, 16'620},
        {"exactly 14872", {14'872, 22'308}, 12, false, 22'308},
        {"lowest 14873", {14'873, 22'310}, 12, false, 14'873},
        {"lowest 12x", {16'620, 22'160}, 12, false, 16'620},
        {"lowest 16x", {22'160, 27'700}, 16, false, 22'160},
    };
    for (const auto& [name, speeds, wish, dash, aimed] : cases) {
        SCOPED_TRACE(name);
        DvdBench bench(0x1A, 0x01020304);
        bench.port.Always(kList, WriteSpeeds(speeds));
        bench.port.Queue(kCurrent, CurrentSpeed(1, 1));
        bench.port.Always(kCurrent, CurrentSpeed(aimed, 1));
        bench.port.Always(ModePage(0x2A), Page2A(7));
        bench.dvd.m_dSpeedFactor = wish;
        Bytes page = Page2A(1);
        EXPECT_EQ(bench.dvd.SetDvdWriteSpeed(bench.command, dash, &page), int(aimed));
        EXPECT_EQ(bench.dvd.m_nVelocity, int(aimed));
        EXPECT_EQ(bench.dvd.m_dSpeedFactor, 0.0);
        EXPECT_EQ(LoadBe16(&page[8 + 28]), 7) << "the page was read again";

        const std::vector<SentCommand> streaming = bench.port.Sent(kSetStreaming);
        EXPECT_EQ(Trace(streaming), Lines{"B6 00 00 00 00 00 00 00 00 00 1C"});
        const auto place =
            static_cast<uint32_t>(std::ranges::find(speeds, aimed) - speeds.begin() + 1);
        EXPECT_EQ(streaming.at(0).dataOut, Answer(28, {{0, place},
                                                       {8, 0x01020303, 4},
                                                       {12, aimed / 2, 4},
                                                       {16, 1000, 4},
                                                       {20, aimed, 4},
                                                       {24, 1000, 4}}));
    }
}

// What the drive says of its current speed decides whether the wish is sent and believed.
TEST(DvdSpeedTest, CurrentSpeedIsAskedOfThePageToo) {
    const Bytes at5540 = CurrentSpeed(5'540, 5'540); // whatever is set
    const Reply none = Sense(0x52000);
    const Bytes list = WriteSpeeds({5'540, 11'080});
    const Bytes zones = Performance({{2'770, 5'540}, {8'310, 5'540}, {1, 2}}, 4);
    Bytes odd = at5540;
    odd[3] = 23;
    const Bytes noList = Page2A(5'540, {}, 28);
    struct {
        const char* name;
        double wish;
        Reply list, current;
        Bytes page; // as it was read before, empty for none; and as the drive has it
        int aimed;
        int32_t velocity;
        const char* text = "";
    } const cases[] = {
        {"no wish", 0, list, at5540, Page2A(1), 0, 5'540},
        {"the speed rises", 0, list, CurrentSpeed(5'540, 13'850), Page2A(1), 0, 13'850},
        {"the speed falls", 0, list, CurrentSpeed(5'540, 2'770), Page2A(1), 0, 5'540},
        {"zones", 0, list, zones, Page2A(1), 0, 8'310},
        {"nothing but a header", 0, list, Performance({}, 4), Page2A(7), 0, 7},
        {"an odd length", 0, list, odd, Page2A(7), 0, 7},
        {"the wish is set already", 4, list, at5540, Page2A(1), 5'540, 5'540},
        {"no list", 8, none, at5540, Page2A(1), -1, 0},
        {"an empty list", 8, WriteSpeeds({}), at5540, Page2A(1), -1, 0},
        {"no page", 0, list, none, {}, -1, 0},
        {"a page without the list", 0, list, none, noList, -1, 0},
        {"the page helps", 0, list, none, Page2A(5'540), 0, 5'540},
        {"the page knows better", 8, list, at5540, Page2A(11'080), 11'080, 11'080},
        {"the page has a lower one", 8, list, at5540, Page2A(5'540), 11'080, 11'080},
        {"the page has a higher one", 8, list, at5540, Page2A(16'620), 11'080, 16'620},
        {"the page has 0", 8, list, at5540, Page2A(0), 11'080, 11'080},
        {"it can't be", 8, list, at5540, Page2A(1'351), 0, 1'351, "failed to change write speed"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        DvdBench bench(0x11);
        bench.port.Always(kList, c.list);
        bench.port.Always(kCurrent, c.current);
        bench.port.Always(ModePage(0x2A), c.page);
        bench.dvd.m_dSpeedFactor = c.wish;
        Bytes page = c.page;
        int aimed = 0;
        EXPECT_EQ(FailureOf([&] {
                      aimed = bench.dvd.SetDvdWriteSpeed(bench.command, true,
                                                         page.empty() ? nullptr : &page);
                  }),
                  c.text);
        EXPECT_EQ(aimed, c.aimed);
        EXPECT_EQ(bench.dvd.m_nVelocity, c.velocity);
        EXPECT_EQ(bench.Trace().back() == "AC 04 00 00 00 00 00 00 00 03", c.current.data == zones);
        EXPECT_EQ(bench.port.Sent(kSetStreaming).size(), c.wish == 8 && aimed >= 0 ? 1u : 0u);
    }
}

TEST(DvdSpeedTest, EachFailureHasItsText) {
    const Bytes tight = ModeAnswer(Bytes(29), 8); // one byte less than is needed
    const Reply refused = Sense(0x52400);
    const std::tuple<const char*, uint16_t, std::vector<Reply>> cases[] = {
        {"internal error #1001", ModePage(0x2A), {refused}},
        {"internal error #1002", ModePage(0x2A), {tight}},
        {"internal error #1003", ModePage(0x2A), {Page2A(0), refused}},
        {"drive speed detection problem", kList, {WriteSpeeds({5'540, 11'080}), refused}},
        {"drive speed change problem", kCurrent, {Performance({{1, 2}, {1, 2}}, 4), refused}},
        {"drive speed change failure", kSetStreaming, {refused}},
        {"internal error #1004", ModePage(0x2A), {Page2A(0), Page2A(0), refused}},
    };
    for (const auto& [text, question, replies] : cases) {
        DvdBench bench(0x1A);
        bench.port.Always(kList, WriteSpeeds({5'540, 11'080}));
        bench.port.Always(kCurrent, CurrentSpeed(5'540, 5'540));
        for (const Reply& answer : replies) {
            bench.port.Queue(question, answer);
        }
        bench.dvd.m_dSpeedFactor = 8;
        EXPECT_EQ(FailureOf([&] { bench.dvd.PrepareDvdRecording(bench.command, 0x1A); }), text);
        EXPECT_EQ(bench.port.QueuedLeft(), 0u);
    }
}

TEST(PageVelocityTest, OnlyACredibleSpeedStands) {
    const uint32_t slow = 512u * 500 / 1352;
    struct {
        const char* name;
        Bytes page;
        bool dash;
        int32_t velocity;
        uint32_t delay; // of the speed that is believed in
        double wish = 2;
    } const cases[] = {
        {"credible", Page2A(5'540, {5'540, 0, 2'770}), false, 5'540, 512u * 500 / 5'540},
        {"no list", Page2A(5'540, {}, 28), false, 5'540, 512u * 500 / 5'540},
        {"too slow", Page2A(1'351, {5'540}), false, 0, slow},
        {"a speed in the list is too slow", Page2A(5'540, {5'540, 1'351}), true, 0, slow},
        {"no speed, plus family", Page2A(5'540, {}, 27), false, 0, slow},
        {"no speed, dash family", Page2A(5'540, {}, 27), true, 1352, slow, 0},
        {"no page", {}, true, 1352, slow, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedDrive bench;
        bench.dvd.m_dSpeedFactor = 2;
        bench.dvd.m_nPollDelayMs = 1;
        bench.dvd.VelocityFromPage2A(c.dash, c.page);
        EXPECT_EQ(bench.dvd.m_nVelocity, c.velocity);
        EXPECT_EQ(bench.dvd.m_nPollDelayMs, c.delay);
        EXPECT_EQ(bench.dvd.m_dSpeedFactor, c.wish);
    }
}

} // namespace
} // namespace larkspin
