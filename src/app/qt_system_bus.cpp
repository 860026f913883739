// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/qt_system_bus.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>
#include <QVariantMap>

#include <atomic>
#include <fcntl.h>

namespace larkspin {

namespace {

// A connection of its own to the bus, closed with the object.
class Connection {
  public:
    Connection() : m_strName(QStringLiteral("larkspin-system-%1").arg(++s_count)) {}
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() { QDBusConnection::disconnectFromBus(m_strName); }

    QDBusMessage Call(const QDBusMessage& message, int milliseconds) {
        const QDBusConnection bus =
            QDBusConnection::connectToBus(QDBusConnection::SystemBus, m_strName);
        if (!bus.isConnected()) {
            return QDBusMessage::createError(bus.lastError());
        }
        return bus.call(message, QDBus::Block, milliseconds);
    }

  private:
    static inline std::atomic<int> s_count = 0;

    const QString m_strName;
};

QVariant ToVariant(const BusArgument& argument) {
    if (const auto* text = std::get_if<std::string>(&argument)) {
        return QString::fromStdString(*text);
    }
    QVariantMap options;
    for (const auto& [name, value] : std::get<BusOptions>(argument)) {
        options.insert(QString::fromStdString(name), value);
    }
    return options;
}

class SystemBus final : public ISystemBus {
  public:
    BusReply Call(const BusCall& call) override {
        QDBusMessage message = QDBusMessage::createMethodCall(
            QString::fromStdString(call.service), QString::fromStdString(call.path),
            QString::fromStdString(call.interface), QString::fromStdString(call.method));
        for (const BusArgument& argument : call.arguments) {
            message << ToVariant(argument);
        }
        Connection connection;
        const QDBusMessage answer = connection.Call(message, static_cast<int>(call.limit.count()));
        BusReply reply;
        if (answer.type() != QDBusMessage::ReplyMessage) {
            reply.error = answer.errorName().toStdString();
            reply.text = answer.errorMessage().toStdString();
            if (reply.error.empty()) {
                reply.error = "org.freedesktop.DBus.Error.Disconnected";
            }
            return reply;
        }
        for (const QVariant& value : answer.arguments()) {
            if (value.canConvert<QDBusUnixFileDescriptor>()) {
                // The toolkit closes its own descriptor together with the message.
                const int own = value.value<QDBusUnixFileDescriptor>().fileDescriptor();
                reply.descriptor = ::fcntl(own, F_DUPFD_CLOEXEC, 0);
            }
        }
        return reply;
    }
};

} // namespace

ISystemBus& QtSystemBus() {
    static SystemBus bus;
    return bus;
}

} // namespace larkspin
