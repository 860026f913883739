// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A second process of this program, connected to the first by a socket pair.
#pragma once

#include <functional>
#include <sys/types.h>

namespace larkspin {

class ChildProcess {
  public:
    // Forks the process, which is only possible while it has a single thread. The child calls `run`
    // with its end of the socket, which it owns, and exits with the result. Throws
    // std::system_error if no process can be created.
    explicit ChildProcess(const std::function<int(int socket)>& run);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    // Closes the socket, if nobody has taken it. The child is then expected to exit by itself, and
    // is killed if it has not after a while.
    ~ChildProcess();

    // This process's end of the socket, which now belongs to the caller.
    int TakeSocket();

  private:
    pid_t m_pid = -1;
    int m_socket = -1;
};

} // namespace larkspin
