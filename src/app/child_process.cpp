// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/child_process.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

namespace larkspin {

namespace {

constexpr std::chrono::seconds kEndTime{5};
constexpr std::chrono::milliseconds kLookTime{10};

} // namespace

ChildProcess::ChildProcess(const std::function<int(int)>& run) {
    std::array<int, 2> ends = {-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::system_error(errno, std::generic_category());
    }
    m_pid = ::fork();
    if (m_pid == 0) {
        ::close(ends[0]);
        std::exit(run(ends[1]));
    }
    const int error = errno;
    ::close(ends[1]);
    if (m_pid < 0) {
        ::close(ends[0]);
        throw std::system_error(error, std::generic_category());
    }
    m_socket = ends[0];
}

ChildProcess::~ChildProcess() {
    if (m_socket >= 0) {
        ::close(m_socket);
    }
    const auto deadline = std::chrono::steady_clock::now() + kEndTime;
    while (::waitpid(m_pid, nullptr, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, nullptr, 0);
            return;
        }
        std::this_thread::sleep_for(kLookTime);
    }
}

int ChildProcess::TakeSocket() {
    return std::exchange(m_socket, -1);
}

} // namespace larkspin
