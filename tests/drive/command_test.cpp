// Sending commands: both families, and the waits and events around them.
#include "drive/direct_command.h"
#include "drive/mmc.h"
#include "drive/scsi_command.h"
#include "drive/waiting.h"
#include "support/scripted_port.h"

#include <gmock/gmock.h>

namespace larkspin {
namespace {

using testing::Each;
using testing::ElementsAre;

TEST(ScsiCommandTest, LengthFollowsTheOperationCodeAndTheLunIsPutIn) {
    ScriptedBench bench({0, 0, 3});
    CAspiCD drive(0, 0, 3, &bench.transport);
    CScsiCommand command(drive);
    for (const auto& [opcode, length] :
         {std::pair{mmc::kStartStopUnit, 6}, std::pair{mmc::kWrite10, 10},
          std::pair{mmc::kReadToc, 10}, std::pair{mmc::kBlank, 12},
          std::pair{mmc::kSetCdSpeed, 12}}) {
        command[0] = opcode;
        command[1] = 1;
        EXPECT_EQ(command.Transport(Direction::NONE), 0);
        EXPECT_EQ(bench.port.Sent().back().cdb.size(), static_cast<size_t>(length));
        EXPECT_EQ(bench.port.Sent().back().cdb[1], 0x61);
    }
}

TEST(ScsiCommandTest, ResultTellsSuccessSenseAndSilence) {
    struct Case {
        ScriptedAnswer answer;
        int code;
    };
    const Case cases[] = {
        {GoodAnswer(), 0},
        {SenseAnswer(2, 0x04, 0x08), 0x20408},
        {SenseAnswer(1, 0x73, 0x01), 0x17301},
        {SenseAnswer(0, 0, 0), -1},
        {FailedAnswer(PortError::TimedOut), -1},
        {FailedAnswer(PortError::Failed), -1},
    };
    for (const Case& c : cases) {
        ScriptedDrive bench;
        CScsiCommand command(bench.drive);
        bench.port.Queue(0, c.answer);
        command[0] = 0;
        EXPECT_EQ(command.Transport(Direction::NONE), c.code);
        // The sense of one command is not taken for that of the next, also when it is sent again.
        bench.port.Queue(0, FailedAnswer(PortError::TimedOut));
        command.Transport(Direction::NONE);
        EXPECT_EQ(command.Sense(0), 0);
    }
}

TEST(ScsiCommandTest, TimeoutIsForOneCommand) {
    ScriptedDrive bench;
    CScsiCommand command(bench.drive);
    command[0] = mmc::kSynchronizeCache;
    command.Timeout(900);
    command.Transport(Direction::NONE);
    EXPECT_EQ(bench.transport.m_nTimeoutSeconds, 0u);
    command[0] = mmc::kSynchronizeCache;
    command.Transport(Direction::NONE);
    EXPECT_EQ(bench.port.Sent()[0].timeoutSeconds, 900u);
    EXPECT_EQ(bench.port.Sent()[1].timeoutSeconds, 5u);
}

TEST(DirectCommandTest, JudgesBySenseAndTakesSilenceForAFailure) {
    struct Case {
        ScriptedAnswer answer;
        bool failed;
        bool unanswered;
    };
    const Case cases[] = {
        {GoodAnswer(), false, false},
        {SenseAnswer(0, 0, 0), false, false},
        {SenseAnswer(1, 0x18, 0), false, false},
        {SenseAnswer(2, 0x3A, 0), true, false},
        {FailedAnswer(PortError::TimedOut), true, true},
    };
    for (const Case& c : cases) {
        ScriptedDrive bench;
        bench.port.Queue(0, c.answer);
        const DirectResult result = SendDirect(bench.drive, SRB_DIR_OUT, Cdb(0), nullptr, 0, 33);
        EXPECT_EQ(result.Failed(), c.failed);
        EXPECT_EQ(result.Unanswered(), c.unanswered);
        EXPECT_EQ(bench.port.Sent()[0].timeoutSeconds, 33u);
        EXPECT_EQ(bench.transport.m_nTimeoutSeconds, 0u);
        EXPECT_EQ(bench.drive.m_byLastStatus, result.status);
    }
}

TEST(ReadBlocksTest, ReadsAndFailsOnAnySense) {
    ScriptedDrive bench;
    Bytes buffer(2 * 2048, 0xFF);
    bench.port.Queue(mmc::kRead10, GoodAnswer(Bytes(100, 0x44)));
    EXPECT_TRUE(bench.drive.ReadBlocks(buffer.data(), 2, 0x01020304));
    EXPECT_THAT(bench.port.Sent()[0].cdb, ElementsAre(0x28, 0, 1, 2, 3, 4, 0, 0, 2, 0));
    EXPECT_EQ(bench.port.Sent()[0].length, 4096u);
    EXPECT_EQ(buffer[99], 0x44);
    EXPECT_EQ(buffer[100], 0) << "nothing of what was there before passes for data";

    for (const ScriptedAnswer& answer :
         {SenseAnswer(1, 0x17, 1), SenseAnswer(3, 0x11, 5), FailedAnswer(PortError::TimedOut)}) {
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
    struct Case {
        const char* name;
        ScriptedAnswer event;
        uint32_t bits;
        Bytes actions; // operation codes after the first event
        int64_t sleep = 0;
    };
    constexpr uint8_t get = mmc::kGetEventStatus;
    const Case cases[] = {
        {"none", Event(0, 0, 0), 0, {}},
        {"length 2", GoodAnswer({0, 2, 4, 0x7E, 2, 2, 0, 0}), 0, {}},
        {"no code", Event(4, 0, 2), 0, {}},
        {"small change", Event(1, 2, 0, 2), 0x02, {mmc::kGetConfiguration, get}},
        {"change", Event(1, 2, 0, 3), 0x02, {mmc::kStartStopUnit, get}},
        {"power low", Event(2, 1, 2), 0x04, {mmc::kStartStopUnit, get}},
        {"power active", Event(2, 1, 1), 0x04, {get}},
        {"external request", Event(3, 1, 0), 0x08, {get}},
        {"medium present", Event(4, 2, 2), 0x10, {mmc::kStartStopUnit, get}},
        {"medium gone", Event(4, 3, 0), 0x10, {get}},
        {"initiators", Event(5, 1, 0), 0x20, {get}},
        {"busy", Event(6, 1, 1, 3), 0x40, {mmc::kTestUnitReady, get}, 400},
        {"not busy", Event(6, 1, 0, 3), 0, {get}},
        {"other busy", Event(6, 2, 1, 3), 0, {get}},
        {"reserved", Event(7, 1, 0), 0x80, {get}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedDrive bench;
        bench.port.Queue(get, c.event);
        CScsiCommand command(bench.drive);
        EXPECT_EQ(bench.drive.HandleEvents(command), c.bits);
        Bytes expected = {get};
        expected.insert(expected.end(), c.actions.begin(), c.actions.end());
        EXPECT_EQ(bench.port.SentOpcodes(), expected);
        EXPECT_EQ(bench.clock.TotalSleep(), c.sleep);
        EXPECT_THAT(bench.port.Sent()[0].cdb, ElementsAre(0x4A, 1, 0, 0, 0xFF, 0, 0, 0, 8, 0));
    }
}

TEST(HandleEventsTest, StartsTheUnitOnceAndGathersTheClasses) {
    ScriptedDrive bench;
    bench.port.Queue(mmc::kGetEventStatus, Event(4, 2, 2));
    bench.port.Queue(mmc::kGetEventStatus, Event(1, 2, 0, 3));
    bench.port.Queue(mmc::kGetEventStatus, Event(1, 2, 0, 1));
    bench.port.Queue(mmc::kGetConfiguration, GoodAnswer({0, 0, 0, 4, 0, 0, 0, 0x1B}));
    bench.port.Queue(mmc::kGetEventStatus, Event(1, 2, 0, 1)); // the profile is known by now
    CScsiCommand command(bench.drive);
    EXPECT_EQ(bench.drive.HandleEvents(command), 0x12u);
    EXPECT_EQ(bench.port.Sent(mmc::kStartStopUnit).size(), 1u);
    EXPECT_EQ(bench.port.Sent(mmc::kStartStopUnit)[0].cdb, (Bytes{0x1B, 0, 0, 0, 1, 0}));
    EXPECT_EQ(bench.port.Sent(mmc::kGetConfiguration).size(), 1u);
}

TEST(HandleEventsTest, MaskLivesOnAndAnErrorEndsThePolling) {
    ScriptedDrive bench;
    CScsiCommand command(bench.drive);
    bench.port.Queue(mmc::kGetEventStatus, Event(3, 1, 0, 0, 0x54));
    bench.port.Queue(mmc::kGetEventStatus, Event(0, 0, 0, 0, 0x14));
    EXPECT_EQ(bench.drive.HandleEvents(command), 0x08u);
    bench.port.Queue(mmc::kGetEventStatus, SenseAnswer(5, 0x20, 0));
    EXPECT_EQ(bench.drive.HandleEvents(command), 0u);
    EXPECT_EQ(bench.drive.HandleEvents(command), 0u) << "the drive is not asked again";
    Bytes masks;
    for (const SentCommand& sent : bench.port.Sent())
        masks.push_back(sent.cdb[4]);
    EXPECT_THAT(masks, ElementsAre(0xFF, 0x54, 0x14));
}

TEST(HandleEventsTest, DriveThatAlwaysHasAnEventIsLeftAlone) {
    ScriptedDrive bench;
    bench.port.Always(mmc::kGetEventStatus, Event(3, 1, 0));
    CScsiCommand command(bench.drive);
    EXPECT_EQ(bench.drive.HandleEvents(command), 0x08u);
    EXPECT_EQ(bench.port.Sent().size(), 100u);
}

TEST(HandleEventsTest, CancelEndsALongBusyTime) {
    ScriptedDrive bench;
    bench.port.Always(mmc::kGetEventStatus, Event(6, 1, 1, 0xFFFF)); // nearly two hours
    bool cancelled = false;
    const CancelFunctor cancel([&] { return cancelled; });
    bench.drive.m_pCancel = &cancel;
    bench.clock.SetOnSleep([&] { cancelled = bench.clock.TotalSleep() >= 1000; });
    CScsiCommand command(bench.drive);
    bench.drive.HandleEvents(command);
    EXPECT_EQ(bench.clock.TotalSleep(), 1000);
}

TEST(WaitForUnitTest, PollsASecondApartUntilTheUnitAnswers) {
    ScriptedDrive bench;
    int polls = 0;
    bench.port.OnCommand([&](const SentCommand&) -> std::optional<ScriptedAnswer> {
        constexpr uint64_t took[] = {300, 1500, 0, 0};
        bench.clock.Advance(took[polls]);
        return ++polls == 4 ? GoodAnswer()
                            : SenseAnswer(polls == 3 ? 6 : 2, polls == 3 ? 0x28 : 0x04, 0x07);
    });
    CScsiCommand command(bench.drive);
    EXPECT_EQ(bench.drive.WaitForUnit(command), 0);
    EXPECT_THAT(bench.clock.Sleeps(), ElementsAre(1000, 700, 1000));
    EXPECT_THAT(bench.port.SentOpcodes(), Each(mmc::kTestUnitReady));
}

TEST(WaitForUnitTest, GivesUpWithoutMediumOrAnswerAndOnStrangeAnswers) {
    struct Case {
        ScriptedAnswer answer;
        int result;
        size_t polls;
    };
    const Case cases[] = {
        {SenseAnswer(2, 0x3A, 1), 0x23A01, 1},
        {FailedAnswer(PortError::TimedOut), -1, 1},
        {SenseAnswer(4, 0x44, 0), -1, 100},
    };
    for (const Case& c : cases) {
        ScriptedDrive bench;
        bench.port.Always(mmc::kTestUnitReady, c.answer);
        CScsiCommand command(bench.drive);
        EXPECT_EQ(bench.drive.WaitForUnit(command), c.result);
        EXPECT_EQ(bench.port.Sent().size(), c.polls);
    }
}

TEST(WaitForUnitTest, CancelEndsTheWait) {
    for (const bool throughTheDrive : {false, true}) {
        ScriptedDrive bench;
        bench.port.Always(mmc::kTestUnitReady, SenseAnswer(2, 0x04, 0x04));
        const CancelFunctor cancel([&] { return bench.clock.TotalSleep() >= 2400; });
        if (throughTheDrive)
            bench.drive.m_pCancel = &cancel;
        CScsiCommand command(bench.drive);
        EXPECT_EQ(bench.drive.WaitForUnit(command, throughTheDrive ? nullptr : &cancel), -1);
        EXPECT_EQ(bench.clock.TotalSleep(), 2400);
        EXPECT_EQ(bench.port.Sent().size(), 2u);
        bench.drive.m_pCancel = nullptr;
    }
}

TEST(WaitForUnitTest, CancelEndsTheWaitForADriveThatAnswersSlowly) {
    ScriptedDrive bench;
    int polls = 0;
    bench.port.OnCommand([&](const SentCommand&) -> std::optional<ScriptedAnswer> {
        bench.clock.Advance(1500);
        return ++polls < 10 ? SenseAnswer(2, 0x04, 0x04) : GoodAnswer();
    });
    const CancelFunctor cancel([&] { return polls >= 3; });
    CScsiCommand command(bench.drive);
    EXPECT_EQ(bench.drive.WaitForUnit(command, &cancel), -1);
    EXPECT_EQ(polls, 3);
}

TEST(AspiCdTest, CopyTakesTheIdentityAndStartsAfresh) {
    ScriptedDrive bench;
    bench.drive.m_strName = u"LARK    WRITER ONE      ";
    bench.drive.m_wDriveLetter = u'Q';
    bench.drive.m_bConfigKnown = true;
    bench.drive.m_bMediaWritten = true;
    bench.drive.m_nProfile = 0x1B;
    bench.drive.m_pfnFinalize = [](CAspiCD& drive) { drive.EjectDisk(); };
    {
        const CAspiCD copy(bench.drive);
        EXPECT_EQ(copy.m_strName, bench.drive.m_strName);
        EXPECT_EQ(copy.m_wDriveLetter, u'Q');
        EXPECT_TRUE(copy.m_bConfigKnown);
        EXPECT_FALSE(copy.m_bMediaWritten);
        EXPECT_EQ(copy.m_nProfile, 0u);
        EXPECT_EQ(copy.m_pfnFinalize, nullptr);
    }
    EXPECT_TRUE(bench.port.Sent().empty());
    bench.drive.m_pfnFinalize = nullptr;
}

TEST(AspiCdTest, DestructorRunsAFinisherThatIsStillSet) {
    ScriptedBench bench;
    {
        CAspiCD drive(0, 0, 0, &bench.transport);
        drive.m_pfnFinalize = [](CAspiCD& finished) { finished.CloseSession(); };
    }
    EXPECT_EQ(bench.port.SentOpcodes(), Bytes{mmc::kCloseTrackSession});
}

TEST(AspiCdTest, ExceptionKeepsACopyOf127Bytes) {
    const std::string text(200, 'x');
    EXPECT_STREQ(CAspiCD::CgrowisofsException(text.c_str()).what(), std::string(127, 'x').c_str());
    EXPECT_STREQ(CAspiCD::CgrowisofsException("write error").what(), "write error");
}

} // namespace
} // namespace larkspin
