// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/dbus_endpoint.h"
#include "platform/text.h"

#include <QDBusConnection>
#include <QDBusMetaType>

#include <new>
#include <utility>

namespace larkspin {

namespace {

constexpr const char* kServiceName = "org.larkspin.Larkspin";
constexpr const char* kObjectPath = "/org/larkspin/Larkspin";

QString NameOf(JobKind kind) {
    switch (kind) {
    case JobKind::Data:
        return QStringLiteral("data");
    case JobKind::Audio:
        return QStringLiteral("audio");
    case JobKind::Image:
        return QStringLiteral("image");
    case JobKind::Erase:
        return QStringLiteral("erase");
    case JobKind::Verify:
        return QStringLiteral("verify");
    }
    return {};
}

QString NameOf(JobResult result) {
    switch (result) {
    case JobResult::None:
        return {};
    case JobResult::Done:
        return QStringLiteral("done");
    case JobResult::Failed:
        return QStringLiteral("failed");
    case JobResult::Cancelled:
        return QStringLiteral("cancelled");
    }
    return {};
}

} // namespace

CDbusEndpoint::CDbusEndpoint(CMainDlg& dialog, CCDWriter& writer, Post post)
    : m_dialog(dialog), m_writer(writer), m_post(std::move(post)) {
    qDBusRegisterMetaType<QByteArrayList>();
    m_writer.Monitor().OnChange([this] {
        if (m_bNewsPending.exchange(true)) { // a job may report thousands of times a second
            return;
        }
        try {
            m_post([this] { TellNews(); });
        } catch (const std::bad_alloc&) {
            m_bNewsPending = false;
            throw;
        }
    });
}

CDbusEndpoint::~CDbusEndpoint() {
    m_writer.Monitor().OnChange({});
    TellNews(); // the end of the last job is reported before the name is released
    if (m_bRegistered) {
        QDBusConnection bus = QDBusConnection::sessionBus();
        bus.unregisterService(kServiceName);
        bus.unregisterObject(kObjectPath);
    }
}

bool CDbusEndpoint::Register() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    // The object first: callers waiting for the name may call at once.
    m_bRegistered =
        bus.registerObject(kObjectPath, this,
                           QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals) &&
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

int CDbusEndpoint::VerifyDisk(const QString& drive) {
    return m_dialog.VerifyDisk(drive.toStdU16String());
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

QByteArrayList CDbusEndpoint::ListQueue() {
    QByteArrayList paths;
    for (const std::u16string& path : m_writer.Paths()) {
        paths << QByteArray::fromStdString(ToNative(path));
    }
    return paths;
}

QString CDbusEndpoint::JobStatus(int& percent, QString& text) {
    const JobNews news = m_writer.Monitor().News();
    percent = news.bRunning ? news.nPercent : kNoPercentage;
    text = news.bRunning ? QString::fromStdU16String(news.strStatus) : QString();
    return news.bRunning ? NameOf(news.kind) : QString();
}

QString CDbusEndpoint::LastJobResult() {
    return NameOf(m_writer.Monitor().News().result);
}

void CDbusEndpoint::TellNews() {
    m_bNewsPending = false;
    JobNews news = m_writer.Monitor().News();
    const bool isNew = news.nRun != m_told.nRun;
    if (isNew) {
        emit JobStarted(NameOf(news.kind));
    }
    if (news.bRunning &&
        (isNew || news.nPercent != m_told.nPercent || news.strStatus != m_told.strStatus)) {
        emit JobProgress(NameOf(news.kind), news.nPercent,
                         QString::fromStdU16String(news.strStatus));
    }
    if (!news.bRunning && (isNew || m_told.bRunning)) {
        emit JobEnded(NameOf(news.kind), NameOf(news.result));
    }
    m_told = std::move(news);
}

} // namespace larkspin
