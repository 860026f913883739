// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The subcommands of larkspin-lab, one file each. A subcommand gets the arguments after its name
// and returns the exit status of the process: 0, or 1 after a message on standard error.
#pragma once

#include <span>

namespace larkspin::lab {

using Arguments = std::span<char* const>;

// audio FILE: the exact bytes of the track on standard output.
int RunAudio(Arguments arguments);
// length FILE...: the length of each file by its headers.
int RunLength(Arguments arguments);
// volume PATH...: the exact stream that a data job would write. Returns 2 for a wrong command line.
int RunVolume(Arguments arguments);

} // namespace larkspin::lab
