// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "job_waiter.h"

namespace larkspin {

CJobWaiter::CJobWaiter(QDBusConnection bus, const QString& service, const QString& path,
                       const QString& interface)
    : m_watcher(service, bus, QDBusServiceWatcher::WatchForUnregistration) {
    bus.connect(service, path, interface, QStringLiteral("JobEnded"), this,
                SLOT(OnJobEnded(QString, QString)));
    connect(&m_watcher, &QDBusServiceWatcher::serviceUnregistered, this, [this] {
        m_bGone = true;
        m_loop.quit();
    });
}

std::optional<QString> CJobWaiter::Wait() {
    if (!m_result && !m_bGone) {
        m_loop.exec();
    }
    return m_result;
}

void CJobWaiter::OnJobEnded(const QString&, const QString& result) {
    if (!m_result) {
        m_result = result;
    }
    m_loop.quit();
}

} // namespace larkspin
