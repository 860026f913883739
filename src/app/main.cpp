// The process entry. It reads no argument; what it is to do comes by message.
//
// Exit codes: 0 after a normal end and when there is no drive to work with, 1 and 2 after the
// commands of these numbers, -1 (255) when the mutex can't be made, -2 (254) for a second instance.
#include "app/ccdwriter.h"
#include "app/dbus_endpoint.h"
#include "app/drive_port.h"
#include "app/echo_ui.h"
#include "app/main_dlg.h"
#include "app/quit_signals.h"
#include "platform/named_mutex.h"
#include "platform/settings_store_file.h"
#include "platform/text.h"
#include "ui/qt/qt_text.h"
#include "ui/qt/qt_ui.h"
#include "ui/ui_exception.h"

#include <QApplication>
#include <QMessageBox>

#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <optional>

namespace larkspin {

namespace {

constexpr const char* kMutexName = "Larkspin-Main-Module-Mutex";
constexpr const char16_t* kWindowErrorTitle = u"Larkspin";

constexpr int kExitNormal = 0;
constexpr int kExitNoMutex = -1;
constexpr int kExitSecondInstance = -2;

// For failures that end the program before or instead of its main loop.
void ShowStopBox(const std::u16string& text, const std::u16string& title) {
    QMessageBox(QMessageBox::Critical, ToQt(title), ToQt(text), QMessageBox::Ok).exec();
}

bool WantsProgressOnTerminal() {
    const char* wish = std::getenv("LARKSPIN_PROGRESS");
    return wish != nullptr && std::strcmp(wish, "1") == 0;
}

int RunMainLoop(DriveList& drives, IClock& clock) {
    FileSettingsStore store(FileSettingsStore::DefaultPath());
    DriveCatalog catalog(drives);
    CCDWriter writer(drives, store, PosixFiles(), clock);
    std::optional<CMainDlg> dialog;
    const auto quit = [&dialog] {
        if (dialog) {
            dialog->ProcessMessage(UM_QUIT);
        }
    };
    QtUi ui(catalog, writer, store, PosixFiles(), clock, quit);
    EchoUi echo(ui);
    dialog.emplace(writer, catalog, ui);
    dialog->ProcessMessage(WM_INITDIALOG);
    writer.Attach(WantsProgressOnTerminal() ? static_cast<CCDWriterUI&>(echo) : ui, ui);
    ui.SetIdleTrayCallbacks([&dialog] { dialog->OnTrayLeftClick(); },
                            [&dialog] { dialog->OnTrayRightClick(); });
    // Until the job's thread has been joined: a signal must not cut off a disc either way.
    const CQuitSignals quitSignals(quit);
    int code = kExitNormal;
    {
        CDbusEndpoint endpoint(*dialog);
        endpoint.Register();
        code = QApplication::exec();
    }
    // The loop may also be ended by the desktop, with a job still at work: the disc comes first.
    ui.SetIdleTrayCallbacks({}, {});
    ui.ReleaseWaits();
    writer.Detach();
    return code;
}

int RunWithDrives(IClock& clock) {
    const DrivePort source = OpenDrivePort(clock);
    DriveList drives;
    switch (drives.ScanDrives(*source.port, clock, source.aspiLibraries)) {
    case DriveList::ScanResult::NoTransport:
        ShowStopBox(u"Internal error #1400. Cannot load ASPI driver.", kBoxTitle);
        return kExitNormal;
    case DriveList::ScanResult::None:
        ShowStopBox(NoDriveText(drives), kBoxTitle);
        return kExitNormal;
    case DriveList::ScanResult::Found:
        break;
    }
    int code = kExitNormal;
    try {
        code = RunMainLoop(drives, clock);
    } catch (const CCDWriterUIException& failure) {
        ShowStopBox(ToWide(failure.what()), kWindowErrorTitle);
    }
    drives.ReleaseDrives();
    return code;
}

int RunProcess(int& argc, char** argv) {
    // Who reads our output may go away, and must not take a disc that is being written along.
    std::signal(SIGPIPE, SIG_IGN);
    const NamedMutex mutex(kMutexName);
    if (mutex.Outcome() == NamedMutex::Result::AlreadyExists) {
        return kExitSecondInstance;
    }
    const QApplication application(argc, argv);
    // The toolkit has set the user's locale. Dates ask for it by themselves; numbers in texts, on
    // discs and in files are the same everywhere.
    std::setlocale(LC_NUMERIC, "C");
    std::setlocale(LC_TIME, "C");
    QApplication::setApplicationName("Larkspin");
    QApplication::setDesktopFileName("larkspin");
    QApplication::setQuitOnLastWindowClosed(false);
    if (mutex.Outcome() == NamedMutex::Result::Failed) {
        ShowStopBox(ToWide(mutex.ErrorText()), u"Error");
        return kExitNoMutex;
    }
    return RunWithDrives(SystemClock());
}

} // namespace

} // namespace larkspin

int main(int argc, char** argv) {
    return larkspin::RunProcess(argc, argv);
}
