// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// What goes wrong in a program that a menu started: nobody reads its standard error.
#pragma once

#include <string>

namespace larkspin {

// Writes "larkspin-send: TEXT" to standard error. Without a terminal on any of the standard streams
// the desktop's notification service shows the text too; the service is started by the message bus
// where that knows one, and has five seconds to answer. Where nobody takes it, a box shows it.
void TellUser(const std::string& text);

} // namespace larkspin
