// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "jobs/busy_drive.h"
#include "jobs/prompts.h"

namespace larkspin {

namespace {

BusyAnswer Ask(CCDWriterUI& ui, IClock& clock) {
    // The box ignores input for its first second: an earlier answer did not come from a user.
    constexpr uint64_t kSoonestMs = 1000;
    const uint64_t shown = clock.TickMs();
    if (prompts::StopWaiting(ui)) {
        return BusyAnswer::GiveUp;
    }
    return clock.TickMs() - shown < kSoonestMs ? BusyAnswer::NobodyThere : BusyAnswer::WaitOn;
}

} // namespace

BusyQuestion::BusyQuestion(CCDWriterUI& ui, CAspiCD& drive) : m_drive(drive) {
    drive.SetGivenUp(false);
    drive.SetBusyFunctor([&ui, &drive] { return Ask(ui, drive.Clock()); });
}

BusyQuestion::~BusyQuestion() {
    m_drive.SetBusyFunctor(nullptr);
}

const char16_t* UnlessGivenUp(const CAspiCD& drive, const char16_t* text) {
    return drive.IsGivenUp() ? kGivenUp : text;
}

} // namespace larkspin
