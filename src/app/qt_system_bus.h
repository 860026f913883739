// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The system message bus through the toolkit.
#pragma once

#include "platform/system_bus.h"

namespace larkspin {

// One stateless object for the process, always valid: each call uses a new connection, so that it
// still works after the bus has been restarted.
ISystemBus& QtSystemBus();

} // namespace larkspin
