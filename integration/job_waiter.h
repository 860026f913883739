// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// Waits for the signal that a job has ended.
#pragma once

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QEventLoop>
#include <QObject>
#include <QString>

#include <optional>

namespace larkspin {

class CJobWaiter final : public QObject {
    Q_OBJECT

  public:
    // Listens from now on.
    CJobWaiter(QDBusConnection bus, const QString& service, const QString& path,
               const QString& interface);

    // How the first job has ended that ends after the object was made. Empty if the program has
    // gone without a word.
    std::optional<QString> Wait();

  private slots:
    void OnJobEnded(const QString& job, const QString& result);

  private:
    QDBusServiceWatcher m_watcher;
    QEventLoop m_loop;
    std::optional<QString> m_result;
    bool m_bGone = false;
};

} // namespace larkspin
