// Sending commands: both families, and the waits and events around them.
#include "drive/answers.h"
#include "drive/direct_command.h"
#include "drive/scsi_command.h"
#include "drive/waiting.h"

namespace larkspin {
namespace {

using testing::ElementsAre;

// A scripted drive and a request block for it.
struct CommandBench : ScriptedDrive {
    CScsiCommand command{drive};
};

TEST(CommandTest, LengthFollowsTheOperationCodeAndTheLunIsPutIn) {
    ScriptedBench bench({0, 0, 3});
    CAspiCD drive(0, 0, 3, &bench.transport);
    CScsiCommand command(drive);
    for (const auto& [opcode, length] : {std::pair<uint8_t, size_t>{mmc::kStartStopUnit, 6},
                                         {mmc::kWrite10, 10},
                                         {mmc::kReadToc, 10},
                                         {mmc::kBlank, 12},
                                         {mmc::kSetCdSpeed, 12}}) {
        command[0] = opcode;
        command[1] = 1;
        EXPECT_EQ(command.Transport(Direction::NONE), 0);
        SendDirect(drive, SRB_DIR_OUT, Cdb(opcode));
        EXPECT_EQ(bench.port.Sent().back().cdb[1], 0x60);
        EXPECT_EQ(bench.port.Sent().back().cdb.size(), length);
        const SentCommand& block = bench.port.Sent().at(bench.port.Sent().size() - 2);
        EXPECT_EQ(block.cdb[1], 0x61);
        EXPECT_EQ(block.cdb.size(), length);
    }
}

TEST(CommandTest, ResultTellsSuccessSenseAndSilence) {
    struct {
        ScriptedAnswer answer;
        int code;
        bool failed, unanswered; // of a direct command
    } const cases[] = {
        {GoodAnswer(), 0, false, false},
        {SenseAnswer(0x20408), 0x20408, true, false},
        {SenseAnswer(0x17301), 0x17301, false, false},
        {SenseAnswer(0), -1, false, false},
        {FailedAnswer(), -1, true, true},
        {FailedAnswer(PortError::Failed), -1, true, true},
    };
    for (const auto& c : cases) {
        CommandBench bench;
        bench.port.Queue(0, c.answer, 2);
        bench.command[0] = 0;
        bench.command.Timeout(900);
        EXPECT_EQ(bench.command.Transport(Direction::NONE), c.code);
        EXPECT_EQ(bench.transport.m_nTimeoutSeconds, 0u);
        const DirectResult result = SendDirect(bench.drive, SRB_DIR_OUT, Cdb(0), nullptr, 0, 33);
        EXPECT_EQ(result.Failed(), c.failed);
        EXPECT_EQ(result.Unanswered(), c.unanswered);
        EXPECT_EQ(bench.drive.m_byLastStatus, result.status);
        EXPECT_EQ(bench.transport.m_nTimeoutSeconds, 0u);
        // The sense of one command is not taken for that of the next, also when it is sent again.
        bench.port.Queue(0, FailedAnswer());
        bench.command.Transport(Direction::NONE);
        EXPECT_EQ(bench.command.Sense()[0], 0);
        bench.command[0] = 0;
        bench.command.Transport(Direction::NONE);
        EXPECT_EQ(bench.Trace(), (Lines{"00 @900", "00 @33", "00 @900", "00"}));
    }
}

TEST(CommandTest, ReadBlocksFailsOnAnySense) {
    ScriptedDrive bench;
    Bytes buffer(2 * 2048, 0xFF);
    bench.port.Queue(mmc::kRead10, GoodAnswer(Bytes(100, 0x44)));
    EXPECT_TRUE(bench.drive.ReadBlocks(buffer.data(), 2, 0x01020304));
    EXPECT_EQ(bench.Trace(), Lines{"28 00 01 02 03 04 00 00 02"});
    EXPECT_EQ(bench.port.Sent()[0].length, 4096u);
    EXPECT_EQ(buffer[99], 0x44);
    EXPECT_EQ(buffer[100], 0) << "nothing of what was there before passes for data";
    for (const ScriptedAnswer& answer :
         {SenseAnswer(0x11701), SenseAnswer(0x31105), FailedAnswer()}) {
        bench.port.Queue(mmc::kRead10, answer);
        EXPECT_FALSE(bench.drive.ReadBlocks(buffer.data(), 1, 16));
    }
}

// An answer to GET EVENT STATUS NOTIFICATION whose class and code are given with the detail bytes.
ScriptedAnswer Event(uint8_t eventClass, uint8_t code, uint8_t status, uint16_t detail = 0,
                     uint8_t supported = 0x7E) {
    return GoodAnswer({0, 6, eventClass, supported, code, status, static_cast<uint8_t>(detail >> 8),
                       static_cast<uint8_t>(detail)});
}

TEST(HandleEventsTest, EachClassHasItsActionAndItsBit) {
    const Lines get = {"4A 01 00 00 7E 00 00 00 08"};
    const Lines start = {"1B 00 00 00 01"};
    struct {
        const char* name;
        ScriptedAnswer event;
        uint32_t bits;
        Lines actions; // after the first event
        int64_t sleep = 0;
    } const cases[] = {
        {"none", Event(0, 0, 0), 0, {}},
        {"length 2", GoodAnswer({0, 2, 4, 0x7E, 2, 2, 0, 0}), 0, {}},
        {"no code", Event(4, 0, 2), 0, {}},
        {"small change", Event(1, 2, 0, 2), 0x02, Lines{"46 00 00 00 00 00 00 00 08"} + get},
        {"change", Event(1, 2, 0, 3), 0x02, start + get},
        {"power low", Event(2, 1, 2), 0x04, start + get},
        {"power active", Event(2, 1, 1), 0x04, get},
        {"external request", Event(3, 1, 0), 0x08, get},
        {"medium present", Event(4, 2, 2), 0x10, start + get},
        {"medium gone", Event(4, 3, 0), 0x10, get},
        {"initiators", Event(5, 1, 0), 0x20, get},
        {"busy", Event(6, 1, 1, 3), 0x40, Lines{"00"} + get, 400},
        {"not busy", Event(6, 1, 0, 3), 0, get},
        {"other busy", Event(6, 2, 1, 3), 0, get},
        {"reserved", Event(7, 1, 0), 0x80, get},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        CommandBench bench;
        bench.port.Queue(mmc::kGetEventStatus, c.event);
        EXPECT_EQ(bench.drive.HandleEvents(bench.command), c.bits);
        EXPECT_EQ(bench.Trace(), Lines{"4A 01 00 00 FF 00 00 00 08"} + c.actions);
        EXPECT_EQ(bench.clock.TotalSleep(), c.sleep);
    }
}

TEST(HandleEventsTest, StartsTheUnitOnceAndGathersTheClasses) {
    CommandBench bench;
    for (const ScriptedAnswer& event : {Event(4, 2, 2), Event(1, 2, 0, 3), Event(1, 2, 0, 1),
                                        Event(1, 2, 0, 1)}) // the profile is known by now
        bench.port.Queue(mmc::kGetEventStatus, event);
    bench.port.Always(Feature(0), ProfileAnswer(0x1B));
    EXPECT_EQ(bench.drive.HandleEvents(bench.command), 0x12u);
    EXPECT_EQ(bench.port.SentOpcodes(), (Bytes{0x4A, 0x1B, 0x4A, 0x4A, 0x46, 0x4A, 0x4A}));
}

TEST(HandleEventsTest, MaskLivesOnAndErrorsAndEndlessEventsEndThePolling) {
    CommandBench bench;
    bench.port.Queue(mmc::kGetEventStatus, Event(3, 1, 0, 0, 0x54));
    bench.port.Queue(mmc::kGetEventStatus, Event(0, 0, 0, 0, 0x14));
    EXPECT_EQ(bench.drive.HandleEvents(bench.command), 0x08u);
    bench.port.Queue(mmc::kGetEventStatus, SenseAnswer(0x52000));
    EXPECT_EQ(bench.drive.HandleEvents(bench.command), 0u);
    EXPECT_EQ(bench.drive.HandleEvents(bench.command), 0u) << "the drive is not asked again";
    Bytes masks;
    for (const SentCommand& sent : bench.port.Sent())
        masks.push_back(sent.cdb[4]);
    EXPECT_THAT(masks, ElementsAre(0xFF, 0x54, 0x14));

    CommandBench talkative;
    talkative.port.Always(mmc::kGetEventStatus, Event(3, 1, 0));
    EXPECT_EQ(talkative.drive.HandleEvents(talkative.command), 0x08u);
    EXPECT_EQ(talkative.port.Sent().size(), 100u);

    CommandBench busy;
    busy.port.Always(mmc::kGetEventStatus, Event(6, 1, 1, 0xFFFF)); // nearly two hours
    const CancelFunctor cancel([&] { return busy.clock.TotalSleep() >= 1000; });
    busy.drive.m_pCancel = &cancel;
    busy.drive.HandleEvents(busy.command);
    EXPECT_EQ(busy.clock.TotalSleep(), 1000);
}

TEST(WaitForUnitTest, PollsASecondApartUntilTheUnitAnswers) {
    CommandBench bench;
    const int codes[] = {0x20407, 0x30C00, 0x44400, 0x62800};
    const uint64_t took[] = {300, 1500, 0, 0, 0, 0};
    size_t polls = 0;
    bench.port.OnCommand([&](const SentCommand&) {
        bench.clock.Advance(took[polls]);
        return std::optional(polls < std::size(codes) ? SenseAnswer(codes[polls++]) : GoodAnswer());
    });
    EXPECT_EQ(bench.drive.WaitForUnit(bench.command), 0);
    EXPECT_THAT(bench.clock.Sleeps(), ElementsAre(1000, 700, 1000, 1000));
    EXPECT_EQ(bench.Trace(), Lines(5, "00"));
    EXPECT_EQ(bench.drive.m_nLateError, 0x30C00) << "the first error of the command before";
    EXPECT_EQ(bench.drive.WaitForUnit(bench.command), 0);
    EXPECT_EQ(bench.drive.m_nLateError, 0);
}

TEST(WaitForUnitTest, EndsWithoutMediumOrAnswerOnStrangeAnswersAndWhenCancelled) {
    struct {
        ScriptedAnswer answer;
        int result;
        size_t polls;
    } const cases[] = {{SenseAnswer(0x23A01), 0x23A01, 1},
                       {FailedAnswer(), -1, 1},
                       {SenseAnswer(0x52000), -1, 100}};
    for (const auto& c : cases) {
        CommandBench bench;
        bench.port.Always(mmc::kTestUnitReady, c.answer);
        EXPECT_EQ(bench.drive.WaitForUnit(bench.command), c.result);
        EXPECT_EQ(bench.port.Sent().size(), c.polls);
    }
    for (const bool throughTheDrive : {false, true}) {
        CommandBench bench;
        bench.port.Always(mmc::kTestUnitReady, SenseAnswer(0x20404));
        CancelFunctor cancel([&] { return bench.clock.TotalSleep() >= 2400; });
        bench.drive.m_pCancel = throughTheDrive ? &cancel : nullptr;
        const CancelFunctor* const passed = throughTheDrive ? nullptr : &cancel;
        EXPECT_EQ(bench.drive.WaitForUnit(bench.command, passed), -1);
        EXPECT_EQ(bench.clock.TotalSleep(), 2400);
        EXPECT_EQ(bench.port.Sent().size(), 2u);

        // Also when each answer takes longer than the pause.
        bench.port.Clear();
        bench.port.OnCommand([&](const SentCommand&) -> std::optional<ScriptedAnswer> {
            bench.clock.Advance(1500);
            return bench.port.Sent().size() < 10 ? std::nullopt : std::optional(GoodAnswer());
        });
        cancel = CancelFunctor([&] { return bench.port.Sent().size() >= 3; });
        EXPECT_EQ(bench.drive.WaitForUnit(bench.command, passed), -1);
        EXPECT_EQ(bench.port.Sent().size(), 3u);
    }
}

TEST(AspiCdTest, CopyTakesTheIdentityAndStartsAfresh) {
    ScriptedDrive bench;
    bench.drive.m_strName = u"LARK    WRITER ONE      ";
    bench.drive.m_wDriveLetter = u'Q';
    bench.drive.m_bConfigKnown = bench.drive.m_bHasConfig = true;
    bench.drive.m_bMediaWritten = true;
    bench.drive.m_nProfile = 0x1B;
    const CAspiCD copy(bench.drive);
    EXPECT_EQ(copy.m_strName, bench.drive.m_strName);
    EXPECT_EQ(copy.m_wDriveLetter, u'Q');
    EXPECT_EQ(copy.m_pTransport, &bench.transport);
    EXPECT_TRUE(copy.m_bConfigKnown && copy.m_bHasConfig);
    EXPECT_FALSE(copy.m_bMediaWritten);
    EXPECT_EQ(copy.m_nProfile, 0u);

    const std::string text(200, 'x');
    EXPECT_STREQ(CAspiCD::CgrowisofsException(text.c_str()).what(), std::string(127, 'x').c_str());
}

} // namespace
} // namespace larkspin
