// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A second process of this program, joined to the first by a socket pair.
#pragma once

#include <functional>
#include <sys/types.h>

namespace larkspin {

class ChildProcess {
  public:
    // Splits the process in two, which works only while it has a single thread. In the child `run`
    // is called with its end of the socket, which it owns, and the child ends with what it gives.
    // Throws std::system_error where no process can be had.
    explicit ChildProcess(const std::function<int(int socket)>& run);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    // Closes the socket, if nobody has taken it. The child ought to end by itself then; it is
    // killed if it has not after a while.
    ~ChildProcess();

    // This process's end of the socket, which belongs to the caller from now on.
    int TakeSocket();

  private:
    pid_t m_pid = -1;
    int m_socket = -1;
};

} // namespace larkspin
