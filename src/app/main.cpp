// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The process entry. Arguments only ask for help, the version or a box, or are the toolkit's own;
// what the program is to do comes by message.
//
// There are two processes. The one that was started is the engine: drives, queue, jobs and messages
// from outside. It has no connection to a display, so that a disc being written does not depend on
// one. Its child has the windows (windows_process.h), and a link connects the two. When the windows
// go, a job continues to its end, and then the engine exits.
//
// Exit codes: 0 after a normal end and if there is no drive to work with, 1 and 2 after the
// commands with these numbers, -1 (255) if the mutex can't be created, -2 (254) for a second
// instance, -3 (253) if there is no display, or if it went away although nobody had asked the
// program to exit.
#include "app/ccdwriter.h"
#include "app/child_process.h"
#include "app/dbus_endpoint.h"
#include "app/drive_port.h"
#include "app/guarded.h"
#include "app/main_dlg.h"
#include "app/notification.h"
#include "app/qt_system_bus.h"
#include "app/quit_signals.h"
#include "app/terminal_echo.h"
#include "app/windows_process.h"
#include "link/link.h"
#include "link/protocol.h"
#include "link/remote_ui.h"
#include "platform/named_mutex.h"
#include "platform/settings_store_file.h"
#include "platform/text.h"
#include "ui/qt/main_thread.h"
#include "ui/ui_exception.h"

#include <QCoreApplication>

#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <functional>
#include <optional>
#include <string_view>
#include <utility>

namespace larkspin {

namespace {

constexpr const char* kMutexName = "Larkspin-Main-Module-Mutex";

constexpr const char* kRunsAlready =
    "Larkspin runs already. Its icon is in the tray; larkspin-send adds files to its queue.";
constexpr const char16_t* kNoBus =
    u"There is no session bus, so the file manager's menu and larkspin-send do not reach Larkspin. "
    u"Please drop files on the window \"Larkspin Queue\".";
constexpr uint32_t kNoBusTimeMs = 60000;

constexpr int kExitNormal = 0;
constexpr int kExitNoMutex = -1;
constexpr int kExitSecondInstance = -2;
constexpr int kExitNoDisplay = -3;

bool WantsProgressOnTerminal() {
    const char* wish = std::getenv("LARKSPIN_PROGRESS");
    return wish != nullptr && std::strcmp(wish, "1") == 0;
}

int NoDisplay(const char* reason) {
    std::fprintf(stderr, "larkspin: %s\n", reason);
    return kExitNoDisplay;
}

// The windows as the engine has them.
struct Desk {
    Desk(int socket, CMainThread& mainThread)
        : main(mainThread),
          link(socket, [this](std::function<void()> work) { main.Post(std::move(work)); }) {
        link.Start([this] {
            main.Post([this] {
                if (gone) {
                    gone();
                }
            });
        });
    }
    Desk(const Desk&) = delete;
    Desk& operator=(const Desk&) = delete;
    ~Desk() { RemoteUi::CloseWindows(link); }

