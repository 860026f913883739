// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The drive's buffer and how fast it empties onto the disc.
#pragma once

#include "platform/clock.h"

#include <cstdint>

namespace larkspin {

class CSpeedModel {
  public:
    explicit CSpeedModel(IClock& clock) : m_clock(clock), m_lastTick(clock.TickMs()) {}

    // `factor` times the selected speed is the rate at which blocks reach the disc; 0: at once.
    void Configure(uint32_t bufferKB, double factor);
    // The selected write speed in KB/s of 1000 bytes.
    void SelectWriteSpeed(uint32_t kiloBytes);

    uint32_t BufferBytes() const { return m_bufferKB * 1024; }
    uint32_t FreeBytes();
    // A command larger than the buffer is accepted when that is empty.
    bool HasRoomFor(uint32_t bytes);
    void Take(uint32_t bytes);
    // Milliseconds until the buffer is empty.
    uint64_t DrainMs();

  private:
    double BytesPerMs() const { return m_writeKB * m_factor; }
    void Drain();

    IClock& m_clock;
    uint64_t m_lastTick;
    uint32_t m_bufferKB = 2048;
    double m_factor = 0.0;
    uint32_t m_writeKB = 1;
    double m_fill = 0.0; // bytes
};

} // namespace larkspin
