// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// CScsiCommand: the request block in which the DVD logic builds its commands. It belongs to one
// drive and lives on the stack.
#pragma once

#include "drive/aspi_cd.h"

#include <array>
#include <cstdint>
#include <span>

namespace larkspin {

// READ and NONE are sent with SRB_DIR_IN, WRITE with SRB_DIR_OUT.
enum class Direction { WRITE = 0, READ = 1, NONE = 2 };

class CScsiCommand {
  public:
    explicit CScsiCommand(CAspiCD& drive) : m_pDrive(&drive) {}

    // Byte `index` of the CDB. Index 0 first clears the CDB and the sense area and resets the
    // time-out to 5 s. The length of the CDB is the group length of the opcode (6, 10 or 12).
    uint8_t& operator[](size_t index);
    // In seconds; a command that timeouts.h allows more gets more.
    void Timeout(uint32_t seconds) { m_nTimeoutSeconds = seconds; }
    std::span<const uint8_t> Sense() const { return m_abySense; }
    uint8_t Key() const { return m_abySense[2] & 0x0F; }
    uint8_t Asc() const { return m_abySense[12]; }
    CAspiCD& Drive() { return *m_pDrive; }

    // Sends the block as it stands, with the drive's LUN in the top bits of CDB byte 1. Returns 0
    // on success, also with a recovered error; -1 if the command did not complete, or its sense has
    // no code; otherwise (sense key << 16) | (ASC << 8) | ASCQ. An ASPI library ends a check
    // condition as an error, so with a library every failure is -1; the sense bytes are there in
    // both cases.
    int Transport(Direction direction, void* buffer = nullptr, uint32_t length = 0);

  private:
    static constexpr uint32_t kDefaultTimeoutSeconds = 5;

    CAspiCD* m_pDrive;
    uint32_t m_nTimeoutSeconds = kDefaultTimeoutSeconds;
    std::array<uint8_t, 12> m_abyCdb = {};
    std::array<uint8_t, 18> m_abySense = {};
};

} // namespace larkspin
