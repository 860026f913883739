// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The subcommands of larkspin-lab, one file each. A subcommand gets what stands behind its name
// and returns the exit status of the process: 0, or 1 after a message on the error output.
#pragma once

#include <span>

namespace larkspin::lab {

using Arguments = std::span<char* const>;

// audio FILE: the track's very bytes to the standard output.
int RunAudio(Arguments arguments);
// length FILE...: the probe's figure for each file.
int RunLength(Arguments arguments);
// volume PATH...: the very stream that a data job would send. Returns 2 on a wrong command line.
int RunVolume(Arguments arguments);

} // namespace larkspin::lab
