#include "app/dbus_endpoint.h"
#include "platform/text.h"

#include <QDBusConnection>

namespace larkspin {

namespace {

constexpr const char* kServiceName = "org.larkspin.Larkspin";
constexpr const char* kObjectPath = "/org/larkspin/Larkspin";

} // namespace

CDbusEndpoint::~CDbusEndpoint() {
    if (m_bRegistered) {
        QDBusConnection bus = QDBusConnection::sessionBus();
        bus.unregisterService(kServiceName);
        bus.unregisterObject(kObjectPath);
    }
}

bool CDbusEndpoint::Register() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    // The object first: whoever waits for the name may call at once.
    m_bRegistered = bus.registerObject(kObjectPath, this, QDBusConnection::ExportAllSlots) &&
                    bus.registerService(kServiceName);
    return m_bRegistered;
}

int CDbusEndpoint::Message(uint number, const QByteArray& path) {
    return MessageWithArgument(number, number == WM_COPYDATA ? COPYDATA_PATH_TAG : 0, path);
}

int CDbusEndpoint::MessageWithArgument(uint number, uint argument, const QByteArray& path) {
    return m_dialog.ProcessMessage(number, argument,
                                   ToWide({path.constData(), static_cast<size_t>(path.size())}));
}

int CDbusEndpoint::AddPath(const QByteArray& path) {
    Message(WM_COPYDATA, path);
    return m_dialog.ProcessMessage(UM_ADD_PATH);
}

int CDbusEndpoint::WriteData() {
    return WriteData(0);
}

int CDbusEndpoint::WriteAudio() {
    return WriteAudio(0);
}

int CDbusEndpoint::BurnImage(const QByteArray& path) {
    return BurnImage(path, 0);
}

int CDbusEndpoint::WriteData(uint verify) {
    return m_dialog.ProcessMessage(UM_WRITE_DATA, verify);
}

int CDbusEndpoint::WriteAudio(uint verify) {
    return m_dialog.ProcessMessage(UM_WRITE_AUDIO, verify);
}

int CDbusEndpoint::BurnImage(const QByteArray& path, uint verify) {
    Message(WM_COPYDATA, path);
    return m_dialog.ProcessMessage(UM_BURN_IMAGE, verify);
}

int CDbusEndpoint::EraseDisk(const QString& drive) {
    return m_dialog.EraseDisk(drive.toStdU16String());
}

int CDbusEndpoint::QueryQueue() {
    return m_dialog.ProcessMessage(UM_QUERY_QUEUE);
}

int CDbusEndpoint::QueryBusy() {
    return m_dialog.ProcessMessage(UM_QUERY_BUSY);
}

int CDbusEndpoint::TakeOverQueue() {
    return m_dialog.ProcessMessage(UM_TAKE_OVER_QUEUE);
}

int CDbusEndpoint::Quit() {
    return m_dialog.ProcessMessage(UM_QUIT);
}

} // namespace larkspin
