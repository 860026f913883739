// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Balloons through the desktop's notification service (Desktop Notifications Specification 1.2).
// Unlike those of a tray icon, they can be replaced at once and need no tray. Main thread.
#pragma once

#include "ui/tray_icon.h"

#include <QDBusConnection>
#include <QObject>

#include <cstdint>
#include <functional>
#include <optional>

namespace larkspin {

class CNotifier final : public QObject {
    Q_OBJECT

  public:
    // `refused` is called for each balloon to which the service answered with an error, or not at
    // all.
    explicit CNotifier(std::function<void(const Balloon&)> refused);

    // Starts the service if necessary; false if the desktop has none. Each balloon replaces the
    // previous one.
    bool Show(const Balloon& balloon);

  private:
    bool IsThere() const;
    void Send(const Balloon& balloon);

    std::function<void(const Balloon&)> m_refused;
    QDBusConnection m_bus;
    bool m_bWaiting = false;       // for the number of the last balloon
    std::optional<Balloon> m_next; // to be sent when that is known
    uint32_t m_nShown = 0;         // 0: none yet
};

} // namespace larkspin
