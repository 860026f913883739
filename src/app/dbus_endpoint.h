// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The command interface on the session bus: each message of the main dialog by its number, and a
// typed method for each one needed from outside. Calls arrive on the main thread.
//
// Paths are byte strings ("ay"), so that every possible file name survives. Results are those of
// the messages: 0 or -1 for starting a job, 1 or 2 for queries, 1 for the others, and 0 for a path
// that was rejected because the program is exiting.
//
// The installed file integration/desktop/org.larkspin.Larkspin1.xml describes this interface.
#pragma once

#include "app/main_dlg.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QObject>
#include <QString>

#include <atomic>
#include <functional>

namespace larkspin {

class CDbusEndpoint final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.larkspin.Larkspin1")

  public:
    using Post = std::function<void(std::function<void()>)>;

    // Both references must outlive the object. `post` runs functions on the main thread, as long as
    // the object exists.
    CDbusEndpoint(CMainDlg& dialog, CCDWriter& writer, Post post);
    // Releases the name on the bus.
    ~CDbusEndpoint() override;

    // Appears on the session bus. False if there is no bus or the name is taken; the program then
    // gets no messages from outside.
    bool Register();

  public slots:
    // `path` is only used for WM_COPYDATA (74), which here always has the tag of a path.
    int Message(uint number, const QByteArray& path);
    // The same with the argument of a WM_COMMAND or WM_COPYDATA.
    int MessageWithArgument(uint number, uint argument, const QByteArray& path);

    int AddPath(const QByteArray& path);
    int WriteData();
    int WriteAudio();
    int BurnImage(const QByteArray& path);
    // `verify` is a VerifyWish: 0 as in the settings, 1 yes, 2 no.
    int WriteData(uint verify);
    int WriteAudio(uint verify);
    int BurnImage(const QByteArray& path, uint verify);
    // "sr0", "/dev/sr0", or the drive's letter; may be empty if there is only one drive.
    int EraseDisk(const QString& drive);
    int VerifyDisk(const QString& drive);
    int QueryQueue();
    int QueryBusy();
    int TakeOverQueue();
    int Quit();

    // The paths in the queue, in queue order.
    QByteArrayList ListQueue();
    // "data", "audio", "image", "erase" or "verify", or empty if no job runs; `percent` is -1 if
    // unknown, `text` is the current activity.
    QString JobStatus(int& percent, QString& text);
    // "done", "failed", "cancelled", or empty if no job has ended yet.
    QString LastJobResult();

  signals:
    void JobStarted(const QString& job);
    void JobProgress(const QString& job, int percent, const QString& text);
    void JobEnded(const QString& job, const QString& result);

  private:
    void TellNews();

    CMainDlg& m_dialog;
    CCDWriter& m_writer;
    const Post m_post;
    std::atomic<bool> m_bNewsPending = false;
    JobNews m_told; // what the signals have already reported
    bool m_bRegistered = false;
};

} // namespace larkspin
