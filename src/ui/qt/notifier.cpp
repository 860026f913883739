// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/qt/notifier.h"

#include "ui/qt/qt_text.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QVariantMap>

#include <utility>

namespace larkspin {

namespace {

const char* const kService = "org.freedesktop.Notifications";

QString IconName(BalloonIcon icon) {
    switch (icon) {
    case BalloonIcon::None:
        return {};
    case BalloonIcon::Information:
        return QStringLiteral("dialog-information");
    case BalloonIcon::Warning:
        return QStringLiteral("dialog-warning");
    case BalloonIcon::Error:
        return QStringLiteral("dialog-error");
    }
    return {};
}

} // namespace

CNotifier::CNotifier(std::function<void(const Balloon&)> refused)
    : m_refused(std::move(refused)), m_bus(QDBusConnection::sessionBus()) {}

bool CNotifier::Show(const Balloon& balloon) {
    if (!m_bus.isConnected() || !IsThere()) {
        return false;
    }
    if (m_bWaiting) {
        m_next = balloon;
    } else {
        Send(balloon);
    }
    return true;
}

// A service that the message bus starts on demand counts, too.
bool CNotifier::IsThere() const {
    return m_bus.interface()->isServiceRegistered(kService) ||
           m_bus.interface()->activatableServiceNames().value().contains(kService);
}

void CNotifier::Send(const Balloon& balloon) {
    QDBusMessage call =
        QDBusMessage::createMethodCall(kService, QStringLiteral("/org/freedesktop/Notifications"),
                                       kService, QStringLiteral("Notify"));
    // A notification's title must not be empty; its body may be read as markup.
    const QString title = ToQt(balloon.strTitle);
    call << ToQt(CCDWriterUITrayIcon::kTip) << m_nShown << IconName(balloon.icon)
         << (title.isEmpty() ? ToQt(CCDWriterUITrayIcon::kTip) : title)
         << ToQt(balloon.strText).toHtmlEscaped() << QStringList() << QVariantMap()
         << static_cast<int>(balloon.nTimeoutMs);
    m_bWaiting = true;
    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, balloon] {
        const QDBusPendingReply<uint> reply = *watcher;
        watcher->deleteLater();
        m_nShown = reply.isError() ? 0 : reply.value();
        if (reply.isError()) {
            m_refused(balloon);
        }
        m_bWaiting = false;
        if (m_next) {
            const Balloon next = *m_next;
            m_next.reset();
            Send(next);
        }
    });
}

} // namespace larkspin
