// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Waits inside drive operations: how often the drive is asked again, and what ends the wait.
#pragma once

#include "drive/aspi_cd.h"

#include <cstdint>
#include <optional>
#include <span>

namespace larkspin {

// How often in a row a command is repeated at once because the drive reports a unit attention. A
// working drive reports each event once; a broken one must not hold a job for ever.
constexpr int kMaxAttentionRepeats = 100;
constexpr uint32_t kAttentionPauseMs = 10;

// False for a null pointer.
bool IsCancelled(const CancelFunctor* cancel);

// Sleeps for `milliseconds`. With a functor it sleeps in slices of at most 200 ms and calls it
// before each slice and at the end. Returns false as soon as the user has cancelled, else true.
bool SleepUnlessCancelled(IClock& clock, uint64_t milliseconds, const CancelFunctor* cancel);

// A single wait for a busy drive, from its first pause on. When the drive has made no progress for
// as long as the wait's patience, CAspiCD::SetBusyFunctor's functor decides, and again after each
// further period of that length.
class BusyWait {
  public:
    static constexpr uint64_t kPatienceMs = 120'000;

    // `cancel` may be null: then only the functor ends the wait.
    BusyWait(CAspiCD& drive, const CancelFunctor* cancel) : m_drive(drive), m_pCancel(cancel) {}

    // All three return true if the drive is to be asked again. False means that the user has
    // cancelled or that the wait was given up, for which see the drive's IsGivenUp. Once a wait has
    // been given up, later waits don't pause at all.
    bool Pause(uint64_t milliseconds);
    // The same for a drive that should soon be ready: the pause grows to an eighth of the time
    // waited so far, but to no more than 300 ms.
    bool ShortPause(uint64_t milliseconds);
    // The same for a caller that has already slept.
    bool GoOn();

    // The drive reported how far it is; a figure that differs from the last one is progress.
    void NoteFigure(int figure);
    // The same for sense data that may hold a figure (SPC, "Progress indication").
    void NoteSense(std::span<const uint8_t> sense);
    // For long work without a figure.
    void SetPatience(uint64_t milliseconds) { m_nPatienceMs = milliseconds; }

  private:
    void Begin();

    CAspiCD& m_drive;
    const CancelFunctor* m_pCancel;
    uint64_t m_nPatienceMs = kPatienceMs;
    std::optional<int> m_figure;
    std::optional<uint64_t> m_nBegun; // in ticks, like the next two
    uint64_t m_nProgress = 0;         // the last progress, or the last decision to wait on
    uint64_t m_nAsked = 0;
};

} // namespace larkspin
