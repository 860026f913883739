// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "virtualdrive/speed_model.h"

#include <algorithm>
#include <cmath>

namespace larkspin {

void CSpeedModel::Configure(uint32_t bufferKB, double factor) {
    Drain();
    m_bufferKB = std::max(bufferKB, 1U);
    m_factor = std::max(factor, 0.0);
}

void CSpeedModel::SelectWriteSpeed(uint32_t kiloBytes) {
    Drain();
    m_writeKB = std::max(kiloBytes, 1U);
}

void CSpeedModel::Drain() {
    const uint64_t now = m_clock.TickMs();
    const double drained = BytesPerMs() * static_cast<double>(now - m_lastTick);
    m_lastTick = now;
    m_fill = m_factor > 0.0 ? std::max(0.0, m_fill - drained) : 0.0;
}

uint32_t CSpeedModel::FreeBytes() {
    Drain();
    return static_cast<uint32_t>(std::max(0.0, BufferBytes() - m_fill));
}

bool CSpeedModel::HasRoomFor(uint32_t bytes) {
    Drain();
    return m_fill <= 0.0 || m_fill + bytes <= BufferBytes();
}

void CSpeedModel::Take(uint32_t bytes) {
    Drain();
    if (m_factor > 0.0) {
        m_fill += bytes;
    }
}

uint64_t CSpeedModel::DrainMs() {
    Drain();
    return m_fill > 0.0 ? static_cast<uint64_t>(std::ceil(m_fill / BytesPerMs())) : 0;
}

} // namespace larkspin
