// The queue editor's window: long queues, changes underneath, removing.
#include "ui/qt/ui_bench.h"

#include <QCheckBox>
#include <QHeaderView>
#include <QMenu>
#include <QPushButton>
#include <QScrollBar>
#include <QTest>
#include <QTimer>
#include <QTreeView>

#include <gmock/gmock.h>

#include <algorithm>

namespace larkspin {
namespace {

using testing::ElementsAre;

constexpr int kMany = 10'000;

std::u16string PathOf(int number) {
    return u"/music/" + QString::number(100'000 + number).toStdU16String() + u".mp3";
}

// The longest time for which the main loop came to nothing else: what a user feels as a stutter.
class StallWatch {
  public:
    StallWatch() {
        m_timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer,
                         [this] { m_nLongestMs = std::max(m_nLongestMs, m_since.restart()); });
        m_since.start();
        m_timer.start(5);
    }
    qint64 LongestMs() const { return std::max(m_nLongestMs, m_since.elapsed()); }

  private:
    QTimer m_timer;
    QElapsedTimer m_since;
    qint64 m_nLongestMs = 0;
};

class QueueWindowTest : public UiBench {
  protected:
    QueueWindowTest() { SetQueue(0, kMany); }

    void SetQueue(int first, int last) {
        std::vector<std::u16string> paths;
        for (int i = first; i < last; ++i) {
            paths.push_back(PathOf(i));
        }
        queue.Set(std::move(paths));
    }
    void Open() {
        ui->ShowQueueEditor();
        list = Find<QTreeView>("1012");
        ASSERT_NE(list, nullptr);
        Pump([&] { return list->window()->isActiveWindow(); });
        EXPECT_TRUE(list->hasFocus());
    }
    std::u16string Text(int row, int column = 0) const {
        return list->model()->index(row, column).data().toString().toStdU16String();
    }
    std::vector<std::u16string> Selected() const {
        std::vector<std::u16string> paths;
        for (const QModelIndex& index : list->selectionModel()->selectedRows()) {
            paths.push_back(index.data().toString().toStdU16String());
        }
        std::sort(paths.begin(), paths.end());
        return paths;
    }
    void Select(int row) {
        list->selectionModel()->select(list->model()->index(row, 0),
                                       QItemSelectionModel::Select | QItemSelectionModel::Rows);
    }

    QTreeView* list = nullptr;
};

TEST_F(QueueWindowTest, ReadsOnlyWhatIsLookedAt) {
    Open();
    EXPECT_EQ(list->model()->rowCount(), kMany);
    list->window()->findChild<QCheckBox*>("1015")->setChecked(true);
    Pump([&] { return Text(0, 1) == u"2.00 kb"; });
    EXPECT_FALSE(Text(0, 2).empty());
    EXPECT_EQ(Text(kMany - 1, 1), u"") << "the window does not wait for the disk";
    list->scrollToBottom();
    Pump([&] { return Text(kMany - 1, 1) == u"2.00 kb"; });
    EXPECT_LT(files.statusCalls, 1000);
}

TEST_F(QueueWindowTest, LongQueuesDoNotHoldUpTheLoop) {
    // Far above what is usual (tens of milliseconds), so that a busy machine does not fail it; a
    // disk that is waited for, or a step whose cost grows with the square of the rows, takes
    // longer.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    constexpr qint64 kBoundMs = 5000;
#else
    constexpr qint64 kBoundMs = 1000;
#endif
    Open();
    list->window()->findChild<QCheckBox*>("1015")->setChecked(true);
    {
        const StallWatch watch;
        QScrollBar* bar = list->verticalScrollBar();
        while (bar->value() < bar->maximum()) {
            bar->triggerAction(QAbstractSlider::SliderPageStepAdd);
            PumpOnce();
        }
        Pump([&] { return !Text(kMany - 1, 1).empty(); });
        RecordProperty("LongestStallWhileScrollingMs", static_cast<int>(watch.LongestMs()));
        EXPECT_LT(watch.LongestMs(), kBoundMs);
    }
    list->selectAll();
    const StallWatch watch;
    for (const int added : {1, kMany - 1, kMany}) {
        auto adding = Job([&] {
            std::vector<std::u16string> paths = queue.Paths();
            paths.resize(kMany);
            for (int i = 0; i < added; ++i) { // between those that are selected
                paths.push_back(PathOf(i) + u".more");
            }
            queue.Set(std::move(paths));
            return true;
        });
        Finish(adding);
        Pump([&] { return list->model()->rowCount() == kMany + added; }); // by the window's timer
    }
    RecordProperty("LongestStallWhileAddingMs", static_cast<int>(watch.LongestMs()));
    EXPECT_LT(watch.LongestMs(), kBoundMs);
    EXPECT_EQ(list->selectionModel()->selection().size(), kMany); // ranges of one row each
}

TEST_F(QueueWindowTest, StylesShowTheirColumns) {
    Open();
    auto* report = list->window()->findChild<QCheckBox*>("1015");
    for (const bool on : {false, true, false}) {
        report->setChecked(on);
        EXPECT_EQ(list->isHeaderHidden(), !on);
        EXPECT_FALSE(list->isColumnHidden(0));
        for (int column = 1; column < 4; ++column) {
            EXPECT_EQ(list->isColumnHidden(column), !on);
        }
    }
}

TEST_F(QueueWindowTest, DatesAndSizesAreShownWholeInAnyFont) {
    Open();
    auto* report = list->window()->findChild<QCheckBox*>("1015");
    report->setChecked(true);
    Pump([&] { return !Text(0, 3).empty(); });
    const auto expectWhole = [&] {
        for (const int column : {1, 3}) {
            const QAbstractItemView* view = list;
            EXPECT_GE(list->columnWidth(column), view->sizeHintForColumn(column)) << column;
        }
    };
    QFont font = list->font();
    font.setPointSize(24);
    list->window()->setFont(font);
    expectWhole();
    report->setChecked(false);
    font.setPointSize(36);
    list->window()->setFont(font);
    report->setChecked(true);
    expectWhole();
    list->setColumnWidth(3, 900);
    list->window()->setFont(QFont());
    EXPECT_EQ(list->columnWidth(3), 900) << "what the user made wider stays so";
}

TEST_F(QueueWindowTest, SelectionAndPlaceStayWhenTheQueueChangesUnderneath) {
    Open();
    for (const int row : {4000, 4001, 4002, 5000}) {
        Select(row);
    }
    list->selectionModel()->setCurrentIndex(list->model()->index(4001, 0),
                                            QItemSelectionModel::NoUpdate);
    list->scrollTo(list->model()->index(3990, 0), QAbstractItemView::PositionAtTop);
    const auto top = [&] { return list->indexAt(QPoint(0, 0)).data().toString().toStdU16String(); };
    const std::u16string topBefore = top();

    std::vector<std::u16string> paths = {u"/a", u"/zz"};
    for (int i = 100; i < kMany; ++i) {
        if (i != 4001) {
            paths.push_back(PathOf(i));
        }
    }
    queue.Set(paths);
    Pump([&] { return Text(0) == u"/a"; }); // by the window's own timer
    EXPECT_THAT(Selected(), ElementsAre(PathOf(4000), PathOf(4002), PathOf(5000)))
        << "a neighbour of what is gone must not be selected";
    EXPECT_EQ(list->currentIndex().data().toString().toStdU16String(), PathOf(4002));
    EXPECT_EQ(top(), topBefore);

    queue.Set({});
    Pump([&] { return list->model()->rowCount() == 0; });
    EXPECT_TRUE(Selected().empty());
}

TEST_F(QueueWindowTest, RemovesByKeyButtonAndMenuWhatIsSelectedAndNothingElse) {
    SetQueue(0, 6);
    Open();
    auto* window = list->window();
    QTest::keyClick(list, Qt::Key_Delete); // nothing selected
    EXPECT_EQ(queue.Paths().size(), 6U);
    emit list->customContextMenuRequested(QPoint(5, 5));
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr) << "no menu without a selection";

