// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The windows' process: it only holds the connection to the display. If the display goes away, the
// toolkit ends this process, and the engine carries on without it.
#pragma once

namespace larkspin {

// The process's whole life, on the calling thread. `socket`, which it owns, connects it to the
// engine. Returns when the engine says so or has gone, or when the desktop session ends. Nobody
// uses the exit code.
int RunWindows(int socket, int& argc, char** argv);

} // namespace larkspin
