// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/main_dlg.h"
#include "engine_bench.h"
#include "platform/text.h"

#include <gtest/gtest.h>

namespace larkspin {
namespace {

struct DlgBench : EngineBench {
    DlgBench() {
        dlg.ProcessMessage(WM_INITDIALOG);
        HoldJobsInDialog();
    }
    ~DlgBench() { release.Set(); }

    void Stage(const std::u16string& path) {
        dlg.ProcessMessage(WM_COPYDATA, COPYDATA_PATH_TAG, path);
    }
    void Queue(const std::u16string& path) {
        Stage(path);
        dlg.ProcessMessage(UM_ADD_PATH);
    }
    // The user answers the dialog of the job that runs; the job ends.
    void EndJob() {
        release.Set();
        while (writer.IsBusy()) {
            std::this_thread::yield();
        }
    }
    bool AJobWasStarted() {
        if (!writer.IsBusy()) {
            return false;
        }
        inDialog.Lock();
        return true;
    }

    CMainDlg dlg{writer, catalog, view};
};

TEST(MessageTable, NumbersAreTheOnesTheOutsideUses) {
    DlgBench bench;
    EXPECT_EQ(bench.dlg.ProcessMessage(272), 1);
    EXPECT_EQ(bench.dlg.ProcessMessage(1123), 1) << "the queue is empty";
    EXPECT_EQ(bench.dlg.ProcessMessage(1125), 1) << "idle";
    EXPECT_EQ(bench.dlg.ProcessMessage(1126), 1) << "before any path the empty one is added";
    EXPECT_EQ(bench.dlg.ProcessMessage(74, 169814, std::u16string(u"/x\u00DC\xDCFF\0tail", 9)), 1);
    EXPECT_EQ(bench.dlg.ProcessMessage(74, 5, u"/other"), 1) << "another tag is taken and ignored";
    EXPECT_EQ(bench.dlg.ProcessMessage(1126), 1);
    EXPECT_EQ(bench.writer.Paths(), (std::vector<std::u16string>{u"", u"/x\u00DC\xDCFF"}));
    EXPECT_EQ(bench.dlg.ProcessMessage(1123), 2);
    EXPECT_EQ(bench.dlg.ProcessMessage(273, 32776), 0);
    EXPECT_EQ(bench.view.queueEditors, 1);
    EXPECT_EQ(bench.dlg.ProcessMessage(273, 32777), 0);
    EXPECT_EQ(bench.dlg.ProcessMessage(1123), 1) << "cleared";
    EXPECT_EQ(bench.dlg.ProcessMessage(275), 0);
    EXPECT_EQ(bench.dlg.ProcessMessage(273, 4711), 0);
    EXPECT_EQ(bench.dlg.ProcessMessage(4711), 0);
    EXPECT_TRUE(bench.view.quits.empty());
    ASSERT_EQ(bench.view.Balloons().size(), 1U) << "the first files are told once";
    const FakeMainView::Balloon balloon = bench.view.Balloons()[0];
    EXPECT_EQ(balloon.title, u"Larkspin 1.4");
    EXPECT_EQ(
        balloon.text,
        u"You have added first files to writing queue.\n\nTo add more files to queue use "
        u"the file manager's right-click menu.\nTo start writing Data CD quickly double-click "
        u"this icon.");
    EXPECT_EQ(balloon.icon, BalloonIcon::Information);
    EXPECT_EQ(balloon.timeoutMs, 5000U);
}

TEST(MessageTable, AQueueTellsOfItsSizeUntilItIsTakenOver) {
    CEvent told(CEvent::Reset::Auto);
    DlgBench bench;
    bench.view.onBalloon = [&](const FakeMainView::Balloon&) { told.Set(); };
    bench.files.AddFile(u"/big", 800'000'000);
    bench.files.AddFile(u"/huge", 9'000'000'000);
    bench.writer.AddPath(u"/big");
    ASSERT_TRUE(told.Lock());
    bench.writer.AddPath(u"/huge");
    ASSERT_TRUE(told.Lock());
    EXPECT_EQ(bench.view.Balloons().at(0).title, u"Warning");
    EXPECT_EQ(bench.view.Balloons().at(1).title, u"Error");
    EXPECT_EQ(bench.view.Balloons().at(1).timeoutMs, 30000U);
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(bench.dlg.ProcessMessage(1132), 1);
        EXPECT_EQ(bench.dlg.ProcessMessage(UM_QUERY_QUEUE), 1) << "the second time clears again";
        EXPECT_TRUE(bench.writer.IsQueueExclusive());
        bench.Queue(time == 0 ? u"/big" : u"/huge");
        EXPECT_FALSE(told.Lock(std::chrono::milliseconds(50)));
    }
}

TEST(MessageTable, GuardedStarts) {
    const struct {
        const char* name;
        uint32_t message;
        uint32_t command;
        bool queued;
        std::u16string staged;
        bool starts;
    } cases[] = {
        {"data", 1127, 0, true, u"", true},
        {"data, the other number", 1128, 0, true, u"", true},
        {"data, empty queue", 1127, 0, false, u"/x", false},
        {"audio", 1129, 0, true, u"", true},
        {"audio, empty queue", 1129, 0, false, u"/x", false},
        {"image, no path", 1130, 0, true, u"", false},
        {"image", 1130, 0, false, u"/image", true},
        {"erase", 1131, 0, false, u"D:\\", true},
        {"erase, letter of no drive", 1131, 0, false, u"Z", false},
        {"erase, small letter", 1131, 0, false, u"d", false},
        {"erase, no path", 1131, 0, false, u"", false},
        {"menu, data", 273, 32774, true, u"", true},
        {"menu, audio", 273, 32775, true, u"", true},
        {"menu, data, empty queue", 273, 32774, false, u"", false},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        DlgBench bench;
        bench.files.AddFile(u"/image", 2048);
        if (test.queued) {
            bench.writer.AddPath(u"/queued.mp3");
        }
        bench.Stage(test.staged);
        const int32_t result = bench.dlg.ProcessMessage(test.message, test.command);
        const int32_t expected = test.message == WM_COMMAND ? 0 : test.starts ? 0 : -1;
        EXPECT_EQ(result, expected);
        EXPECT_EQ(bench.AJobWasStarted(), test.starts);
        EXPECT_TRUE(bench.view.errors.empty());
        if (test.starts) {
            EXPECT_EQ(bench.dlg.ProcessMessage(UM_QUERY_BUSY), 2);
            bench.Stage(test.staged);
            EXPECT_EQ(bench.dlg.ProcessMessage(test.message, test.command),
                      test.message == WM_COMMAND ? 0 : -1);
            ASSERT_EQ(bench.view.errors.size(), 1U);
            EXPECT_EQ(bench.view.errors[0].first,
                      u"Cannot perform your request right now. Disk operation in progress.");
            EXPECT_EQ(bench.view.errors[0].second, u"Larkspin");
        }
    }
}

TEST(MessageTable, EraseTakesTheStagedPathAwayAndEraseDiskTranslates) {
    DlgBench bench;
    bench.Stage(u"Z");
    bench.dlg.ProcessMessage(UM_ERASE_DISK);
    EXPECT_EQ(bench.dlg.ProcessMessage(UM_BURN_IMAGE), -1) << "nothing is staged any more";
    for (const char16_t* drive : {u"sr1", u"/dev/sr1", u"D", u"D:"}) {
        EXPECT_EQ(bench.dlg.EraseDisk(drive), 0);
        ASSERT_TRUE(bench.AJobWasStarted());
        bench.EndJob();
        EXPECT_EQ(bench.port.Sent().back().letterIndex, kFirstLetterIndex + 1);
        EXPECT_EQ(bench.ui.Exits(), 0) << "a cancelled dialog leaves the program idle";
    }
    for (const char16_t* drive : {u"sr", u"sr2", u"E", u"d", u"/home/sr1", u"Dx"}) {
        EXPECT_EQ(bench.dlg.EraseDisk(drive), -1) << ToNative(drive);
    }
    EXPECT_EQ(bench.view.errors.size(), 0U);
    EXPECT_EQ(bench.dlg.EraseDisk(u""), -1);
    EXPECT_EQ(bench.view.errors.size(), 1U) << "there are two drives: the user must choose";
    bench.dlg.OnTrayRightClick();
    const std::vector<std::u16string> drives = {u"sr0", u"sr1"};
    ASSERT_EQ(bench.view.menus.back().drives, drives);
    bench.ui.onBox = [&](const FakeUi::Box&) { // there is nothing to verify
        bench.ui.onDialog();
        return false;
    };
    for (const uint32_t first : {CMD_ERASE_FIRST_DRIVE, CMD_VERIFY_FIRST_DRIVE}) {
        bench.view.menuCommand(first + 2);
        EXPECT_FALSE(bench.writer.IsBusy());
        bench.view.menuCommand(first + 1);
        EXPECT_TRUE(bench.AJobWasStarted());
        bench.EndJob();
    }
    EXPECT_EQ(bench.dlg.VerifyDisk(u"sr2"), -1);
}

TEST(Drives, AreLookedForWheneverAJobStarts) {
    DlgBench bench;
    bench.Queue(u"/a");
    ScriptedPort::Drive& added = bench.port.AddDrive(kFirstLetterIndex + 2, {0, 2, 0});
    bench.port.m_inventory = "one more";
    EXPECT_EQ(bench.dlg.EraseDisk(u"sr2"), 0);
    ASSERT_TRUE(bench.AJobWasStarted());
    bench.port.m_inventory = "still another";
    EXPECT_EQ(bench.dlg.EraseDisk(u"sr2"), -1) << "a job runs";
    EXPECT_EQ(bench.catalog.Label(2), u"sr2");
    bench.EndJob();
    const size_t balloons = bench.view.Balloons().size();
    added.opensForWriting = added.opensForReading = false;
    for (int again = 0; again < 2; ++again) {
        EXPECT_EQ(bench.dlg.ProcessMessage(UM_WRITE_DATA), 0);
        ASSERT_TRUE(bench.AJobWasStarted());
        bench.EndJob();
        EXPECT_EQ(bench.catalog.Count(), 2u);
    }
    ASSERT_EQ(bench.view.Balloons().size(), balloons + 1) << "told once";
    EXPECT_EQ(bench.view.Balloons().back().text, u"no permission");
    for (int letter = kFirstLetterIndex; letter < kFirstLetterIndex + 2; ++letter) {
        bench.port.DriveAt(letter).opensForWriting = false;
        bench.port.DriveAt(letter).opensForReading = false;
    }
    EXPECT_EQ(bench.dlg.ProcessMessage(UM_WRITE_DATA), -1);
    const std::u16string reasons = u"no permission\n\nno permission\n\nno permission";
    EXPECT_EQ(bench.view.errors.back().first,
              u"No optical drive of your system can be used.\n\n" + reasons);
    DriveList none;
    EXPECT_EQ(NoDriveText(none), u"No optical drives found in your system.");
}

TEST(Quitting, EndsAJobThatAsksAndWaitsForItsEnd) {
    const struct {
        uint32_t message;
        uint32_t command;
        int code;
    } cases[] = {{1117, 0, 0}, {273, 1, 1}, {273, 2, 2}, {273, 32778, 0}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.command);
        const int32_t answer = test.message == UM_QUIT ? 1 : 0;
        DlgBench idle;
        EXPECT_EQ(idle.dlg.ProcessMessage(test.message, test.command), answer);
        EXPECT_EQ(idle.view.quits, std::vector<int>{test.code});
        EXPECT_EQ(idle.dlg.ProcessMessage(UM_ADD_PATH), 0) << "the queue is about to go";
        EXPECT_TRUE(idle.writer.IsQueueEmpty());

        CEvent asked(CEvent::Reset::Auto); // outlives the job's thread, which the bench joins
        DlgBench busy;
        busy.Queue(u"/a");
        busy.dlg.ProcessMessage(UM_WRITE_DATA);
        ASSERT_TRUE(busy.AJobWasStarted());
        busy.ui.onExit = [&] { asked.Set(); };
        bool cancelled = false;
        busy.view.onCancelQuestions = [&] { cancelled = true; };
        EXPECT_EQ(busy.dlg.ProcessMessage(test.message, test.command), answer);
        EXPECT_TRUE(cancelled) << "nobody has to answer the job's dialog";
        EXPECT_TRUE(busy.view.quits.empty()) << "not while the job runs";
        EXPECT_EQ(busy.dlg.ProcessMessage(UM_ADD_PATH), 0);
        EXPECT_EQ(busy.ui.Exits(), 0);
        busy.release.Set();
        ASSERT_TRUE(asked.Lock());
        EXPECT_EQ(busy.dlg.ProcessMessage(UM_QUERY_BUSY), 1);
        EXPECT_EQ(busy.dlg.ProcessMessage(UM_WRITE_DATA), -1) << "no other job comes in";
        busy.dlg.ProcessMessage(UM_QUIT); // what the request to exit amounts to
        EXPECT_EQ(busy.view.quits, std::vector<int>{test.code});
        EXPECT_EQ(busy.writer.Paths().size(), 1U);
    }
}

TEST(TrayClicks, OneIsTheSummaryTwoWriteThreeArmAgain) {
    DlgBench bench;
    bench.Queue(u"/a.mp3");
    bench.Summary();
    bench.dlg.OnTrayLeftClick();
    ASSERT_EQ(bench.view.clickTimerMs, 400U);
    bench.view.clickTick();
    EXPECT_EQ(bench.view.clickTimerMs, std::nullopt);
    ASSERT_EQ(bench.view.Balloons().size(), 2U) << "the loop runs before the measuring";
    bench.view.afterPainting();
    const auto balloons = bench.view.Balloons();
    ASSERT_EQ(balloons.size(), 3U); // the first one told of the first files
    EXPECT_EQ(balloons[1].text, u"Calculating...");
    EXPECT_EQ(balloons[1].title, u"");
    EXPECT_EQ(balloons[1].icon, BalloonIcon::None);
    EXPECT_EQ(balloons[1].timeoutMs, 60000U);
    EXPECT_EQ(balloons[2].text, bench.Summary());
    EXPECT_EQ(balloons[2].title, u"Queue files...");
    EXPECT_EQ(balloons[2].timeoutMs, 20000U);

    bench.view.doubleClickMs = 900;
    bench.dlg.OnTrayLeftClick();
    EXPECT_EQ(bench.view.clickTimerMs, 500U) << "never longer than half a second";
    bench.dlg.OnTrayLeftClick();
    EXPECT_EQ(bench.view.clickTimerMs, std::nullopt);
    EXPECT_TRUE(bench.AJobWasStarted());
    bench.dlg.OnTrayLeftClick();
    EXPECT_EQ(bench.view.clickTimerMs, 500U);
    bench.dlg.ProcessMessage(WM_TIMER);
    bench.dlg.ProcessMessage(WM_TIMER); // nothing waits any more
    bench.view.afterPainting();
    EXPECT_EQ(bench.view.Balloons().size(), 5U);
}

TEST(TrayClicks, TheMenuFollowsTheQueue) {
    DlgBench bench;
    bench.dlg.OnTrayRightClick();
    bench.writer.AddPath(u"/a.mp3");
    bench.dlg.OnTrayRightClick();
    bench.writer.AddPath(u"/b.txt");
    bench.dlg.OnTrayRightClick();
    ASSERT_EQ(bench.view.menus.size(), 3U);
    EXPECT_FALSE(bench.view.menus[0].bQueueHasItems);
    EXPECT_TRUE(bench.view.menus[1].bQueueHasItems);
    EXPECT_TRUE(bench.view.menus[1].bAllAudio);
    EXPECT_FALSE(bench.view.menus[2].bAllAudio);
    bench.view.menuCommand(CMD_WRITE_DATA);
    ASSERT_TRUE(bench.AJobWasStarted());
    bench.dlg.OnTrayRightClick();
    EXPECT_EQ(bench.view.menus.size(), 3U) << "not while a job runs";
}

} // namespace
} // namespace larkspin
