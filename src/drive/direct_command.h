// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A command of the direct family and its result.
//
// Direct operations judge a command by its sense, because the pass-through path reports a check
// condition as completed. A command that neither completed nor left sense has failed as well: a
// time-out must not pass for a success.
#pragma once

#include "drive/aspi_cd.h"
#include "drive/sense.h"

#include <array>
#include <cstdint>
#include <initializer_list>
#include <span>

namespace larkspin {

// A CDB. Its length is the group length of its operation code (SPC): 6, 10 or 12.
class Cdb {
  public:
    explicit Cdb(uint8_t opcode);

    uint8_t& operator[](size_t index) { return m_bytes[index]; }
    std::span<const uint8_t> Bytes() const { return {m_bytes.data(), m_nLength}; }

    static uint8_t GroupLength(uint8_t opcode);

  private:
    std::array<uint8_t, 12> m_bytes = {};
    uint8_t m_nLength;
};

struct DirectResult {
    uint8_t status = SS_PENDING; // SRB status
    std::array<uint8_t, kLongSenseBytes> sense = {};

    uint8_t Key() const { return SenseKeyOf(sense); }
    uint8_t Asc() const { return sense[12]; }
    uint8_t Ascq() const { return sense[13]; }
    int Code() const { return SenseCode(sense); } // as CScsiCommand::Transport returns it
    // It neither completed nor left sense: nobody knows what the drive did.
    bool Unanswered() const { return status != SS_COMP && !HasSense(sense); }
    bool Failed() const { return Key() != 0 || Unanswered(); }
    // 0 if it succeeded; -1 without an answer.
    int Error() const { return !Failed() ? 0 : Unanswered() ? -1 : Code(); }
};

// Sends a command with `timeoutSeconds` (0 selects the value in timeouts.h, else the default) and
// up to `senseLength` bytes of sense. Puts the drive's LUN into the top bits of CDB byte 1.
DirectResult SendDirect(CAspiCD& drive, SrbFlags direction, Cdb cdb, void* data = nullptr,
                        uint32_t length = 0, uint32_t timeoutSeconds = 0,
                        uint8_t senseLength = kShortSenseBytes);

} // namespace larkspin
