// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A desktop notification (Desktop Notifications Specification) that can be sent without windows and
// outlives the program.
#pragma once

#include <string>

namespace larkspin {

struct Notification {
    std::string text;    // plain text, no markup
    bool bStays = false; // until the user dismisses it; otherwise as long as the desktop likes
    bool bSound = false; // the desktop's sound for a finished disc
};

// Sends it and waits, up to five seconds, until the desktop has it, starting the service if
// necessary. False if there is nobody to show it. May be called on any thread.
bool Notify(const Notification& notification);

} // namespace larkspin
