// larkspin-windows NAME...: opens windows of the program with made-up contents, to look at them.
//
// Names: data audio image erase progress erasing queue box balloon; "report" before "queue"
// opens it with details; "dark" gives the dark palette.
#include "platform/clock.h"
#include "platform/files.h"
#include "ui/fakes.h"
#include "ui/qt/qt_ui.h"

#include <QApplication>
#include <QCheckBox>
#include <QPalette>
#include <QStyleFactory>

#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace larkspin;

void UseDarkPalette() {
    QPalette dark;
    dark.setColor(QPalette::Window, QColor(45, 45, 48));
    dark.setColor(QPalette::WindowText, Qt::white);
    dark.setColor(QPalette::Base, QColor(30, 30, 32));
    dark.setColor(QPalette::AlternateBase, QColor(45, 45, 48));
    dark.setColor(QPalette::Text, Qt::white);
    dark.setColor(QPalette::Button, QColor(60, 60, 64));
    dark.setColor(QPalette::ButtonText, Qt::white);
    dark.setColor(QPalette::ToolTipBase, QColor(60, 60, 64));
    dark.setColor(QPalette::ToolTipText, Qt::white);
    dark.setColor(QPalette::Highlight, QColor(90, 75, 200));
    dark.setColor(QPalette::HighlightedText, Qt::white);
    dark.setColor(QPalette::Disabled, QPalette::WindowText, Qt::gray);
    dark.setColor(QPalette::Disabled, QPalette::Text, Qt::gray);
    dark.setColor(QPalette::Disabled, QPalette::ButtonText, Qt::gray);
    dark.setColor(QPalette::Disabled, QPalette::Light, QColor(30, 30, 32));
    QApplication::setPalette(dark);
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    FakeDrives drives;
    drives.drives = {{u"HL-DT-ST  DVDRAM  GH24NSD1", u"sr0", {48, 40, 24, 16}},
                     {u"LARKSPIN Virtual Drive", u"sr1", {2.4, 1}}};
    FakeQueue queue;
    std::vector<std::u16string> paths = {u"/usr/share/doc",
                                         u"/usr/share/icons",
                                         u"/etc/passwd",
                                         u"/etc/shadow",
                                         u"/home/somebody/Music/a song.flac",
                                         u"/usr/share/common-licenses/GPL-3",
                                         u"/usr/share/icons/hicolor/index.theme",
                                         u"/usr/include/stdio.h"};
    for (int i = 0; i < 40; ++i) {
        paths.push_back(u"/usr/lib/a rather long folder name/part " +
                        QString::number(i).toStdU16String() + u".mp3");
    }
    queue.Set(paths);
    MemoryStore store;
    std::vector<std::thread> jobs;
    {
        QtUi ui(drives, queue, store, PosixFiles(), SystemClock(), [] {});
        ui.SetIdleTrayCallbacks(
            [&] { ui.ShowBalloon(u"A left click.", u"Larkspin", BalloonIcon::Information, 5000); },
            [&] {
                ui.TrackIdleMenu({true, false}, [](uint32_t id) { std::printf("%u\n", id); });
            });
        bool report = false;
        const std::map<std::string, std::function<void()>> windows = {
            {"data", [&] { ui.ShowDataParameters(u"Queue contains approximately 512.40 Mb."); }},
            {"audio", [&] { ui.ShowAudioParameters(u"Queue contains 61:07 (min:sec) of audio."); }},
            {"image", [&] { ui.ShowImageParameters(u"debian-12.iso, 3.70 Gb"); }},
            {"erase",
             [&] {
                 ui.ShowEraseType({10, 4, 2.4});
             }},
            {"progress",
             [&] {
                 ui.StartDataProgress(0x0A);
                 ui.PushJobTrayCallbacks(JobKind::Data);
                 ui.StartTrayAnimation();
                 ui.SetStatus(JobKind::Data, u"Writing files to the disk...");
                 ui.SetProgress(JobKind::Data, 42);
             }},
            {"erasing",
             [&] {
                 ui.StartEraseProgress();
                 ui.SetProgress(JobKind::Erase, 7);
             }},
            {"box",
             [&] {
                 ui.AskUser(u"The disk in the drive is not blank.\n\nErase it?", kBoxTitle,
                            BoxButtons::YesNo, BoxIcon::None);
             }},
            {"balloon",
             [&] {
                 ui.ShowBalloon(u"You have added first files to writing queue.\n\nTo start writing "
                                u"Data CD quickly double-click this icon.",
                                kBoxTitle, BalloonIcon::Information, 20000);
             }},
        };
        for (int i = 1; i < argc; ++i) {
            const std::string name = argv[i];
            if (name == "dark") {
                UseDarkPalette();
            } else if (name == "report") {
                report = true;
            } else if (name == "queue") {
                ui.ShowQueueEditor();
                for (QWidget* window : QApplication::topLevelWidgets()) {
                    if (auto* details = window->findChild<QCheckBox*>(QStringLiteral("1015"))) {
                        details->setChecked(report);
                        window->resize(report ? QSize(660, 360) : window->size());
                    }
                }
            } else if (windows.contains(name)) {
                jobs.emplace_back(windows.at(name));
            } else {
                std::fprintf(stderr, "larkspin-windows: no window \"%s\"\n", name.c_str());
                ui.Quit(1);
            }
        }
        QApplication::exec();
        ui.ReleaseWaits();
        for (std::thread& job : jobs) {
            job.join();
        }
    }
    return 0;
}
