// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/scsi_command.h"
#include "drive/direct_command.h"
#include "drive/sense.h"

namespace larkspin {

uint8_t& CScsiCommand::operator[](size_t index) {
    if (index == 0) {
        m_abyCdb.fill(0);
        m_abySense.fill(0);
        m_nTimeoutSeconds = kDefaultTimeoutSeconds;
    }
    return m_abyCdb.at(index);
}

int CScsiCommand::Transport(Direction direction, void* buffer, uint32_t length) {
    CAspiTransport& transport = m_pDrive->Transport();
    m_abySense.fill(0);
    m_abyCdb[1] |= static_cast<uint8_t>(m_pDrive->Lun() << 5);
    transport.m_nTimeoutSeconds = m_nTimeoutSeconds;
    const uint8_t status =
        m_pDrive->SendCommand(direction == Direction::WRITE ? SRB_DIR_OUT : SRB_DIR_IN,
                              {m_abyCdb.data(), Cdb::GroupLength(m_abyCdb[0])}, buffer, length,
                              m_abySense.data(), kLongSenseBytes);
    transport.m_nTimeoutSeconds = 0;
    if (status != SS_COMP) {
        return -1;
    }
    if (!HasSense(m_abySense)) {
        return 0;
    }
    const int code = SenseCode(m_abySense);
    return code != 0 ? code : -1;
}

} // namespace larkspin
