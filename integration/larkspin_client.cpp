// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "larkspin_client.h"

#include "job_waiter.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDeadlineTimer>
#include <QFileInfo>
#include <QStandardPaths>
#include <QThread>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <optional>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace larkspin {

namespace {

constexpr const char* kServiceName = "org.larkspin.Larkspin";
constexpr const char* kObjectPath = "/org/larkspin/Larkspin";
constexpr const char* kInterface = "org.larkspin.Larkspin1";

// How the program ends: there is no drive, which it has told; no display; another instance that
// runs, or is on its way up or out; no lock.
constexpr int kNormalExit = 0;
constexpr int kNoDisplayExit = 253;
constexpr int kSecondInstanceExit = 254;
constexpr int kNoLockExit = 255;

constexpr int kStartTimeMs = 30000;
constexpr int kEndTimeMs = 10000;
constexpr int kLookTimeMs = 50;
// A call may have to wait for the summary of a large queue.
constexpr int kCallTimeMs = 120000;

QString FindProgram() {
    QString beside = QCoreApplication::applicationDirPath() + "/larkspin";
    if (QFileInfo(beside).isExecutable()) {
        return beside;
    }
    return QStandardPaths::findExecutable("larkspin");
}

// Output that a program which stays may keep: a file, or a terminal. Somebody waits for the end of
// a pipe.
bool MayKeep(int output) {
    struct stat st = {};
    return ::fstat(output, &st) == 0 && (S_ISREG(st.st_mode) || ::isatty(output) != 0);
}

// Starts the program in a session of its own, so that it outlives this one and its terminal. Of
// what we have open it gets no more than the output.
pid_t Spawn(const QString& program, const std::vector<std::string>& words = {}) {
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    for (const int output : {STDOUT_FILENO, STDERR_FILENO}) {
        if (!MayKeep(output)) {
            ::posix_spawn_file_actions_addopen(&actions, output, "/dev/null", O_WRONLY, 0);
        }
    }
    ::posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    std::string path = program.toLocal8Bit().toStdString();
    std::vector<std::string> texts = words;
    std::vector<char*> arguments = {path.data()};
    for (std::string& text : texts) {
        arguments.push_back(text.data());
    }
    arguments.push_back(nullptr);
    pid_t pid = -1;
    const int error =
        ::posix_spawn(&pid, path.c_str(), &actions, &attributes, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    ::posix_spawnattr_destroy(&attributes);
    if (error != 0) {
        throw SendError("cannot start " + path + ": " + std::system_category().message(error));
    }
    return pid;
}

// The exit code that an error of the bus tells of, which has it in its words alone.
std::optional<int> ExitOf(const QDBusError& error) {
    if (error.name() != "org.freedesktop.DBus.Error.Spawn.ChildExited") {
        return std::nullopt;
    }
    bool isNumber = false;
    const int code = error.message().section(QLatin1Char(' '), -1).toInt(&isNumber);
    return isNumber ? std::optional(code) : std::nullopt;
}

bool HasDisplay() {
    return !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

// Why a program that has been started is not there.
SendError NotStarted(std::optional<int> code, const std::string& otherwise) {
    switch (code.value_or(-1)) {
    case kNormalExit:
        return SendError("Larkspin has ended, as there is no drive that it can use");
    case kNoDisplayExit:
        return SendError("Larkspin needs a display for its windows, and there is none (is DISPLAY "
                         "or WAYLAND_DISPLAY set?)");
    case kNoLockExit:
        return SendError("Larkspin cannot make the lock that keeps a second instance away (can "
                         "you write to XDG_RUNTIME_DIR?)");
    default:
        return SendError(otherwise);
    }
}

} // namespace

void ShowInBox(const std::string& text) {
    if (const QString program = FindProgram(); HasDisplay() && !program.isEmpty()) {
        try {
            Spawn(program, {"--tell", text});
        } catch (const SendError&) {
            // It stands on standard error.
        }
    }
}

CLarkspinClient::CLarkspinClient() : m_bus(QDBusConnection::sessionBus()) {
    if (!m_bus.isConnected()) {
        throw SendError("there is no session bus to reach Larkspin by (is "
                        "DBUS_SESSION_BUS_ADDRESS set?)");
    }
}

bool CLarkspinClient::IsRunning() {
    return m_bus.interface()->isServiceRegistered(kServiceName);
}

void CLarkspinClient::Start() {
    if (IsRunning()) {
        return;
    }
    const QDBusReply<QStringList> known = m_bus.interface()->activatableServiceNames();
    if (known.isValid() && known.value().contains(kServiceName)) {
        StartByBus();
    } else {
        StartByFile();
    }
}

void CLarkspinClient::StartByBus() {
    const QDeadlineTimer deadline(kStartTimeMs);
    for (;;) {
        // The bus answers when the program has its name, or has failed to get it.
        const QDBusReply<void> started = m_bus.interface()->startService(kServiceName);
        if (started.isValid() || IsRunning()) {
            return;
        }
        const std::optional<int> code = ExitOf(started.error());
        if (code == kNoDisplayExit && HasDisplay()) {
            // The bus is older than the display, and nobody has told it of that.
            StartByFile();
            return;
        }
        if (code != kSecondInstanceExit || deadline.hasExpired()) {
            throw NotStarted(code, "Larkspin could not be started: " +
                                       started.error().message().toStdString());
        }
        QThread::msleep(kLookTimeMs);
    }
}

void CLarkspinClient::StartByFile() {
    const QString program = FindProgram();
    if (program.isEmpty()) {
        throw SendError("the program larkspin is neither beside larkspin-send nor in PATH");
    }
    pid_t pid = Spawn(program);
    const QDeadlineTimer deadline(kStartTimeMs);
    while (!IsRunning()) {
        int status = 0;
        if (::waitpid(pid, &status, WNOHANG) == pid) {
            const std::optional<int> code =
                WIFEXITED(status) ? std::optional(WEXITSTATUS(status)) : std::nullopt;
            if (code != kSecondInstanceExit) {
                throw NotStarted(code, "Larkspin ended before it could be reached");
            }
            // The other instance is on its way up, or on its way out: then one is needed again.
            QThread::msleep(kLookTimeMs);
            pid = Spawn(program);
        }
        if (deadline.hasExpired()) {
            throw SendError(
                "Larkspin was started, but does not answer; perhaps a window of its waits "
                "for you");
        }
        QThread::msleep(kLookTimeMs);
    }
    // One of ours that came too late has to be seen to go: if it looked for another instance only
    // when that has ended, it would stay, and nobody would want it.
    while (m_bus.interface()->servicePid(kServiceName).value() != static_cast<uint>(pid) &&
           ::waitpid(pid, nullptr, WNOHANG) == 0 && !deadline.hasExpired()) {
        QThread::msleep(kLookTimeMs);
    }
}

bool CLarkspinClient::WaitForEnd() {
    const QDeadlineTimer deadline(kEndTimeMs);
    while (IsRunning()) {
        if (deadline.hasExpired()) {
            return false;
        }
        QThread::msleep(kLookTimeMs);
    }
    return true;
}

QVariantList CLarkspinClient::Ask(const char* method, const QVariantList& arguments) {
    QDBusMessage call =
        QDBusMessage::createMethodCall(kServiceName, kObjectPath, kInterface, method);
    call.setAutoStartService(false);
    call.setArguments(arguments);
    const QDBusMessage reply = m_bus.call(call, QDBus::Block, kCallTimeMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        throw SendError("Larkspin does not answer: " + reply.errorMessage().toStdString());
    }
    return reply.arguments();
}

QString CLarkspinClient::WaitForJob() {
    CJobWaiter waiter(m_bus, kServiceName, kObjectPath, kInterface); // before the question
    if (!IsRunning()) {
        throw SendError("Larkspin does not run, so there is no job to wait for");
    }
    if (Ask("JobStatus").first().toString().isEmpty()) {
        return Ask("LastJobResult").first().toString();
    }
    if (const std::optional<QString> result = waiter.Wait()) {
        return *result;
    }
    throw SendError("Larkspin ended before it told how the job went");
}

} // namespace larkspin
