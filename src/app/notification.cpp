// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/notification.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace larkspin {

namespace {

constexpr int kNotifyTimeMs = 5000;
constexpr int kServersOwnTime = -1;
constexpr int kNever = 0;

} // namespace

bool Notify(const Notification& notification) {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        return false;
    }
    QDBusMessage call = QDBusMessage::createMethodCall("org.freedesktop.Notifications",
                                                       "/org/freedesktop/Notifications",
                                                       "org.freedesktop.Notifications", "Notify");
    // No "desktop-entry": some desktops remove a program's notifications when it exits.
    QVariantMap hints;
    if (notification.bSound) {
        hints.insert("sound-name", "complete-media-burn"); // Sound Naming Specification
    }
    // Servers may interpret markup in the body (body-markup).
    const QString body = QString::fromLocal8Bit(notification.text.c_str()).toHtmlEscaped();
    call.setArguments({QString("Larkspin"), 0U, QString("larkspin"), QString("Larkspin"), body,
                       QStringList(), hints, notification.bStays ? kNever : kServersOwnTime});
    return bus.call(call, QDBus::Block, kNotifyTimeMs).type() == QDBusMessage::ReplyMessage;
}

} // namespace larkspin
