// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Progress windows and tray during a job. Without a tray on the desktop, as here, the queue window
// stands in for the icon.
#include "ui/progress_dialog.h"
#include "ui/qt/ui_bench.h"

#include <QLabel>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QToolButton>

#include <gmock/gmock.h>

namespace larkspin {
namespace {

using testing::ElementsAre;

class RunningJobTest : public UiBench {
  protected:
    static QMessageBox* Question() { return Box("You are writing CD-RW."); }
    static void AwaitAnswers() {
        Pump([] { return Question()->button(QMessageBox::Yes)->isEnabled(); });
    }
    // What a right click on the icon shows.
    std::vector<uint32_t> MenuCommands() {
        QMenu* menu = Find<QToolButton>("tray")->menu();
        emit menu->aboutToShow();
        std::vector<uint32_t> commands;
        for (const QAction* action : menu->actions()) {
            if (!action->isSeparator() && action->isEnabled()) {
                commands.push_back(action->objectName().toUInt());
            }
        }
        return commands;
    }
    void Choose(uint32_t command) {
        Find<QToolButton>("tray")->menu()->findChild<QAction*>(QString::number(command))->trigger();
    }
};

TEST_F(RunningJobTest, BarStatusAndClockFollowTheJob) {
    const QString longStatus = QString("<i>/home/somebody/%1</i>").arg("Music/", 400, QChar('x'));
    RunJob([&] {
        ui->StartDataProgress(0x0A);
        for (int i = 0; i <= 1000; ++i) {
            ui->SetStatus(JobKind::Data, longStatus.toStdU16String());
            ui->SetProgress(JobKind::Data, i / 20);
        }
    });
    auto* bar = Find<QProgressBar>("1000");
    ASSERT_NE(bar, nullptr);
    EXPECT_EQ(bar->value(), 50);
    RunJob([&] { ui->SetProgress(JobKind::Data, 51); });
    EXPECT_EQ(bar->value(), 51);
    auto* status = Find<QLabel>("1009");
    EXPECT_EQ(status->accessibleName(), longStatus);
    EXPECT_NE(status->text(), longStatus) << "a long text does not widen the window";
    status->window()->resize(6000, 300);
    EXPECT_EQ(status->text(), longStatus);
    clock.Advance(65'000);
    Pump([&] { return Find<QLabel>("1016")->text() == "Elapsed time: 1:05"; });

    RunJob([&] {
        ui->StopDataProgress();
        ui->StartEraseProgress();
        ui->StepEraseProgress();
    });
    EXPECT_FALSE(bar->isVisible());
    EXPECT_EQ(Find<QLabel>("1009")->accessibleName(), "Erasing disk...");
    EXPECT_EQ(Find<QProgressBar>("1000")->value(), 1);
}

TEST_F(RunningJobTest, CancelAsksAndOnlyYesCancels) {
    RunJob([&] { ui->StartAudioProgress(0x0A); });
    auto* cancel = Await<QProgressBar>("1000")->window()->findChild<QPushButton*>("2");
    ASSERT_NE(cancel, nullptr);

    QTest::keyClick(cancel->window(), Qt::Key_Escape);
    ASSERT_NE(Question(), nullptr);
    EXPECT_TRUE(cancel->isVisible()) << "the window stays until the job ends it";
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Space, Qt::Key_Y, Qt::Key_Escape}) {
        QTest::keyClick(Question(), key, key == Qt::Key_Y ? Qt::AltModifier : Qt::NoModifier);
    }
    QTest::mouseClick(Question()->button(QMessageBox::Yes), Qt::LeftButton);
    ASSERT_NE(Question(), nullptr) << "nobody can have read it yet";
    AwaitAnswers();
    QTest::keyClick(Question(), Qt::Key_Return); // the default answer keeps the disc
    EXPECT_EQ(Question(), nullptr);
    EXPECT_FALSE(ui->IsAudioCancelled());

    QTest::mouseClick(cancel, Qt::LeftButton);
    QTest::mouseClick(cancel, Qt::LeftButton); // one question at a time
    AwaitAnswers();
    Question()->button(QMessageBox::Yes)->click();
    EXPECT_EQ(Question(), nullptr);
    EXPECT_TRUE(ui->IsAudioCancelled());
    EXPECT_FALSE(ui->IsDataCancelled());

    cancel->window()->close();
    EXPECT_TRUE(cancel->isVisible());
    EXPECT_EQ(Question(), nullptr) << "what is cancelled is not asked again";
    RunJob([&] { ui->StopAudioProgress(); });
    EXPECT_TRUE(ui->IsAudioCancelled()) << "the job may look at it after the end of its dialog";

