// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Waits inside operations of a drive: how often it is asked again, and what ends them.
#pragma once

#include "drive/aspi_cd.h"

#include <cstdint>
#include <optional>
#include <span>

namespace larkspin {

// How many times in a row a command is sent again at once because the drive reports a unit
// attention. A sound drive reports each event once; a broken one must not hold a job for ever.
constexpr int kMaxAttentionRepeats = 100;
constexpr uint32_t kAttentionPauseMs = 10;

// False for a null pointer.
bool IsCancelled(const CancelFunctor* cancel);

// Sleeps `milliseconds`. With a functor it sleeps in slices of at most 200 ms and asks before each
// of them and at the end: false as soon as the user has cancelled, else true.
bool SleepUnlessCancelled(IClock& clock, uint64_t milliseconds, const CancelFunctor* cancel);

// One wait for a drive that is busy, from its first pause on. When the drive has got nowhere for
// its patience, CAspiCD::SetBusyFunctor is asked what becomes of it, and again after as much time.
class BusyWait {
  public:
    static constexpr uint64_t kPatienceMs = 120'000;

    // `cancel` may be null: then only the functor ends the wait.
    BusyWait(CAspiCD& drive, const CancelFunctor* cancel) : m_drive(drive), m_pCancel(cancel) {}

    // All three are true if the drive is to be asked again. Else the user has cancelled, or the
    // wait is given up, which IsGivenUp of the drive tells; a wait that is begun after that has no
    // pause.
    bool Pause(uint64_t milliseconds);
    // The same for a drive that is expected back soon: the pause is stretched to an eighth of the
    // time that the wait has taken, but not beyond 300 ms by that.
    bool ShortPause(uint64_t milliseconds);
    // The same for a caller that has slept.
    bool GoOn();

    // The drive told how far it is; another figure than before is progress.
    void NoteFigure(int figure);
    // The same from sense data that may hold a figure (SPC, "Progress indication").
    void NoteSense(std::span<const uint8_t> sense);
    // For work that takes long and has no figure.
    void SetPatience(uint64_t milliseconds) { m_nPatienceMs = milliseconds; }

  private:
    void Begin();

    CAspiCD& m_drive;
    const CancelFunctor* m_pCancel;
    uint64_t m_nPatienceMs = kPatienceMs;
    std::optional<int> m_figure;
    std::optional<uint64_t> m_nBegun; // ticks, as the next two
    uint64_t m_nProgress = 0;         // the last progress, or somebody's wish to wait on
    uint64_t m_nAsked = 0;
};

} // namespace larkspin
