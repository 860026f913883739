// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A notification of the desktop (Desktop Notifications Specification) that is sent by a program
// without windows, and outlives it.
#pragma once

#include <string>

namespace larkspin {

struct Notification {
    std::string text;    // as it is to be read: no markup
    bool bStays = false; // until the user has put it away; else as long as the desktop likes
    bool bSound = false; // the desktop's sound for a disc that is finished
};

// Waits until the desktop has it, up to five seconds. False if there is nobody to show it. A
// service that has to be started first is. Any thread.
bool Notify(const Notification& notification);

} // namespace larkspin
