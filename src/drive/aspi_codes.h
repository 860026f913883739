// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The numbers of ASPI for Win32.
#pragma once

#include <cstdint>

namespace larkspin {

enum SrbCommand : uint8_t {
    SC_HA_INQUIRY = 0,
    SC_GET_DEV_TYPE = 1,
    SC_EXEC_SCSI_CMD = 2,
    SC_ABORT_SRB = 3,
};

enum SrbStatus : uint8_t {
    SS_PENDING = 0,
    SS_COMP = 1,
    SS_ABORTED = 2,
    SS_ERR = 4,
    SS_INVALID_HA = 0x81,
    SS_NO_DEVICE = 0x82,
    SS_NO_ADAPTERS = 0xE8,
};

enum SrbFlags : uint8_t {
    SRB_ENABLE_RESIDUAL_COUNT = 0x04, // SRB_BufLen comes back as the bytes that did not go over
    SRB_DIR_IN = 0x08,
    SRB_DIR_OUT = 0x10,
};

} // namespace larkspin
