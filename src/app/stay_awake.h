// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Keeps the machine up and awake while a job runs: inhibitor locks of logind
// (org.freedesktop.login1.Manager.Inhibit). Where there is no logind, or it refuses, nothing is
// held and nobody is told: the job runs as well without.
#pragma once

#include "platform/system_bus.h"

#include <vector>

namespace larkspin {

class StayAwake {
  public:
    // Takes the locks, in the time that logind needs, which is at most a few seconds. On any
    // thread. Null for `bus` takes none.
    explicit StayAwake(ISystemBus* bus);
    StayAwake(const StayAwake&) = delete;
    StayAwake& operator=(const StayAwake&) = delete;
    // Gives them back.
    ~StayAwake();

  private:
    std::vector<int> m_locks; // descriptors; logind frees a lock when its descriptor is closed
};

} // namespace larkspin
