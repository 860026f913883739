// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The queue editor's window: long queues, changes underneath, removing.
#include "platform/text.h"
#include "ui/qt/ui_bench.h"

#include <QCheckBox>
#include <QDropEvent>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QScrollBar>
#include <QTreeView>
#include <QUrl>

#include <gmock/gmock.h>

#include <algorithm>
#include <ctime>

namespace larkspin {
namespace {

using testing::ElementsAre;

constexpr int kMany = 10'000;

std::u16string PathOf(int number) {
    return u"/music/" + QString::number(100'000 + number).toStdU16String() + u".mp3";
}

// What this thread has worked so far. Unlike the time of day it does not depend on what else the
// machine does.
int64_t WorkedMs() {
    timespec time = {};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1'000'000;
}

class QueueWindowTest : public UiBench {
  protected:
    // Opens on the first `count` paths.
    void Open(int count) {
        for (int i = 0; i < count; ++i) {
            paths.push_back(PathOf(i));
        }
        queue.Set(paths);
        ui->ShowQueueEditor();
        list = Await<QTreeView>("1012");
        ASSERT_NE(list, nullptr);
        window = list->window();
        report = window->findChild<QCheckBox*>("1015");
        EXPECT_TRUE(list->hasFocus());
    }
    std::u16string Text(int row, int column = 0) const {
        return list->model()->index(row, column).data().toString().toStdU16String();
    }
    std::vector<std::u16string> Selected() const {
        std::vector<std::u16string> selected;
        for (const QModelIndex& index : list->selectionModel()->selectedRows()) {
            selected.push_back(Text(index.row()));
        }
        std::sort(selected.begin(), selected.end());
        return selected;
    }
    void Select(int row) {
        list->selectionModel()->select(list->model()->index(row, 0),
                                       QItemSelectionModel::Select | QItemSelectionModel::Rows);
    }

    std::vector<std::u16string> paths;
    QTreeView* list = nullptr;
    QWidget* window = nullptr;
    QCheckBox* report = nullptr;
};

TEST_F(QueueWindowTest, LongQueuesAreReadWhereTheyAreLookedAtAndDoNotHoldUpTheLoop) {
    // Far above what is usual (tens of milliseconds); a step whose cost grows with the square of
    // the rows takes longer.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    constexpr int64_t kBoundMs = 5000;
#else
    constexpr int64_t kBoundMs = 1000;
#endif
    Open(kMany);
    EXPECT_EQ(list->model()->rowCount(), kMany);
    report->setChecked(true);
    Pump([&] { return Text(0, 1) == u"2.00 kb"; });
    EXPECT_FALSE(Text(0, 2).empty());
    EXPECT_EQ(Text(kMany - 1, 1), u"") << "the window does not wait for the disk";
    list->scrollToBottom();
    Pump([&] { return Text(kMany - 1, 1) == u"2.00 kb"; });
    EXPECT_LT(files.statusCalls, 1000);

    list->selectAll();
    for (const int added : {1, kMany - 1, kMany}) {
        std::vector<std::u16string> more = paths;
        for (int i = 0; i < added; ++i) { // between those that are selected
            more.push_back(PathOf(i) + u".more");
        }
        queue.Set(std::move(more));
        Pump([&] { // by the window's timer
            const int64_t before = WorkedMs();
            PumpOnce();
            EXPECT_LT(WorkedMs() - before, kBoundMs);
            return list->model()->rowCount() == kMany + added;
        });
    }
    EXPECT_EQ(list->selectionModel()->selection().size(), kMany); // ranges of one row each
}

TEST_F(QueueWindowTest, ColumnsFollowStyleWidthAndFont) {
    Open(200);
    const auto expectWhole = [&] {
        for (const int column : {1, 3}) { // a size or a date that is cut off says nothing
            const QAbstractItemView* view = list;
            EXPECT_GE(list->columnWidth(column), view->sizeHintForColumn(column)) << column;
        }
    };
    for (const bool on : {false, true, false, true}) {
        report->setChecked(on);
        EXPECT_EQ(list->isHeaderHidden(), !on);
        for (int column = 0; column < 4; ++column) {
            EXPECT_EQ(list->isColumnHidden(column), column > 0 && !on);
        }
    }
    Pump([&] { return !Text(0, 3).empty(); });
    EXPECT_EQ(list->columnWidth(0), 250);
    const auto expectFilled = [&] {
        EXPECT_EQ(list->header()->length(), list->viewport()->width());
    };
    for (const int width : {1200, 900}) {
        window->resize(width, 400);
        expectFilled();
    }
    queue.Set({u"/a"}); // the scroll bar goes
    Pump([&] { return list->model()->rowCount() == 1 && !list->verticalScrollBar()->isVisible(); });
    expectFilled();
    list->setColumnWidth(3, 900);
    window->resize(1000, 400);
    EXPECT_EQ(list->columnWidth(3), 900) << "what the user made wider stays so";
    window->resize(500, 400);
    EXPECT_GE(list->columnWidth(0), 250);

    QFont font = list->font();
    font.setPointSize(24);
    window->setFont(font);
    expectWhole();
    report->setChecked(false);
    font.setPointSize(36);
    window->setFont(font);
    report->setChecked(true);
    expectWhole();
}

TEST_F(QueueWindowTest, SelectionAndPlaceStayWhenTheQueueChangesUnderneath) {
    Open(kMany);
    for (const int row : {4000, 4001, 4002, 5000}) {
        Select(row);
    }
    list->selectionModel()->setCurrentIndex(list->model()->index(4001, 0),
                                            QItemSelectionModel::NoUpdate);
    list->scrollTo(list->model()->index(3990, 0), QAbstractItemView::PositionAtTop);

    paths.erase(paths.begin() + 4001);
    paths.erase(paths.begin(), paths.begin() + 100);
    paths.insert(paths.end(), {u"/a", u"/zz"});
    queue.Set(paths);
    Pump([&] { return Text(0) == u"/a"; }); // by the window's own timer
    EXPECT_THAT(Selected(), ElementsAre(PathOf(4000), PathOf(4002), PathOf(5000)))
        << "a neighbour of what is gone must not be selected";
    EXPECT_EQ(Text(list->currentIndex().row()), PathOf(4002));
    EXPECT_EQ(Text(list->indexAt(QPoint(0, 0)).row()), PathOf(3990));

    queue.Set({});
    Pump([&] { return list->model()->rowCount() == 0; });
    EXPECT_TRUE(Selected().empty());
}

TEST_F(QueueWindowTest, RemovesByKeyButtonAndMenuWhatIsSelectedAndNothingElse) {
    Open(6);
    auto* remove = window->findChild<QPushButton*>("1014");
    EXPECT_FALSE(remove->isEnabled());
    QTest::keyClick(list, Qt::Key_Delete); // nothing selected
    EXPECT_EQ(queue.Paths().size(), 6U);
    emit list->customContextMenuRequested(QPoint(5, 5));
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr) << "no menu without a selection";

    Select(1);
    Select(3);
    list->setCurrentIndex(list->model()->index(3, 0));
    Select(1);
    QTest::keyClick(list, Qt::Key_Delete);
    EXPECT_THAT(queue.Paths(), ElementsAre(PathOf(0), PathOf(2), PathOf(4), PathOf(5)));
    EXPECT_EQ(list->model()->rowCount(), 4);
    EXPECT_THAT(Selected(), ElementsAre(PathOf(4))) << "what follows is next";

    list->setCurrentIndex(list->model()->index(3, 0));
    remove->click();
    EXPECT_THAT(queue.Paths(), ElementsAre(PathOf(0), PathOf(2), PathOf(4)));

    list->setCurrentIndex(list->model()->index(0, 0));
    emit list->customContextMenuRequested(QPoint(5, 5));
    auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    ASSERT_NE(menu, nullptr);
    menu->findChild<QAction*>("32779")->trigger();
    menu->close();
    EXPECT_THAT(queue.Paths(), ElementsAre(PathOf(2), PathOf(4)));
}

TEST_F(QueueWindowTest, TracksAreMovedByKeysAndByDragging) {
    constexpr int kTrack = 4;
    queue.bAllAudio = true;
    paths = {u"/c.mp3", u"/a.mp3"};
    Open(0);
    EXPECT_EQ(window->findChild<QLabel*>("1022")->text(), "total\ndiscs");
    EXPECT_FALSE(list->isColumnHidden(kTrack));
    EXPECT_EQ(Text(0), u"/a.mp3") << "by name at first";
    EXPECT_EQ(Text(0, kTrack), u"2");
    queue.Set({u"/c.mp3", u"/a.mp3", u"/d.mp3", u"/b.mp3"});
    Pump([&] { return list->model()->rowCount() == 4; });

    emit list->header()->sectionClicked(kTrack);
    EXPECT_EQ(Text(0), u"/c.mp3");
    list->setCurrentIndex(list->model()->index(1, 0));
    Select(2);
    QTest::keyClick(list, Qt::Key_Down, Qt::AltModifier);
    EXPECT_THAT(queue.Paths(), ElementsAre(u"/c.mp3", u"/b.mp3", u"/a.mp3", u"/d.mp3"));
    EXPECT_THAT(Selected(), ElementsAre(u"/a.mp3", u"/d.mp3")) << "they can be moved on";
    QTest::keyClick(list, Qt::Key_Down, Qt::AltModifier);
    EXPECT_EQ(Text(3), u"/d.mp3") << "there is nothing behind";
    QTest::keyClick(list, Qt::Key_Up, Qt::AltModifier);
    QTest::keyClick(list, Qt::Key_Up, Qt::AltModifier);
    QTest::keyClick(list, Qt::Key_Up, Qt::AltModifier);
    EXPECT_THAT(queue.Paths(), ElementsAre(u"/a.mp3", u"/d.mp3", u"/c.mp3", u"/b.mp3"));

    QAbstractItemModel* model = list->model();
    const auto drag = [&](int row, int to) {
        const std::unique_ptr<QMimeData> data(
            model->mimeData({model->index(row, 0), model->index(row, kTrack)}));
        EXPECT_TRUE(model->dropMimeData(data.get(), Qt::MoveAction, to, 0, {}));
        PumpOnce();
    };
    drag(3, 0);
    EXPECT_EQ(Text(0), u"/b.mp3");
    drag(1, -1);
    EXPECT_THAT(queue.Paths(), ElementsAre(u"/b.mp3", u"/d.mp3", u"/c.mp3", u"/a.mp3"));

    emit list->header()->sectionClicked(0);
    EXPECT_EQ(Text(0), u"/a.mp3");
    EXPECT_FALSE(model->flags(model->index(0, 0)).testFlag(Qt::ItemIsDragEnabled));
    queue.bAllAudio = false;
    queue.Set({u"/c.mp3", u"/a"});
    Pump([&] { return list->isColumnHidden(kTrack); });
    EXPECT_TRUE(list->isHeaderHidden());
}

TEST_F(QueueWindowTest, KeepsItsMinimumAndAllItsControlsInReach) {
    Open(1);
    EXPECT_THAT(TabStops(list),
                ElementsAre("1012 Files and folders to be written",
                            "1015 Show additional information", "2 Close", "tray Larkspin"));
    window->resize(10, 10);
    queue.discs = u"Disc in sr0: DVD+R, 4.38 Gb free. The queue does not fit.\nDisc in sr1: BD-R";
    const auto* total = window->findChild<QLabel*>("1022");
    Pump([&] { return total->text().contains("sr1"); });
    EXPECT_EQ(total->height(), total->heightForWidth(total->width())) << "no line is cut off";
    EXPECT_GT(total->height(), total->fontMetrics().lineSpacing() * 3) << "one of them is wrapped";
    EXPECT_GE(window->width(), 300);
    EXPECT_GE(window->height(), 200);
    for (const char* id : {"1012", "1013", "1014", "1015", "1022", "2"}) {
        const auto* control = window->findChild<QWidget*>(id);
        EXPECT_TRUE(window->rect().contains(control->geometry())) << id;
    }
}

TEST_F(QueueWindowTest, WhereItStandsInForTheTrayItIsNeverOutOfReach) {
    Open(1);
    window->findChild<QPushButton*>("2")->click();
    EXPECT_TRUE(window->isVisible());
    EXPECT_TRUE(window->isMinimized());
    ui->ShowQueueEditor();
    EXPECT_FALSE(window->isMinimized());
    RunJob([&] { ui->HideQueueDialog(); }); // hides the editor, but not the program's only window
    EXPECT_TRUE(window->isVisible());

    // The buttons follow the icon's menu.
    uint32_t chosen = 0;
    ui->SetIdleTrayCallbacks([] {},
                             [&] {
                                 ui->TrackIdleMenu({.bQueueHasItems = true},
                                                   [&](uint32_t command) { chosen = command; });
                             });
    auto* write = window->findChild<QPushButton*>(QString::number(CMD_WRITE_DATA));
    Pump([&] { return write->isEnabled(); });
    EXPECT_FALSE(window->findChild<QPushButton*>(QString::number(CMD_WRITE_AUDIO))->isEnabled());
    write->click();
    EXPECT_EQ(chosen, uint32_t{CMD_WRITE_DATA});

    // What is usual does not move the list, and what is longer gives its room back., when its time
    // is over.
    const int height = list->height();
    ui->ShowBalloon(u"one", u"two", BalloonIcon::None, 50);
    EXPECT_EQ(list->height(), height);
    ui->ShowBalloon(u"one\ntwo\nthree\nfour\nfive", u"six", BalloonIcon::None, 50);
    EXPECT_LT(list->height(), height);
    Pump([&] { return list->height() == height; });
}

TEST_F(QueueWindowTest, TakesFilesThatAreDropped) {
    Open(0);
    auto* hint = window->findChild<QLabel*>("hint");
    EXPECT_TRUE(hint->isVisible());
    std::vector<std::u16string> dropped;
    ui->SetPathDropped([&](const std::u16string& path) { dropped.push_back(path); });
    QMimeData data;
    data.setUrls({QUrl("file:///tmp/a%20b%25%0A%FF"), QUrl("https://example.org/x"),
                  QUrl("file:///tmp/folder")});
    QDropEvent event(QPointF(5, 5), Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton,
                     Qt::NoModifier);
    static_cast<QObject*>(window)->event(&event); // no drag of this process is under way
    EXPECT_THAT(dropped, ElementsAre(ToWide("/tmp/a b%\n\xFF"), u"/tmp/folder"));
    EXPECT_EQ(event.dropAction(), Qt::CopyAction) << "the files stay where they are";

    queue.Set({u"/a"});
    Pump([&] { return !hint->isVisible(); });
}

} // namespace
} // namespace larkspin
