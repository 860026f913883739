// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The parameter dialogs and message boxes as a job and its user meet them.
#include "ui/qt/ui_bench.h"

#include "platform/settings_store.h"

#include <QAbstractEventDispatcher>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>

#include <functional>

namespace larkspin {
namespace {

class DialogsTest : public UiBench {
  protected:
    static QPushButton* Button(QWidget* control, const char* id) {
        return control->window()->findChild<QPushButton*>(QString::fromLatin1(id));
    }
    QMessageBox* AwaitBox(const QString& text) {
        Pump([&] { return Box(text) != nullptr; });
        return Box(text);
    }
};

TEST_F(DialogsTest, ReturnAcceptsTheDataDialogAsItOpens) {
    std::thread::id jobThread;
    auto job = Job([&] {
        jobThread = std::this_thread::get_id();
        return ui->ShowDataParameters(kCalculating, true);
    });
    auto* title = Await<QLineEdit>("1011");
    ASSERT_NE(title, nullptr);
    const QString date = title->text();
    EXPECT_EQ(date.toStdU16String(), FormatDayMonthYear(clock.Now()));
    EXPECT_EQ(title->selectedText(), date) << "typing replaces the date";
    EXPECT_EQ(Find<QComboBox>("1003")->currentText(), "FIRST DRIVE (sr0)");
    EXPECT_EQ(Find<QComboBox>("1004")->currentText(), "Max");
    queue.header = u"head <b>line</b>";
    Pump([&] { return Find<QLabel>("1016")->text() == "head <b>line</b>"; });

    QTest::keyClick(title, Qt::Key_Return);
    const DataParametersResult result = Finish(job);
    EXPECT_FALSE(result.bCancelled);
    EXPECT_EQ(result.nDriveIndex, 0U);
    EXPECT_EQ(result.dSpeed, 8.0);
    EXPECT_EQ(result.strTitle, date.toStdU16String());
    EXPECT_TRUE(result.bVerify) << "as it was to start with";
    EXPECT_EQ(store.ReadText(kTitlesKey, "0"), result.strTitle);
    EXPECT_EQ(drives.askers, std::vector{jobThread});
    EXPECT_EQ(Find<QLineEdit>("1011"), nullptr);
}

TEST_F(DialogsTest, AnotherDriveIsAskedForItsSpeedsOnTheJobsThread) {
    std::thread::id jobThread;
    const auto show = [&] {
        jobThread = std::this_thread::get_id();
        return ui->ShowImageParameters(u"", true);
    };
    auto job = Job(show);
    auto* drive = Await<QComboBox>("1003");
    EXPECT_EQ(drive->itemText(0), "FIRST  DRIVE (sr0)") << "with its blanks, as data alone has not";
    auto* speed = Find<QComboBox>("1004");
    speed->setCurrentIndex(2);
    drive->setCurrentIndex(1);
    EXPECT_EQ(speed->currentText(), "Max");
    Pump([&] { return speed->count() == 3; });
    EXPECT_EQ(speed->itemText(1), "2.4x");
    EXPECT_EQ(speed->currentIndex(), 0);
    speed->setCurrentIndex(2);
    Find<QCheckBox>("1020")->click();
    QTest::mouseClick(Button(drive, "1"), Qt::LeftButton);
    CopyParametersResult result = Finish(job);
    EXPECT_FALSE(result.bVerify);
    EXPECT_EQ(result.nDriveIndex, 1U);
    EXPECT_EQ(result.dSpeed, 1.0);
    EXPECT_EQ(drives.askers, (std::vector{jobThread, jobThread}));

    job = Job(show);
    drive = Await<QComboBox>("1003");
    drive->setCurrentIndex(1);
    QTest::mouseClick(Button(drive, "1"), Qt::LeftButton); // before any answer can have come
    result = Finish(job);
    EXPECT_EQ(result.nDriveIndex, 1U);
    EXPECT_EQ(result.dSpeed, 2.4) << "the first speed of the drive that was chosen last";
}

TEST_F(DialogsTest, TypedCopiesPassThroughAndArrowsKeepTheirLimits) {
    const auto expect = [this](const char* keys, int steps, uint32_t expected) {
        auto job = Job([&] { return ui->ShowAudioParameters(u"", true); });
        auto* copies = Await<QSpinBox>("1006");
        auto* edit = copies->findChild<QLineEdit*>("1005");
        ASSERT_NE(edit, nullptr);
        EXPECT_EQ(edit->text(), "1");
        if (*keys != '\0') {
            edit->selectAll();
            QTest::keyClicks(edit, keys);
            QTest::keyClick(edit, Qt::Key_Tab); // leaving the field must not change it
        }
        if (steps != 0) {
            copies->stepBy(steps);
        }
        QTest::mouseClick(Button(copies, "1"), Qt::LeftButton);
        EXPECT_EQ(Finish(job).nCopies, expected) << keys << " " << steps;
    };
    expect("", 0, 1);
    expect("33", 0, 33);
    expect("0", 0, 0);
    expect("abc", 0, 0);
    expect("000000000000001234", 0, 1); // fifteen characters count
    expect("33", 1, 20);
    expect("20", 1, 20);
    expect("5", -9, 1);
    expect("", 1, 2);
}

TEST_F(DialogsTest, TabVisitsEveryControlAndEachHasAName) {
    using Stops = std::vector<std::string>;
    // The control called `focus` has the focus as the dialog opens.
    const auto expect = [](const std::function<void()>& show, const char* focus,
                           const Stops& stops) {
        auto job = Job(show);
        auto* first = Await<QWidget>(focus);
        EXPECT_EQ(first->window()->focusWidget(), first);
        EXPECT_EQ(TabStops(first), stops);
        // Desktops differ in the keys that press a button; no frame keeps them from the default
        // one. Here Select is such a key, elsewhere it may be Return.
        for (QGroupBox* frame : first->window()->findChildren<QGroupBox*>()) {
            QKeyEvent key(QEvent::KeyPress, Qt::Key_Select, Qt::NoModifier);
            QApplication::sendEvent(frame, &key);
            EXPECT_FALSE(key.isAccepted()) << frame->title().toStdString();
        }
        // Made as small as it gets, it still shows its controls whole.
        first->window()->resize(1, 1);
        for (const std::string& stop : stops) {
            const QString id = QString::fromStdString(stop.substr(0, stop.find(' ')));
            const auto* control = first->window()->findChild<QWidget*>(id);
            EXPECT_GE(control->width(), control->minimumSizeHint().width()) << stop;
        }
        first->window()->close();
        Finish(job);
    };
    expect([&] { ui->ShowDataParameters(u"", true); }, "1011",
           {"1011 Disk title", "1003 Drive", "1004 Speed", "1020 Verify", "1 OK", "2 Cancel"});
    const Stops copies = {"1003 Drive",  "1006 Copies", "1004 Speed",
                          "1020 Verify", "1 OK",        "2 Cancel"};
    expect([&] { ui->ShowAudioParameters(u"", true); }, "1003", copies);
    expect([&] { ui->ShowImageParameters(u"", true); }, "1003", copies);
    expect([&] { ui->ShowEraseType({4}); }, "1001",
           {"1001 Quick erase (quickly clean the disk)", "1004 Speed", "1 OK", "2 Cancel"});
}

TEST_F(DialogsTest, EraseDialogOffersQuickFirst) {
    for (const EraseMode mode : {EraseMode::Quick, EraseMode::Full}) {
        auto job = Job([&] { return ui->ShowEraseType({10, 4}); });
        auto* quick = Await<QRadioButton>("1001");
        EXPECT_TRUE(quick->isChecked());
        if (mode == EraseMode::Full) {
            Find<QRadioButton>("1002")->click();
        }
        Find<QComboBox>("1004")->setCurrentIndex(2);
        QTest::keyClick(quick, Qt::Key_Return);
        const EraseTypeResult result = Finish(job);
        EXPECT_EQ(result.mode, mode);
        EXPECT_EQ(result.dSpeed, 4.0);
    }
}

TEST_F(DialogsTest, EveryWayOutCancels) {
    const std::vector<std::function<void(QWidget*)>> waysOut = {
        [](QWidget* control) { QTest::keyClick(control, Qt::Key_Escape); },
        [](QWidget* control) { QTest::mouseClick(Button(control, "2"), Qt::LeftButton); },
        [](QWidget* control) { control->window()->close(); },
    };
    for (const auto& leave : waysOut) {
        auto job = Job([&] { return ui->ShowDataParameters(u"", true); });
        leave(Await<QLineEdit>("1011"));
        EXPECT_TRUE(Finish(job).bCancelled);
    }
    EXPECT_FALSE(store.ReadText(kTitlesKey, "0"));
}

TEST_F(DialogsTest, SeveralBoxesAreAnsweredInAnyOrder) {
    auto first = Job([&] { return ui->AskUser(u"first", u"t", BoxButtons::YesNo, BoxIcon::None); });
    auto second =
        Job([&] { return ui->AskUser(u"second", u"t", BoxButtons::OkCancel, BoxIcon::Question); });
    auto third = Job([&] { ui->ShowMessage(u"third" + std::u16string(300, u'\n')); });
    QMessageBox* firstBox = AwaitBox("first");
    QMessageBox* secondBox = AwaitBox("second");
    QMessageBox* thirdBox = AwaitBox("third");
    ui->ShowErrorBox(u"Disk operation in progress.", u"Larkspin");
    QMessageBox* errorBox = AwaitBox("Disk operation in progress.");
    EXPECT_EQ(errorBox->icon(), QMessageBox::Critical);
    EXPECT_EQ(thirdBox->windowTitle(), "Larkspin 1.4");
    EXPECT_EQ(thirdBox->standardButtons(), QMessageBox::Ok);

    QTest::keyClick(secondBox, Qt::Key_Return);
    EXPECT_TRUE(Finish(second));
    firstBox->close();
    EXPECT_FALSE(Finish(first));
    EXPECT_TRUE(thirdBox->isVisible());
    EXPECT_LT(thirdBox->height(), thirdBox->screen()->availableGeometry().height());
    thirdBox->close();
    Finish(third);
    EXPECT_TRUE(errorBox->isVisible());
}

TEST_F(DialogsTest, ReleaseEndsEveryWaitWithTheCancelledAnswer) {
    auto dialog = Job([&] { return ui->ShowDataParameters(u"", true); });
    Await<QLineEdit>("1011");
    auto box = Job([&] { return ui->AskUser(u"box", u"t", BoxButtons::Ok, BoxIcon::None); });
    AwaitBox("box");
    auto neverShown = Job([&] { return ui->ShowEraseType({}); });
    ui->Quit(0); // ends them, without the loop's help
    EXPECT_TRUE(dialog.get().bCancelled);
    EXPECT_FALSE(box.get());
    EXPECT_EQ(neverShown.get().mode, EraseMode::Cancelled);
    EXPECT_TRUE(ui->ShowAudioParameters(u"", true).bCancelled) << "and no wait begins any more";
    Find<QLineEdit>("1011")->window()->close(); // an answer that nobody waits for does no harm
    ui.reset();
    EXPECT_EQ(Find<QLineEdit>("1011"), nullptr);
}

// The timers of a minute run out: single shots are children of the event dispatcher.
void AMinutePasses() {
    auto* dispatcher = QAbstractEventDispatcher::instance();
    for (QObject* object : dispatcher->children()) {
        for (const auto& timer : dispatcher->registeredTimers(object)) {
            if (timer.interval == 60'000) {
                QTimerEvent event(timer.timerId);
                QCoreApplication::sendEvent(object, &event);
            }
        }
    }
}

// The program is to leave, but its job has to end first.
TEST_F(DialogsTest, CancelledQuestionsEndAndNoOtherComesUp) {
    const auto ask = [this](const char16_t* text, BoxButtons buttons) {
        return Job(
            [this, text, buttons] { return ui->AskUser(text, u"t", buttons, BoxIcon::None); });
    };
    auto dialog = Job([&] { return ui->ShowDataParameters(u"", true); });
    Await<QLineEdit>("1011");
    auto question = ask(u"yes?", BoxButtons::YesNo);
    auto told = ask(u"told", BoxButtons::Ok);
    AwaitBox("yes?");
    AwaitBox("told");
    ui->CancelQuestions();
    EXPECT_TRUE(Finish(dialog).bCancelled);
    EXPECT_FALSE(Finish(question));
    EXPECT_FALSE(Finish(told));

    EXPECT_EQ(Finish(Job([&] { return ui->ShowEraseType({}); })).mode, EraseMode::Cancelled);
    EXPECT_FALSE(Finish(ask(u"ok?", BoxButtons::OkCancel)));
    // What became of a disc is still told, for a while.
    auto read = ask(u"read", BoxButtons::Ok);
    QTest::keyClick(AwaitBox("read"), Qt::Key_Return);
    EXPECT_TRUE(Finish(read));
    auto unread = ask(u"unread", BoxButtons::Ok);
    AwaitBox("unread");
    ui->CancelQuestions();
    EXPECT_FALSE(Finish(unread));
    auto unseen = ask(u"unseen", BoxButtons::Ok);
    AwaitBox("unseen");
    AMinutePasses();
    EXPECT_FALSE(Finish(unseen));
}

} // namespace
} // namespace larkspin
