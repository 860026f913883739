// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
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

TEST(CommandTest, EachGetsTheTimeThatDrivesTakeForIt) {
    const std::pair<Bytes, uint32_t> times[] = {
        {{kStartStopUnit, 0, 0, 0, 2, 0}, 60},
        {{kRead10, 0}, 30},
        {{kReadToc, 0}, 30},
        {{kWrite10, 0}, 180},
        {{kSynchronizeCache, 0}, 120},
        {{kSynchronizeCache, 2}, 30},
        {{kSendOpcInformation, 1}, 120},
        {{kSendCueSheet, 0}, 120},
        {{kCloseTrackSession, 0}, 480},
        {{kCloseTrackSession, 1}, 60},
        {{kFormatUnit, 0x11}, 60},
        {{kBlank, 0x11}, 9600},
        {{kModeSense10, 0}, 5},
        {{0, 0}, 5},
    };
    ScriptedDrive bench;
    for (auto [cdb, seconds] : times) {
        cdb.resize(10);
        bench.drive.SendCommand(SRB_DIR_IN, cdb, nullptr, 0, nullptr);
        EXPECT_EQ(bench.port.Sent().back().timeoutSeconds, seconds) << int{cdb[0]};
        EXPECT_EQ(bench.transport.m_nTimeoutSeconds, 0u);
    }
}

TEST(CommandTest, ResultTellsSuccessSenseAndSilence) {
    struct {
        Reply reply;
        int code;
        bool failed = false, unanswered = false; // of a direct command
    } const cases[] = {
        {Reply(), 0},
        {Sense(0x20408), 0x20408, true},
        {Sense(0x17301), 0},
        {Sense(0), -1},
        {NoReply(), -1, true, true},
        {NoReply(PortError::Failed), -1, true, true},
    };
    for (const auto& c : cases) {
        CommandBench bench;
        bench.port.Queue(0, c.reply, 2);
        bench.command[0] = 0;
        bench.command.Timeout(900);
        EXPECT_EQ(bench.command.Transport(Direction::NONE), c.code);
        EXPECT_EQ(bench.transport.m_nTimeoutSeconds, 0u);
        const DirectResult result = SendDirect(bench.drive, SRB_DIR_OUT, Cdb(0), nullptr, 0, 33);
        EXPECT_EQ(result.Failed(), c.failed);
        EXPECT_EQ(result.Unanswered(), c.unanswered);
        EXPECT_EQ(bench.drive.LastStatus(), result.status);
        EXPECT_EQ(bench.transport.m_nTimeoutSeconds, 0u);
        // The sense of one command is not taken for that of the next, also when it is sent again.
        bench.port.Queue(0, NoReply());
        bench.command.Transport(Direction::NONE);
        EXPECT_EQ(bench.command.Sense()[0], 0);
        bench.command[0] = 0;
        bench.command.Transport(Direction::NONE);
        EXPECT_EQ(bench.Trace(), (Lines{"00 @900", "00 @33", "00 @900", "00"}));
    }
}

