// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "platform/event.h"

namespace larkspin {

bool CEvent::Lock(std::chrono::milliseconds timeout) {
    std::unique_lock lock(m_mutex);
    if (timeout == kForever) {
        m_changed.wait(lock, [this] { return m_bSet; });
    } else if (!m_changed.wait_for(lock, timeout, [this] { return m_bSet; })) {
        return false;
    }
    if (m_reset == Reset::Auto) {
        m_bSet = false;
    }
    return true;
}

void CEvent::Set() {
    // Notifies under the lock: a waiter that destroys the event right after waking up gets the lock
    // only when this call will not touch anything but the lock itself.
    const std::lock_guard lock(m_mutex);
    m_bSet = true;
    if (m_reset == Reset::Auto) {
        m_changed.notify_one();
    } else {
        m_changed.notify_all();
    }
}

bool CEvent::IsSet() {
    const std::lock_guard lock(m_mutex);
    return m_bSet;
}

} // namespace larkspin
