// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What a drive's error code means to the user.
#pragma once

#include "drive/aspi_cd.h"

#include <string>
#include <vector>

namespace larkspin {

// Why the drive failed, and what can be done about it, in a sentence or two. `code` is not 0: an
// error as CScsiCommand::Transport returns it, or -1 for a command that got no answer.
std::u16string ReasonOf(int code);

// If a failed WRITE has ended a DVD recording, adds the reason.
void TellWriteError(const CAspiCD& drive, std::vector<std::u16string>* notices);

} // namespace larkspin
