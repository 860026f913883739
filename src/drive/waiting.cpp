// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "drive/waiting.h"
#include "drive/sense.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace larkspin {

bool IsCancelled(const CancelFunctor* cancel) {
    return cancel != nullptr && (*cancel)();
}

bool SleepUnlessCancelled(IClock& clock, uint64_t milliseconds, const CancelFunctor* cancel) {
    constexpr uint64_t kSliceMs = 200;
    if (cancel == nullptr) {
        if (milliseconds > 0) {
            clock.Sleep(std::chrono::milliseconds(milliseconds));
        }
        return true;
    }
    while (milliseconds > 0) {
        if (IsCancelled(cancel)) {
            return false;
        }
        const uint64_t slice = std::min(milliseconds, kSliceMs);
        clock.Sleep(std::chrono::milliseconds(slice));
        milliseconds -= slice;
    }
    return !IsCancelled(cancel);
}

void BusyWait::Begin() {
    if (!m_nBegun) {
        m_nBegun = m_drive.Clock().TickMs();
        m_nProgress = m_nAsked = *m_nBegun;
    }
}

bool BusyWait::Pause(uint64_t milliseconds) {
    Begin();
    return !m_drive.IsGivenUp() && SleepUnlessCancelled(m_drive.Clock(), milliseconds, m_pCancel) &&
           GoOn();
}

bool BusyWait::ShortPause(uint64_t milliseconds) {
    constexpr uint64_t kMostMs = 300;
    Begin();
    const uint64_t waited = m_drive.Clock().TickMs() - *m_nBegun;
    return Pause(std::max(milliseconds, std::min(waited / 8, kMostMs)));
}

bool BusyWait::GoOn() {
    constexpr uint64_t kUnattendedMs = 15 * kPatienceMs;
    Begin();
    IClock& clock = m_drive.Clock();
    const uint64_t now = clock.TickMs();
    if (!m_drive.IsGivenUp() && !IsCancelled(m_pCancel) && now - m_nAsked >= m_nPatienceMs) {
        const BusyAnswer answer = m_drive.AskAboutBusy();
        m_nAsked = clock.TickMs();
        if (answer == BusyAnswer::WaitOn) {
            m_nProgress = m_nAsked;
        }
        m_drive.SetGivenUp(answer == BusyAnswer::GiveUp ||
                           m_nAsked - m_nProgress >= std::max(kUnattendedMs, m_nPatienceMs));
    }
    return !m_drive.IsGivenUp() && !IsCancelled(m_pCancel);
}

void BusyWait::NoteFigure(int figure) {
    if (std::exchange(m_figure, figure) != figure && m_nBegun) {
        m_nProgress = m_nAsked = m_drive.Clock().TickMs();
    }
}

void BusyWait::NoteSense(std::span<const uint8_t> sense) {
    if (const std::optional<uint16_t> figure = ProgressOf(sense)) {
        NoteFigure(*figure);
    }
}

} // namespace larkspin
