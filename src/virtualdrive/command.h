// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// A command being run by the drive: its CDB and the host's buffer.
#pragma once

#include "drive/port.h"
#include "platform/byte_order.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

namespace larkspin {

class CCommand {
  public:
    // The request's buffer must outlive the command.
    explicit CCommand(const PortRequest& request) : m_direction(request.direction) {
        std::copy_n(request.cdb.begin(), std::min(request.cdb.size(), m_cdb.size()), m_cdb.begin());
        if (request.data != nullptr && request.direction != PortDirection::None) {
            m_buffer = {static_cast<uint8_t*>(request.data), request.length};
        }
    }

    uint8_t Byte(size_t index) const { return m_cdb[index]; }
    bool Bit(size_t index, uint8_t mask) const { return (m_cdb[index] & mask) != 0; }
    uint16_t Be16(size_t index) const { return LoadBe16(&m_cdb[index]); }
    uint32_t Be24(size_t index) const {
        return static_cast<uint32_t>(m_cdb[index]) << 16 | LoadBe16(&m_cdb[index + 1]);
    }
    uint32_t Be32(size_t index) const { return LoadBe32(&m_cdb[index]); }

    // The host's data; empty if the command has no data phase in that direction.
    std::span<const uint8_t> Sent() const {
        return m_direction == PortDirection::Out ? m_buffer : std::span<uint8_t>{};
    }
    // The room for data to the host.
    std::span<uint8_t> Room() const {
        return m_direction == PortDirection::In ? m_buffer : std::span<uint8_t>{};
    }
    // Returns `data` to the host, limited to the allocation length and its buffer.
    void Answer(std::span<const uint8_t> data, uint32_t allocation) const {
        const std::span<uint8_t> room = Room();
        const size_t bytes = std::min<size_t>({data.size(), allocation, room.size()});
        std::copy_n(data.begin(), bytes, room.begin());
        Gave(bytes);
    }
    // The first `bytes` of Room() have been filled.
    void Gave(size_t bytes) const { m_given = static_cast<uint32_t>(bytes); }
    // Bytes transferred, if the command succeeded: what was returned, or all that the host sent.
    uint32_t Moved() const {
        return m_direction == PortDirection::Out ? static_cast<uint32_t>(m_buffer.size()) : m_given;
    }

  private:
    std::array<uint8_t, 16> m_cdb = {};
    PortDirection m_direction;
    std::span<uint8_t> m_buffer;
    mutable uint32_t m_given = 0;
};

} // namespace larkspin