    Select(1);
    Select(3);
    QTest::keyClick(list, Qt::Key_Delete);
    EXPECT_THAT(queue.Paths(), ElementsAre(PathOf(0), PathOf(2), PathOf(4), PathOf(5)));
    EXPECT_EQ(list->model()->rowCount(), 4);
    EXPECT_TRUE(Selected().empty());

    Select(3);
    window->findChild<QPushButton*>("1014")->click();
    EXPECT_THAT(queue.Paths(), ElementsAre(PathOf(0), PathOf(2), PathOf(4)));

    Select(0);
    emit list->customContextMenuRequested(QPoint(5, 5));
    auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    ASSERT_NE(menu, nullptr);
    menu->findChild<QAction*>("32779")->trigger();
    menu->close();
    EXPECT_THAT(queue.Paths(), ElementsAre(PathOf(2), PathOf(4)));
}

TEST_F(QueueWindowTest, TabGoesFromTheListDownToTheButtons) {
    SetQueue(0, 1);
    Open();
    EXPECT_THAT(TabStops(list), ElementsAre("1012 Queue", "1015 Show additional information",
                                            "1014 Delete selected", "2 Close", "tray Larkspin"));
}

TEST_F(QueueWindowTest, KeepsItsMinimumAndItsControlsInside) {
    Open();
    auto* window = list->window();
    window->resize(10, 10);
    EXPECT_GE(window->width(), 300);
    EXPECT_GE(window->height(), 200);
    for (const char* id : {"1012", "1013", "1014", "1015", "2"}) {
        const auto* control = window->findChild<QWidget*>(id);
        EXPECT_TRUE(window->rect().contains(control->geometry())) << id;
    }
    auto* grip = window->findChild<QWidget*>("1013");
    window->showMaximized();
    Pump([&] { return !grip->isVisible(); });
    window->showNormal();
    Pump([&] { return grip->isVisible(); });
}

TEST_F(QueueWindowTest, WhereItStandsInForTheTrayItIsNeverOutOfReach) {
    Open();
    auto* window = list->window();
    window->findChild<QPushButton*>("2")->click();
    EXPECT_TRUE(window->isVisible());
    EXPECT_TRUE(window->isMinimized());
    ui->ShowQueueEditor();
    EXPECT_FALSE(window->isMinimized());
    auto job = Job([&] {
        ui->HideQueueDialog(); // a job hides the editor, but not the program's only window
        ui->RequestExit();
        return true;
    });
    Finish(job);
    Pump([&] { return quits == 1; });
    EXPECT_TRUE(window->isVisible());
}

} // namespace
} // namespace larkspin
