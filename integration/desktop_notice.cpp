#include "desktop_notice.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <cstdio>
#include <unistd.h>

namespace larkspin {

namespace {

constexpr int kNotifyTimeMs = 5000;
constexpr int kServersOwnTime = -1; // org.freedesktop.Notifications: the server decides

bool HasTerminal() {
    return ::isatty(STDIN_FILENO) != 0 || ::isatty(STDOUT_FILENO) != 0 ||
           ::isatty(STDERR_FILENO) != 0;
}

// Servers may read markup in the body (Desktop Notifications Specification, body-markup).
QString Plain(const std::string& text) {
    return QString::fromLocal8Bit(text.c_str()).toHtmlEscaped();
}

void Notify(const std::string& text) {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall("org.freedesktop.Notifications",
                                                       "/org/freedesktop/Notifications",
                                                       "org.freedesktop.Notifications", "Notify");
    call.setArguments({QString("Larkspin"), 0U, QString("larkspin"), QString("Larkspin"),
                       Plain(text), QStringList(), QVariantMap(), kServersOwnTime});
    bus.call(call, QDBus::Block, kNotifyTimeMs);
}

} // namespace

void TellUser(const std::string& text) {
    std::fprintf(stderr, "larkspin-send: %s\n", text.c_str());
    if (!HasTerminal()) {
        Notify(text);
    }
}

} // namespace larkspin