TEST(CommandTest, DataThatDidNotGoOverIsNeitherReadNorCounted) {
    struct {
        const char* name;
        uint8_t opcode;
        SrbFlags direction;
        uint32_t asked, moved;
        int sense;
        bool good;
    } const cases[] = {
        {"blocks", kRead10, SRB_DIR_IN, 4096, 4096, 0, true},
        {"blocks too few", kRead10, SRB_DIR_IN, 4096, 2048, 0, false},
        {"recovered", kRead10, SRB_DIR_IN, 4096, 4096, 0x11701, true},
        {"none, recovered", kRead10, SRB_DIR_IN, 4096, 0, 0x11701, false},
        {"written, recovered", 0x2A, SRB_DIR_OUT, 4096, 4096, 0x15D00, true},
        {"written too few, recovered", 0x2A, SRB_DIR_OUT, 4096, 4095, 0x15D00, false},
        {"written", 0x2A, SRB_DIR_OUT, 4096, 4096, 0, true},
        {"written too few", 0x2A, SRB_DIR_OUT, 4096, 4095, 0, false},
        {"page sent in part", 0x55, SRB_DIR_OUT, 60, 8, 0, false},
        {"answer shorter than its room", 0x52, SRB_DIR_IN, 36, 28, 0, true},
        {"answer without its address", 0x52, SRB_DIR_IN, 36, 8, 0, false},
        {"only the head asked for", 0x51, SRB_DIR_IN, 2, 2, 0, true},
        {"no head", 0x43, SRB_DIR_IN, 12, 3, 0, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        CommandBench bench;
        Reply reply = c.sense != 0 ? Sense(c.sense, Bytes(c.asked, 0x55)) : Bytes(c.asked, 0x55);
        reply.moved = c.moved;
        bench.port.Queue(c.opcode, reply, 2);
        Bytes data(c.asked, 0xAA);
        EXPECT_EQ(
            !SendDirect(bench.drive, c.direction, Cdb(c.opcode), data.data(), c.asked).Failed(),
            c.good);
        data.resize(c.moved + 1);
        EXPECT_TRUE(c.direction == SRB_DIR_OUT || data.back() == 0) << "left over from before";
        bench.command[0] = c.opcode;
        EXPECT_EQ(
            bench.command.Transport(c.direction == SRB_DIR_IN ? Direction::READ : Direction::WRITE,
                                    data.data(), c.asked),
            c.good ? 0 : -1);
    }
}

// A deferred report concerns a command before, and the one that brought it has not been run.
TEST(CommandTest, DeferredReportOfARecoveredErrorIsNoAnswer) {
    for (const auto& [code, reports, result] :
         {std::tuple(0x11801, 99, 0), {0, 1, 0}, {0x11801, 100, -1}}) {
        CommandBench bench;
        Reply deferred = Sense(code);
        deferred.completion.sense[0] = 0x71;
        deferred.moved = 0;
        bench.port.Queue(kTestUnitReady, deferred, reports);
        bench.command[0] = kTestUnitReady;
        EXPECT_EQ(bench.command.Transport(Direction::NONE), result);
    }
}

TEST(CommandTest, ReadBlocksTakesRecoveredBlocksAndFailsOnAnyOtherSense) {
    ScriptedDrive bench;
    Bytes buffer(4096, 0xFF);
    bench.port.Queue(kRead10, Bytes(100, 0x44));
    EXPECT_TRUE(bench.drive.ReadBlocks(buffer.data(), 2, 0x01020304));
    EXPECT_EQ(bench.Trace(), Lines{"28 00 01 02 03 04 00 00 02"});
    EXPECT_EQ(bench.port.Sent()[0].length, 4096u);
    EXPECT_EQ(buffer[99], 0x44);
    EXPECT_EQ(buffer[100], 0) << "nothing of what was there before passes for data";
    bench.port.Queue(kRead10, Sense(0x11701));
    EXPECT_TRUE(bench.drive.ReadBlocks(buffer.data(), 1, 16));
    for (const Reply& answer : {Sense(0), Sense(0x31105), NoReply()}) {
        bench.port.Queue(kRead10, answer);
        EXPECT_FALSE(bench.drive.ReadBlocks(buffer.data(), 1, 16));
    }
}

// An answer to GET EVENT STATUS NOTIFICATION whose class and code are given with the detail bytes.
Bytes Event(uint8_t eventClass, uint8_t code, uint8_t status, uint32_t detail = 0,
            uint8_t supported = 0x7E) {
    return Answer(
        8, {{1, 6}, {2, eventClass}, {3, supported}, {4, code}, {5, status}, {6, detail, 2}});
}

TEST(HandleEventsTest, EachClassHasItsActionAndItsBit) {
    const Lines get = {"4A 01 00 00 7E 00 00 00 08"};
    const Lines start = {"1B 00 00 00 01"};
    struct {
        const char* name;
        Reply event;
        uint32_t bits;
        Lines actions; // after the first event
        int64_t sleep = 0;
    } const cases[] = {
        {"none", Event(0, 0, 0), 0, {}},
        {"length 2", Bytes{0, 2, 4, 0x7E, 2, 2, 0, 0}, 0, {}},
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
        bench.port.Queue(kGetEventStatus, c.event);
        EXPECT_EQ(bench.drive.HandleEvents(bench.command), c.bits);
        EXPECT_EQ(bench.Trace(), Lines{"4A 01 00 00 FF 00 00 00 08"} + c.actions);
        EXPECT_EQ(bench.clock.TotalSleep(), c.sleep);
    }
}

TEST(HandleEventsTest, StartsTheUnitOnceGathersTheClassesAndKeepsTheMask) {
    CommandBench bench;
    for (const Bytes& event : {Event(4, 2, 2), Event(1, 2, 0, 3), Event(1, 2, 0, 1),
                               Event(1, 2, 0, 1)}) { // the profile is known by now
        bench.port.Queue(kGetEventStatus, event);
    }
    bench.port.Always(Feature(0), ProfileAnswer(0x1B));
    EXPECT_EQ(bench.drive.HandleEvents(bench.command), 0x12u);
    EXPECT_EQ(bench.port.SentOpcodes(), (Bytes{0x4A, 0x1B, 0x4A, 0x4A, 0x46, 0x4A, 0x4A}));

    CommandBench choosy;
    choosy.port.Queue(kGetEventStatus, Event(3, 1, 0, 0, 0x54));
    choosy.port.Queue(kGetEventStatus, Event(0, 0, 0, 0, 0x14));
    choosy.port.Queue(kGetEventStatus, Sense(0x52000));
    EXPECT_EQ(choosy.drive.HandleEvents(choosy.command), 0x08u);
    EXPECT_EQ(choosy.drive.HandleEvents(choosy.command), 0u);
    EXPECT_EQ(choosy.drive.HandleEvents(choosy.command), 0u) << "the drive is not asked again";
    EXPECT_EQ(choosy.Trace(), (Lines{"4A 01 00 00 FF 00 00 00 08", "4A 01 00 00 54 00 00 00 08",
                                     "4A 01 00 00 14 00 00 00 08"}));

    CommandBench talkative;
    talkative.port.Always(kGetEventStatus, Event(3, 1, 0));
    EXPECT_EQ(talkative.drive.HandleEvents(talkative.command), 0x08u);
    EXPECT_EQ(talkative.port.Sent().size(), 100u);

    CommandBench busy;
    busy.port.Always(kGetEventStatus, Event(6, 1, 1, 0xFFFF)); // nearly two hours
    const CancelFunctor cancel([&] { return busy.clock.TotalSleep() >= 1000; });
    busy.drive.ExchangeCancel(&cancel);
    busy.drive.HandleEvents(busy.command);
    EXPECT_EQ(busy.clock.TotalSleep(), 1000);
}

TEST(WaitForUnitTest, PollsASecondApartUntilTheUnitAnswers) {
    CommandBench bench;
    for (const int code : {0x20407, 0x30C00, 0x44400, 0x62800}) {
        bench.port.Queue(kTestUnitReady, Sense(code));
    }
    bench.port.OnCommand([&](const SentCommand&) -> std::optional<Reply> {
        const size_t polls = bench.port.Sent().size();
        bench.clock.Advance(polls == 1 ? 300 : polls == 2 ? 1500 : 0); // what the answer takes
        return std::nullopt;
    });
    EXPECT_EQ(bench.drive.WaitForUnit(bench.command), 0);
    EXPECT_THAT(bench.clock.Sleeps(), ElementsAre(1000, 700, 1000, 1000));
    EXPECT_EQ(bench.Trace(), Lines(5, "00"));
    EXPECT_EQ(bench.drive.LateError(), 0x30C00) << "the first error of the command before";
    EXPECT_EQ(bench.drive.WaitForUnit(bench.command), 0);
    EXPECT_EQ(bench.drive.LateError(), 0);
}

TEST(WaitForUnitTest, EndsWithoutMediumOrAnswerOnStrangeAnswersAndWhenCancelled) {
    const std::tuple<Reply, int, size_t> cases[] = {
        {Sense(0x23A01), 0x23A01, 1}, {NoReply(), -1, 1}, {Sense(0x52000), -1, 100}};
    for (const auto& [reply, result, polls] : cases) {
        CommandBench bench;
        bench.port.Always(kTestUnitReady, reply);
        EXPECT_EQ(bench.drive.WaitForUnit(bench.command), result);
        EXPECT_EQ(bench.port.Sent().size(), polls);
    }
    for (const bool throughTheDrive : {false, true}) {
        CommandBench bench;
        bench.port.Always(kTestUnitReady, Sense(0x20404));
        CancelFunctor cancel([&] { return bench.clock.TotalSleep() >= 2400; });
        bench.drive.ExchangeCancel(throughTheDrive ? &cancel : nullptr);
        const CancelFunctor* const passed = throughTheDrive ? nullptr : &cancel;
        EXPECT_EQ(bench.drive.WaitForUnit(bench.command, passed), -1);
        EXPECT_EQ(bench.clock.TotalSleep(), 2400);
        EXPECT_EQ(bench.port.Sent().size(), 2u);

        // Also when each answer takes longer than the pause.
        bench.port.Clear();
        bench.port.OnCommand([&](const SentCommand&) -> std::optional<Reply> {
            bench.clock.Advance(1500);
            return bench.port.Sent().size() < 10 ? std::nullopt : std::optional(Reply());
        });
        cancel = CancelFunctor([&] { return bench.port.Sent().size() >= 3; });
        EXPECT_EQ(bench.drive.WaitForUnit(bench.command, passed), -1);
        EXPECT_EQ(bench.port.Sent().size(), 3u);
    }
}

TEST(AspiCdTest, CopyTakesTheIdentityAndStartsAfresh) {
    ScriptedDrive bench;
    CAspiCDPeek::Identity(bench.drive) =
        std::tuple(u"LARK    WRITER ONE      ", u'Q', &bench.transport, true, true);
    bench.dvd.m_bMediaWritten = true;
    bench.dvd.m_nProfile = 0x1B;
    CAspiCD copy(bench.drive);
    EXPECT_EQ(CAspiCDPeek::Identity(copy), CAspiCDPeek::Identity(bench.drive));
    EXPECT_EQ(copy.GetDriveLetter(), u'Q');
    EXPECT_FALSE(copy.Dvd().m_bMediaWritten);
    EXPECT_EQ(copy.Dvd().m_nProfile, 0u);

    const std::string text(200, 'x');
    EXPECT_STREQ(CAspiCD::CgrowisofsException(text.c_str()).what(), std::string(127, 'x').c_str());
}

} // namespace
} // namespace larkspin
