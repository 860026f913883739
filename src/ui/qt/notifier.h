// Balloons through the desktop's notification service (Desktop Notifications Specification 1.2):
// unlike those of a tray icon they can be replaced at once, and they need no tray. Main thread.
#pragma once

#include "ui/tray_icon.h"

#include <QDBusConnection>
#include <QObject>

#include <cstdint>
#include <optional>

namespace larkspin {

class CNotifier final : public QObject {
    Q_OBJECT

  public:
    CNotifier();

    // False if the desktop has no such service. A balloon replaces the one before.
    bool Show(const Balloon& balloon);

  private:
    void Send(const Balloon& balloon);

    QDBusConnection m_bus;
    bool m_bWaiting = false;       // for the number of the balloon sent last
    std::optional<Balloon> m_next; // to be sent when it is known
    uint32_t m_nShown = 0;         // 0: none yet
};

} // namespace larkspin