    CMainThread& main;
    std::function<void()> gone; // called on the main thread when the display goes
    Link link;
};

int RunMainLoop(DriveList& drives, IClock& clock, Desk& desk) {
    FileSettingsStore store(FileSettingsStore::DefaultPath());
    DriveCatalog catalog(drives);
    CCDWriter::Options options;
    options.systemBus = &QtSystemBus();
    options.notify = [](const std::u16string& text, bool beep) {
        return Notify({ToNative(text), true, beep});
    };
    CCDWriter writer(drives, store, PosixFiles(), clock, std::move(options));
    std::optional<CMainDlg> dialog;
    const auto quit = [&dialog] {
        if (dialog) {
            dialog->ProcessMessage(UM_QUIT);
        }
    };
    RemoteUi ui(desk.link, catalog, writer, store,
                {[&desk](std::function<void()> work) { desk.main.Post(std::move(work)); }, quit,
                 [](int code) { QCoreApplication::exit(code); }});
    TerminalEcho terminal;
    ObservedUi echo(ui, terminal);
    dialog.emplace(writer, catalog, ui);
    dialog->ProcessMessage(WM_INITDIALOG);
    writer.Attach(WantsProgressOnTerminal() ? static_cast<CCDWriterUI&>(echo) : ui, ui);
    ui.SetIdleTrayCallbacks([&dialog] { dialog->OnTrayLeftClick(); },
                            [&dialog] { dialog->OnTrayRightClick(); });
    ui.SetPathDropped([&dialog](const std::u16string& path) {
        dialog->ProcessMessage(WM_COPYDATA, COPYDATA_PATH_TAG, path);
        dialog->ProcessMessage(UM_ADD_PATH);
    });
    int lost = kExitNormal;
    desk.gone = [&] {
        if (!writer.IsLeaving()) {
            lost = NoDisplay(writer.IsBusy()
                                 ? "the display has gone; a disc that is being written is finished"
                                 : "the display has gone");
        }
        quit();
    };
    // Until the job's thread has been joined: a signal must not interrupt a disc meanwhile.
    const CQuitSignals quitSignals(quit);
    int code = kExitNormal;
    {
        CDbusEndpoint endpoint(*dialog, writer, [&desk](std::function<void()> work) {
            desk.main.Post(std::move(work));
        });
        if (!endpoint.Register()) {
            ui.ShowBalloon(kNoBus, kBoxTitle, BalloonIcon::Warning, kNoBusTimeMs);
        }
        code = QCoreApplication::exec();
    }
    desk.gone = {};
    ui.SetIdleTrayCallbacks({}, {});
    ui.SetPathDropped({});
    ui.ReleaseWaits();
    writer.Detach();
    return lost != kExitNormal ? lost : code;
}

// Reports what ends the program before it has a window.
void TellStop(Desk& desk, const std::u16string& text) {
    if (WantsProgressOnTerminal()) {
        EchoMessage(text);
    }
    desk.link.Ask(op::kShowStopBox, text, kBoxTitle);
}

int RunWithDrives(IClock& clock, Desk& desk) {
    const DrivePort source = OpenDrivePort(clock);
    DriveList drives;
    switch (drives.ScanDrives(*source.port, clock, source.aspiLibraries)) {
    case DriveList::ScanResult::NoTransport:
        TellStop(desk, u"Internal error #1400. Cannot load ASPI driver.");
        return kExitNormal;
    case DriveList::ScanResult::None:
        TellStop(desk, NoDriveText(drives));
        return kExitNormal;
    case DriveList::ScanResult::Found:
        break;
    }
    int code = kExitNormal;
    try {
        code = RunMainLoop(drives, clock, desk);
    } catch (const CCDWriterUIException&) {
        // The user has read it in the other process.
    } catch (const LinkError&) {
        code = NoDisplay("the display has gone");
    }
    drives.ReleaseDrives();
    return code;
}

int RunEngine(ChildProcess& windows, int& argc, char** argv) {
    const NamedMutex mutex(kMutexName);
    if (mutex.Outcome() == NamedMutex::Result::AlreadyExists) {
        std::fprintf(stderr, "larkspin: %s\n", kRunsAlready);
        return kExitSecondInstance;
    }
    const Guarded<QCoreApplication> application(argc, argv);
    // The toolkit has set the user's locale. Dates choose it themselves; numbers in texts, on discs
    // and in files are the same everywhere.
    std::setlocale(LC_NUMERIC, "C");
    std::setlocale(LC_TIME, "C");
    CMainThread main;
    Desk desk(windows.TakeSocket(), main);
    if (!desk.link.Ask(op::kOpenDisplay)) {
        return NoDisplay(
            "there is no display to show windows on; please start Larkspin on a desktop");
    }
    if (mutex.Outcome() == NamedMutex::Result::Failed) {
        desk.link.Ask(op::kShowStopBox, ToWide(mutex.ErrorText()), u"Error");
        return kExitNoMutex;
    }
    return RunWithDrives(SystemClock(), desk);
}

// Shows `text` in a box before the program has windows of its own.
int TellInBox(ChildProcess& windows, const char* text, int& argc, char** argv) {
    const Guarded<QCoreApplication> application(argc, argv);
    CMainThread main;
    Desk desk(windows.TakeSocket(), main);
    if (!desk.link.Ask(op::kOpenDisplay)) {
        return NoDisplay("there is no display to show a message on");
    }
    desk.link.Ask(op::kShowStopBox, ToWide(text), kBoxTitle);
    return kExitNormal;
}

int RunProcess(int& argc, char** argv) {
    // Whoever reads our output may go away, which must not end a disc that is being written.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        // Before anything else: a process with threads can't be forked.
        ChildProcess windows([&](int socket) { return RunWindows(socket, argc, argv); });
        const bool onlyTells = argc == 3 && std::strcmp(argv[1], "--tell") == 0;
        return onlyTells ? TellInBox(windows, argv[2], argc, argv) : RunEngine(windows, argc, argv);
    } catch (const std::exception& failure) {
        return NoDisplay(failure.what());
    }
}

constexpr const char* kHelp = R"(Usage: larkspin [--help | --version | --tell TEXT]

Writes optical discs. The program shows itself as an icon in the desktop's tray; files reach it from
the file manager's menu ("Add to disc queue") or by larkspin-send, which also starts it.

  --help       this text
  --version    the version of the program
  --tell TEXT  shows a text in a box, for larkspin-send where there are no notifications

Environment:
  LARKSPIN_VIRTUAL_DRIVE   folders joined by ":", used as discs of a virtual drive in the place of
                           this machine's drives
  LARKSPIN_VIRTUAL_DISC    what an empty folder becomes, such as cd-rw or dvd+r (cd-r)
  LARKSPIN_PROGRESS        1: tells a job's progress on standard output

Exit codes:
  0    a normal end, or there is no drive
  253  there is no display, or it went away
  254  Larkspin runs already
  255  the lock that keeps a second instance away cannot be made
)";

// True if nothing else was asked for.
bool AnsweredAtOnce(int argc, char** argv) {
    const std::string_view first = argc > 1 ? argv[1] : "";
    if (first == "--help" || first == "-h") {
        std::fputs(kHelp, stdout);
        return true;
    }
    if (first == "--version") {
        std::puts("larkspin " LARKSPIN_VERSION);
        return true;
    }
    return false;
}

} // namespace

} // namespace larkspin

int main(int argc, char** argv) {
    if (larkspin::AnsweredAtOnce(argc, argv)) {
        return 0;
    }
    return larkspin::RunProcess(argc, argv);
}
