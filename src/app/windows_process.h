// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The process of the windows: it holds the connection to the display, and nothing else. When the
// display goes, the toolkit ends this process, and the engine goes on without.
#pragma once

namespace larkspin {

// All of its life, on the thread that calls. `socket` leads to the engine and is owned. Ends when
// the engine says so or has gone, and with the desktop's session. Gives the exit code, which
// nobody reads.
int RunWindows(int socket, int& argc, char** argv);

} // namespace larkspin
