// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// How a drive answers badly, as tests put it into a port's completions.
#pragma once

#include "drive/port.h"

#include <cstdint>

namespace larkspin {

// Check condition with fixed format sense of 18 bytes.
inline PortCompletion CheckCondition(uint8_t key, uint8_t asc, uint8_t ascq) {
    PortCompletion completion;
    completion.status = 2;
    completion.sense[0] = 0x70;
    completion.sense[2] = key;
    completion.sense[7] = 10; // bytes that follow
    completion.sense[12] = asc;
    completion.sense[13] = ascq;
    return completion;
}

} // namespace larkspin
