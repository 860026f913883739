// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/quit_signals.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace larkspin {

namespace {

// Written by the handler, which may do little else; read by the main loop.
std::array<int, 2> g_pipe = {-1, -1};

void OnSignal(int) {
    const int savedErrno = errno;
    const char byte = 0;
    // A full pipe holds enough requests already.
    [[maybe_unused]] const ssize_t ignored = ::write(g_pipe[1], &byte, 1);
    errno = savedErrno;
}

void SetHandlers(void (*handler)(int)) {
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    for (const int signal : QuitSignals()) {
        ::sigaction(signal, &action, nullptr);
    }
}

} // namespace

std::vector<int> QuitSignals() {
    std::vector<int> all = {SIGINT,    SIGTERM, SIGHUP,    SIGQUIT, SIGUSR1, SIGUSR2, SIGALRM,
                            SIGVTALRM, SIGPROF, SIGSTKFLT, SIGIO,   SIGPWR,  SIGXCPU, SIGXFSZ};
    for (int signal = SIGRTMIN; signal <= SIGRTMAX; ++signal) {
        all.push_back(signal);
    }
    return all;
}

CQuitSignals::CQuitSignals(std::function<void()> onQuit) {
    if (::pipe2(g_pipe.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        return; // the signals keep their usual effect
    }
    m_pNotifier = std::make_unique<QSocketNotifier>(g_pipe[0], QSocketNotifier::Read);
    QObject::connect(m_pNotifier.get(), &QSocketNotifier::activated, m_pNotifier.get(),
                     [onQuit = std::move(onQuit)] {
                         std::array<char, 64> bytes = {};
                         while (::read(g_pipe[0], bytes.data(), bytes.size()) > 0) {
                         }
                         onQuit();
                     });
    SetHandlers(OnSignal);
}

CQuitSignals::~CQuitSignals() {
    if (m_pNotifier == nullptr) {
        return;
    }
    SetHandlers(SIG_DFL);
    m_pNotifier.reset();
    for (int& end : g_pipe) {
        ::close(end);
        end = -1;
    }
}

} // namespace larkspin
