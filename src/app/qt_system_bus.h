// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The system's message bus through the toolkit.
#pragma once

#include "platform/system_bus.h"

namespace larkspin {

// One object for the process, always valid, free of state: each call has a connection of its own,
// so that a bus that was started anew is found again.
ISystemBus& QtSystemBus();

} // namespace larkspin