    RunJob([&] { ui->StartAudioProgress(0x0A); });
    EXPECT_FALSE(ui->IsAudioCancelled());
    cancel->window()->close();
    ASSERT_NE(Question(), nullptr);
    RunJob([&] { ui->StopAudioProgress(); });
    EXPECT_EQ(Question(), nullptr) << "the job's end answers the question";
    EXPECT_FALSE(ui->IsAudioCancelled());
}

TEST_F(RunningJobTest, TrayOffersTheMenuOfWhatIsGoingOn) {
    std::vector<uint32_t> chosen;
    int leftClicks = 0;
    IdleMenuState idle = {true, false};
    ui->SetIdleTrayCallbacks(
        [&] { ++leftClicks; },
        [&] { ui->TrackIdleMenu(idle, [&](uint32_t command) { chosen.push_back(command); }); });
    EXPECT_THAT(MenuCommands(),
                ElementsAre(CMD_WRITE_DATA, CMD_EDIT_QUEUE, CMD_CLEAR_QUEUE, CMD_EXIT));
    Choose(CMD_CLEAR_QUEUE);
    EXPECT_THAT(chosen, ElementsAre(CMD_CLEAR_QUEUE));
    auto* tray = Find<QToolButton>("tray");
    QTest::mouseClick(tray, Qt::LeftButton);
    QTest::mouseClick(tray, Qt::LeftButton);
    EXPECT_EQ(leftClicks, 2);

    std::unique_ptr<TrayCallbackGuard> guard;
    RunJob([&] {
        ui->StartEraseProgress();
        guard = std::make_unique<TrayCallbackGuard>(*ui, JobKind::Erase);
        ui->SetProgress(JobKind::Erase, 12);
    });
    EXPECT_THAT(MenuCommands(), ElementsAre(CMD_HIDE, CMD_CANCEL));
    QTest::mouseClick(tray, Qt::LeftButton);
    EXPECT_EQ(leftClicks, 2);
    EXPECT_EQ(Find<QLabel>("notice")->text(), "Erasing...\n12% complete");
    RunJob([&] { ui->SetNoProgressReport(true); });
    QTest::mouseClick(tray, Qt::LeftButton);
    EXPECT_EQ(Find<QLabel>("notice")->text(),
              "Erasing...\nDrive doesn't report operation progress");

    Choose(CMD_HIDE);
    EXPECT_EQ(Find<QProgressBar>("1000"), nullptr);
    EXPECT_THAT(MenuCommands(), ElementsAre(CMD_SHOW, CMD_CANCEL));
    Choose(CMD_SHOW);
    EXPECT_NE(Find<QProgressBar>("1000"), nullptr);
    EXPECT_THAT(MenuCommands(), ElementsAre(CMD_HIDE, CMD_CANCEL));

    Choose(CMD_HIDE);
    RunJob([&] { ui->StopEraseProgress(); });
    Choose(CMD_SHOW); // in a menu that was open when the job ended
    Choose(CMD_CANCEL);
    EXPECT_EQ(Find<QProgressBar>("1000"), nullptr);
    EXPECT_EQ(Box("Are you sure?"), nullptr);

    RunJob([&] { guard.reset(); });
    idle = {};
    EXPECT_THAT(MenuCommands(), ElementsAre(CMD_EXIT));
}

TEST_F(RunningJobTest, AnimationChangesThePictureAndEndsWhereItBegan) {
    auto* tray = Find<QToolButton>("tray");
    const auto picture = [&] { return tray->icon().pixmap(32, 32).toImage(); };
    const QImage rest = picture();
    RunJob([&] { ui->StartTrayAnimation(); });
    Pump([&] { return picture() != rest; });
    RunJob([&] { ui->StopTrayAnimation(); });
    EXPECT_EQ(picture(), rest);
}

TEST_F(RunningJobTest, BalloonsMayComeFromAnyThread) {
    RunJob([&] { ui->ShowBalloon(u"text & <more>", u"B", BalloonIcon::Error, 60'000); });
    EXPECT_EQ(Find<QLabel>("notice")->text(), "B\ntext & <more>");
    ui->ShowBalloon(u"at once", u"", BalloonIcon::None, 60'000);
    EXPECT_EQ(Find<QLabel>("notice")->text(), "at once");
}

TEST_F(RunningJobTest, ClickTimerTicksUntilKilled) {
    int ticks = 0;
    ui->StartClickTimer(1, [&] {
        if (++ticks == 3) {
            ui->KillClickTimer();
        }
    });
    Pump([&] { return ticks >= 3; });
    EXPECT_GT(ui->DoubleClickTimeMs(), 0U);
}

} // namespace
} // namespace larkspin
