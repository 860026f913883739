// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/stay_awake.h"

#include <chrono>
#include <new>
#include <string>
#include <unistd.h>

namespace larkspin {

namespace {

constexpr std::chrono::seconds kLimit{2};

BusReply Inhibit(ISystemBus& bus, const std::string& what) {
    return bus.Call({"org.freedesktop.login1",
                     "/org/freedesktop/login1",
                     "org.freedesktop.login1.Manager",
                     "Inhibit",
                     {what, "Larkspin", "A disc is being made", "block"},
                     kLimit});
}

} // namespace

StayAwake::StayAwake(ISystemBus* bus) {
    if (bus == nullptr) {
        return;
    }
    try {
        // The lid separately: logind requires more rights for it, and may refuse only that.
        for (const char* what : {"shutdown:sleep:idle", "handle-lid-switch"}) {
            m_locks.reserve(m_locks.size() + 1); // before there is a lock that could be lost
            const BusReply reply = Inhibit(*bus, what);
            if (reply.Failed()) {
                return;
            }
            if (reply.descriptor >= 0) {
                m_locks.push_back(reply.descriptor);
            }
        }
    } catch (const std::bad_alloc&) { // as if logind had refused
    }
}

StayAwake::~StayAwake() {
    for (const int lock : m_locks) {
        ::close(lock);
    }
}

} // namespace larkspin
