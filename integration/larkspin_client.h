// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// The outside's side of Larkspin's interface on the session bus.
//
// All calls block, on the calling thread. Failures are told by SendError with a text for the user.
#pragma once

#include <QDBusConnection>
#include <QString>
#include <QVariantList>

#include <stdexcept>
#include <string>

namespace larkspin {

// Has the program show `text` in a box, and does not wait for it. Nothing comes of it without a
// display.
void ShowInBox(const std::string& text);

class SendError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class CLarkspinClient {
  public:
    // Throws SendError without a session bus.
    CLarkspinClient();

    bool IsRunning();
    // Starts the program if it does not run, and waits until it answers: through the message bus
    // where the program is installed for it, else the file "larkspin" beside this program or in
    // $PATH. Throws SendError if it can't be started, ends again, or takes more than 30 seconds.
    void Start();
    // Waits until the program has gone. False if it is still there after ten seconds: it has a job
    // to finish.
    bool WaitForEnd();
    // Calls a method that takes `arguments`; all that it gives, at least one value. Throws
    // SendError.
    QVariantList Ask(const char* method, const QVariantList& arguments = {});
    // The same for one that gives a number.
    int Call(const char* method, const QVariantList& arguments = {}) {
        return Ask(method, arguments).first().toInt();
    }
    // Waits for the end of the job that runs. How it ended, or the last one if none runs: "done",
    // "failed", "cancelled"; empty if none has ended yet. Throws SendError if the program goes
    // before it has told.
    QString WaitForJob();

  private:
    void StartByBus();
    void StartByFile();

    QDBusConnection m_bus;
};

} // namespace larkspin
