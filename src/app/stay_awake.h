// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Keeps the machine up and awake while a job runs, by inhibitor locks of logind
// (org.freedesktop.login1.Manager.Inhibit). If there is no logind, or it refuses, there are no
// locks and nobody is told: the job works without them.
#pragma once

#include "platform/system_bus.h"

#include <vector>

namespace larkspin {

class StayAwake {
  public:
    // Takes the locks, which takes at most the few seconds that logind may need. May be called on
    // any thread. If `bus` is null, takes none.
    explicit StayAwake(ISystemBus* bus);
    StayAwake(const StayAwake&) = delete;
    StayAwake& operator=(const StayAwake&) = delete;
    // Releases them.
    ~StayAwake();

  private:
    std::vector<int> m_locks; // descriptors; logind frees a lock when its descriptor is closed
};

} // namespace larkspin
