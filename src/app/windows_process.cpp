// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/windows_process.h"
#include "app/guarded.h"
#include "app/quit_signals.h"
#include "link/link.h"
#include "link/protocol.h"
#include "link/remote_models.h"
#include "link/ui_host.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/text.h"
#include "ui/qt/main_thread.h"
#include "ui/qt/qt_text.h"
#include "ui/qt/qt_ui.h"
#include "ui/ui_exception.h"

#include <QApplication>
#include <QMessageBox>

#include <atomic>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <memory>
#include <optional>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace larkspin {

namespace {

constexpr const char* kProcessName = "larkspin-ui";
constexpr const char16_t* kWindowErrorTitle = u"Larkspin";

// For failures that end the program before or instead of its main loop.
void ShowStopBox(const std::u16string& text, const std::u16string& title) {
    QMessageBox box(QMessageBox::Critical, ToQt(title), ToQt(text), QMessageBox::Ok);
    box.setTextFormat(Qt::PlainText); // it may name a device
    box.exec();
}

// False if the engine has gone without a message: then there was nothing to show.
bool WaitForWord(int socket) {
    char byte = 0;
    ssize_t got = 0;
    do {
        got = ::recv(socket, &byte, 1, MSG_PEEK);
    } while (got < 0 && errno == EINTR);
    return got > 0;
}

class Windows {
  public:
    Windows(int socket, CMainThread& main)
        : m_link(socket, [&main](std::function<void()> work) { main.Post(std::move(work)); }) {
        m_link.On(op::kOpenDisplay, Link::Where::Reader, [] { return true; });
        m_link.On(op::kShowStopBox, Link::Where::Main,
                  [](const std::u16string& text, const std::u16string& title) {
                      ShowStopBox(text, title);
                      return true;
                  });
        m_link.On(op::kOpenWindows, Link::Where::Main, *this, &Windows::Open);
        m_link.On(op::kQuit, Link::Where::Main, [this] {
            m_bQuit = true;
            QCoreApplication::exit(0);
        });
        m_link.Start([this] {
            if (!m_bLeaving) { // the engine has gone, and there is nothing here worth keeping
                ::_exit(0);
            }
        });
    }

    // The main loop has ended.
    void Leave() {
        m_bLeaving = true;
        if (!m_bQuit) {
            m_link.Tell(op::kDesktopQuits);
        }
        if (m_ui) {
            m_ui->ReleaseWaits();
        }
        m_link.ReleaseWaits();
        m_link.Close();
    }

  private:
    // The text of a failure, which the user has then read.
    std::optional<std::string> Open() {
        try {
            m_ui = std::make_unique<QtUi>(
                m_catalog, m_queue, m_store, PosixFiles(), SystemClock(), [] {},
                [this](JobKind kind, uint32_t run) { UiHost::TellCancelled(m_link, kind, run); });
        } catch (const CCDWriterUIException& failure) {
            ShowStopBox(ToWide(failure.what()), kWindowErrorTitle);
            return failure.what();
        }
        m_host.emplace(m_link, *m_ui, *m_ui);
        return std::nullopt;
    }

    std::atomic<bool> m_bLeaving = false;
    bool m_bQuit = false; // requested by the engine; used on the main thread
    Link m_link;
    RemoteCatalog m_catalog{m_link};
    RemoteQueue m_queue{m_link};
    RemoteStore m_store{m_link};
    std::unique_ptr<QtUi> m_ui;
    std::optional<UiHost> m_host;
};

} // namespace

int RunWindows(int socket, int& argc, char** argv) {
    // A key on the terminal and the end of the session reach both processes. The engine decides.
    for (const int signal : QuitSignals()) {
        std::signal(signal, SIG_IGN);
    }
    ::prctl(PR_SET_NAME, kProcessName);
    if (!WaitForWord(socket)) {
        return 0;
    }
    const Guarded<QApplication> application(argc, argv);
    // The toolkit has set the user's locale. Dates ask for it by themselves; numbers in texts and
    // in files are the same everywhere.
    std::setlocale(LC_NUMERIC, "C");
    std::setlocale(LC_TIME, "C");
    QApplication::setApplicationName("Larkspin");
    QApplication::setDesktopFileName("larkspin");
    QApplication::setQuitOnLastWindowClosed(false);
    CMainThread main;
    Windows windows(socket, main);
    const int code = QApplication::exec();
    windows.Leave();
    return code;
}

} // namespace larkspin
