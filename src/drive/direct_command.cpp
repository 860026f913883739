// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/direct_command.h"

namespace larkspin {

Cdb::Cdb(uint8_t opcode) : m_nLength(GroupLength(opcode)) {
    m_bytes[0] = opcode;
}

uint8_t Cdb::GroupLength(uint8_t opcode) {
    const uint8_t group = opcode >> 5;
    if (group == 0) {
        return 6;
    }
    return group == 5 ? 12 : 10;
}

DirectResult SendDirect(CAspiCD& drive, SrbFlags direction, Cdb cdb, void* data, uint32_t length,
                        uint32_t timeoutSeconds, uint8_t senseLength) {
    DirectResult result;
    cdb[1] |= static_cast<uint8_t>(drive.Lun() << 5);
    drive.Transport().m_nTimeoutSeconds = timeoutSeconds;
    result.status =
        drive.SendCommand(direction, cdb.Bytes(), data, length, result.sense.data(), senseLength);
    drive.Transport().m_nTimeoutSeconds = 0;
    return result;
}

} // namespace larkspin
