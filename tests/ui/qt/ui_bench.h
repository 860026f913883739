// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A QtUi on made-up drives, with the means to act as the user and as a job.
#pragma once

#include "support/fake_files.h"
#include "support/manual_clock.h"
#include "support/memory_store.h"
#include "ui/fakes.h"
#include "ui/qt/qt_ui.h"

#include <QAccessible>
#include <QApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QMessageBox>
#include <QTest>
#include <QWidget>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace larkspin {

// Any path is a file of two kilobytes. Counts how often the disk is looked at.
struct CountedFiles final : FakeFiles {
    bool Status(const std::u16string& /*path*/, FileStatus* status) override {
        if (++statusCalls == 1) {
            throw std::bad_alloc(); // nothing may depend on that
        }
        *status = {.size = 2048};
        return true;
    }
    bool IsReadable(const std::u16string& /*path*/) override { return true; }

    std::atomic<int> statusCalls = 0;
};

// Runs what the main loop has to do, or waits for it a little. No loop of its own: those end at
// once after Quit.
inline void PumpOnce() {
    QApplication::processEvents();
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

// Runs the loop until `done` holds; a failure if it never does.
template <class Predicate>
void Pump(Predicate done) {
    QElapsedTimer patience;
    patience.start();
    while (!done()) {
        if (patience.hasExpired(60'000)) {
            ADD_FAILURE() << "waited in vain";
            return;
        }
        PumpOnce();
    }
}

// What `job` gives, while the loop runs. A job that hangs ends with the test's time.
template <class Future>
auto Finish(Future&& job) {
    Pump([&] { return job.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
    return job.get();
}

// Something on a job's thread; Finish gives its result.
template <class Work>
auto Job(Work work) {
    return std::async(std::launch::async, std::move(work));
}

class UiBench : public testing::Test {
  protected:
    UiBench() {
        drives.drives = {{u"FIRST  DRIVE", u"sr0", {8, 4}}, {u"SECOND", u"sr1", {2.4, 1}}};
        ui = std::make_unique<QtUi>(drives, queue, store, files, clock, [this] { ++quits; });
    }

    // A job that needs no answer, with all that it has left for the main thread.
    void RunJob(std::function<void()> work) {
        const int before = quits;
        Finish(Job([&] {
            work();
            ui->RequestExit();
        }));
        Pump([&] { return quits > before; });
    }

    // A control by its id in a window on the screen; null if there is none.
    template <class Control>
    static Control* Find(const char* id) {
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (window->isVisible()) {
                if (auto* control = window->findChild<Control*>(QString::fromLatin1(id))) {
                    return control;
                }
            }
        }
        return nullptr;
    }
    // The same, as soon as it is there and its window gets the keys: until then they would go to
    // the window that had them before.
    template <class Control>
    static Control* Await(const char* id) {
        Control* control = nullptr;
        Pump([&] {
            control = Find<Control>(id);
            return control != nullptr && control->window()->isActiveWindow();
        });
        return control;
    }

    // The open message box whose text begins so; null if there is none.
    static QMessageBox* Box(const QString& text) {
        for (QWidget* window : QApplication::topLevelWidgets()) {
            auto* box = qobject_cast<QMessageBox*>(window);
            if (box != nullptr && box->isVisible() && box->text().startsWith(text)) {
                return box;
            }
        }
        return nullptr;
    }

    // Once around the window of `first` with the Tab key: the id of each control and what a screen
    // reader calls it.
    static std::vector<std::string> TabStops(QWidget* first) {
        std::vector<std::string> stops;
        QWidget* control = first;
        do {
            const QAccessibleInterface* reader = QAccessible::queryAccessibleInterface(control);
            // The name of a drop-down list is what is chosen in it.
            const bool isList = reader->role() == QAccessible::ComboBox;
            const QString text =
                reader->text(isList ? QAccessible::Description : QAccessible::Name);
            stops.push_back((control->objectName() + QLatin1Char(' ') + text).toStdString());
            QTest::keyClick(control, Qt::Key_Tab);
            control = first->window()->focusWidget();
        } while (control != first && stops.size() < 20);
        return stops;
    }

    FakeDrives drives;
    FakeQueue queue;
    MemoryStore store;
    CountedFiles files;
    ManualClock clock;
    int quits = 0;
    std::unique_ptr<QtUi> ui;
};

} // namespace larkspin
