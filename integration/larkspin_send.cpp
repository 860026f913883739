// SPDX-FileCopyrightText: The Larkspin developers
// SPDX-License-Identifier: GPL-3.0-or-later
//
// larkspin-send: what the file manager, and anybody at a terminal, tells Larkspin by.
#include "desktop_notice.h"
#include "larkspin_client.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QCoreApplication>
#include <QDBusArgument>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace larkspin {

namespace {

enum ExitCode {
    kDone = 0,
    kRefused = 1,
    kUsage = 2,
    kNoPath = 3,
    kNoProgram = 4,
    kJobFailed = 5,
    kCancelled = 6
};

constexpr const char* kHelp = R"(Usage: larkspin-send COMMAND [ARGUMENT...]

  add PATH...    add files and folders to the queue; file:// addresses are taken too
  write-data     write the queue to a data disc
  write-audio    write the queue as an audio CD
  burn IMAGE     copy an image file to a disc
  erase [DRIVE]  erase the disc in a drive, such as sr0; it may be left out if there is but one
  verify [DRIVE] read all of the disc in a drive, and tell which files cannot be read
  list [-0]      print the paths in the queue, one a line; -0: with a NUL behind each
  status         tell which job runs, how far it is, and what it does now
  wait           wait until the job that runs has ended; the exit code tells how it, or if none
                 runs the last one, has ended
  query          tell whether the queue holds something, and whether a job runs
  take-over      take the queue over: it is cleared, and Larkspin stays quiet about it
  quit           end Larkspin; a job that runs is finished first
  --help         this text
  --version      the version of the program

Options of write-data, write-audio and burn, in front of what else they take:
  --verify       tick "Verify" in the dialog: the disc is read back when it is written
  --no-verify    untick it

Larkspin is started if it does not run; list, status, wait, query and quit never start it. What is
written, where and how fast is asked by Larkspin itself.

Exit codes:
  0  done
  1  Larkspin refused: the queue is empty, there is no such drive, a job runs, or Larkspin ends
  2  wrong usage
  3  a file or folder cannot be found
  4  Larkspin cannot be started or reached
  5  wait: the job has failed
  6  wait: the job was cancelled
)";

class PathError : public SendError {
  public:
    using SendError::SendError;
};

std::string CanonicalPath(const std::string& path) {
    const std::unique_ptr<char, decltype(&std::free)> found(::realpath(path.c_str(), nullptr),
                                                            &std::free);
    if (found == nullptr) {
        throw PathError("cannot find \"" + path + "\": " + std::strerror(errno));
    }
    return found.get();
}

// The absolute path of something that exists. A link keeps its own name: that is the one the user
// picked. The folders on the way are resolved, and so is a last part that is no name.
std::string AbsolutePath(std::string path) {
    struct stat st = {};
    if (path.empty() || ::lstat(path.c_str(), &st) != 0) {
        throw PathError("cannot find \"" + path +
                        "\": " + std::strerror(path.empty() ? ENOENT : errno));
    }
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    const size_t slash = path.rfind('/');
    const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    if (name.empty() || name == "." || name == "..") {
        return CanonicalPath(path);
    }
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const std::string parent = CanonicalPath(folder);
    return (parent == "/" ? parent : parent + "/") + name;
}

// The path of a file of this machine that is given by its address (RFC 8089), as file managers
// give it; anything else is a path as it stands.
std::string PathOfAddress(const std::string& word) {
    for (const std::string_view prefix : {"file:///", "file://localhost/"}) {
        if (word.starts_with(prefix)) {
            const QByteArray path = QByteArray::fromStdString(word.substr(prefix.size() - 1));
            return QByteArray::fromPercentEncoding(path).toStdString();
        }
    }
    return word;
}

QByteArray PathArgument(const std::string& word) {
    return QByteArray::fromStdString(AbsolutePath(PathOfAddress(word)));
}

// Takes the options that stand first in `words`, and gives the argument of the D-Bus methods.
uint TakeVerifyWish(std::vector<std::string>* words) {
    uint wish = 0;
    while (!words->empty() && (words->front() == "--verify" || words->front() == "--no-verify")) {
        wish = words->front() == "--verify" ? 1 : 2;
        words->erase(words->begin());
    }
    return wish;
}

// The answer to the start of a job.
int Started(int result, const char* reason) {
    if (result == 0) {
        return kDone;
    }
    TellUser(std::string("refused: ") + reason);
    return kRefused;
}

// False if the program is on its way out, and some or all of the paths are lost with it.
bool AddAll(CLarkspinClient& client, const std::vector<QByteArray>& paths) {
    try {
        return std::all_of(paths.begin(), paths.end(), [&client](const QByteArray& path) {
            return client.Call("AddPath", {path}) != 0;
        });
    } catch (const SendError&) {
        if (client.IsRunning()) {
            throw;
        }
        return false;
    }
}

int Add(const std::vector<std::string>& paths, uint) {
    // All of them are looked at first: half a selection is no selection.
    std::vector<QByteArray> absolute;
    absolute.reserve(paths.size());
    for (const std::string& path : paths) {
        absolute.push_back(PathArgument(path));
    }
    CLarkspinClient client;
    client.Start();
    while (!AddAll(client, absolute)) {
        if (!client.WaitForEnd()) {
            TellUser("refused: Larkspin ends when its job is done; add the files after that");
            return kRefused;
        }
        client.Start();
    }
    return kDone;
}

int WriteData(const std::vector<std::string>&, uint verify) {
    CLarkspinClient client;
    client.Start();
    return Started(client.Call("WriteData", {verify}), "the queue is empty, or a job runs");
}

int WriteAudio(const std::vector<std::string>&, uint verify) {
    CLarkspinClient client;
    client.Start();
    return Started(client.Call("WriteAudio", {verify}), "the queue is empty, or a job runs");
}

int Burn(const std::vector<std::string>& image, uint verify) {
    const QByteArray path = PathArgument(image.front());
    CLarkspinClient client;
    client.Start();
    return Started(client.Call("BurnImage", {path, verify}), "a job runs");
}

int CallForDrive(const char* method, const std::vector<std::string>& drive) {
    CLarkspinClient client;
    client.Start();
    const QString name = drive.empty() ? QString() : QString::fromLocal8Bit(drive.front().c_str());
    return Started(client.Call(method, {name}), "there is no such drive, or a job runs");
}

int Erase(const std::vector<std::string>& drive, uint) {
    return CallForDrive("EraseDisk", drive);
}

int Verify(const std::vector<std::string>& drive, uint) {
    return CallForDrive("VerifyDisk", drive);
}

int Query(const std::vector<std::string>&, uint) {
    CLarkspinClient client;
    if (!client.IsRunning()) {
        std::puts("Larkspin does not run.");
        return kDone;
    }
    const bool empty = client.Call("QueryQueue") == 1;
    const bool idle = client.Call("QueryBusy") == 1;
    std::printf("queue: %s\njob: %s\n", empty ? "empty" : "holds items", idle ? "none" : "runs");
    return kDone;
}

int List(const std::vector<std::string>& option, uint) {
    CLarkspinClient client;
    if (!option.empty() && option.front() != "-0") {
        TellUser("unknown option " + option.front() + "; see larkspin-send --help");
        return kUsage;
    }
    if (!client.IsRunning()) {
        return kDone; // an empty queue
    }
    for (const QByteArray& path : qdbus_cast<QByteArrayList>(client.Ask("ListQueue").first())) {
        std::fwrite(path.constData(), 1, static_cast<size_t>(path.size()), stdout);
        std::putchar(option.empty() ? '\n' : '\0');
    }
    return kDone;
}

int Status(const std::vector<std::string>&, uint) {
    CLarkspinClient client;
    if (!client.IsRunning()) {
        std::puts("Larkspin does not run.");
        return kDone;
    }
    const QVariantList status = client.Ask("JobStatus");
    const QString job = status.value(0).toString();
    if (job.isEmpty()) {
        std::puts("job: none");
        return kDone;
    }
    std::printf("job: %s\n", qPrintable(job));
    if (const int percent = status.value(1).toInt(); percent >= 0) {
        std::printf("done: %d%%\n", percent);
    }
    if (const QString text = status.value(2).toString(); !text.isEmpty()) {
        std::printf("now: %s\n", qPrintable(text));
    }
    return kDone;
}

int Wait(const std::vector<std::string>&, uint) {
    // Larkspin itself has told the user.
    const QString result = CLarkspinClient().WaitForJob();
    if (result == "failed") {
        std::fputs("larkspin-send: the job has failed\n", stderr);
        return kJobFailed;
    }
    if (result == "cancelled") {
        std::fputs("larkspin-send: the job was cancelled\n", stderr);
        return kCancelled;
    }
    return kDone; // or there was no job
}

int TakeOver(const std::vector<std::string>&, uint) {
    CLarkspinClient client;
    client.Start();
    client.Call("TakeOverQueue");
    return kDone;
}

int Quit(const std::vector<std::string>&, uint) {
    CLarkspinClient client;
    if (client.IsRunning()) {
        try {
            client.Call("Quit");
        } catch (const SendError&) {
            // It may be gone before its answer is out.
            if (client.IsRunning()) {
                throw;
            }
        }
    }
    return kDone;
}

struct Command {
    const char* name;
    size_t fewest; // arguments
    size_t most;
    int (*run)(const std::vector<std::string>& arguments, uint verify);
    bool writes = false; // takes the options
};

constexpr std::array<Command, 12> kCommands = {{
    {"add", 1, SIZE_MAX, Add},
    {"write-data", 0, 0, WriteData, true},
    {"write-audio", 0, 0, WriteAudio, true},
    {"burn", 1, 1, Burn, true},
    {"erase", 0, 1, Erase},
    {"verify", 0, 1, Verify},
    {"list", 0, 1, List},
    {"status", 0, 0, Status},
    {"wait", 0, 0, Wait},
    {"query", 0, 0, Query},
    {"take-over", 0, 0, TakeOver},
    {"quit", 0, 0, Quit},
}};

int Run(const std::vector<std::string>& words) {
    if (words.empty()) {
        std::fputs(kHelp, stderr);
        return kUsage;
    }
    if (words[0] == "--help" || words[0] == "-h") {
        std::fputs(kHelp, stdout);
        return kDone;
    }
    if (words[0] == "--version") {
        std::puts("larkspin-send " LARKSPIN_VERSION);
        return kDone;
    }
    for (const Command& command : kCommands) {
        if (words[0] != command.name) {
            continue;
        }
        std::vector<std::string> arguments(words.begin() + 1, words.end());
        const uint verify = command.writes ? TakeVerifyWish(&arguments) : 0;
        if (!arguments.empty() && arguments.front() == "--") {
            arguments.erase(arguments.begin());
        }
        if (arguments.size() < command.fewest || arguments.size() > command.most) {
            TellUser(std::string("wrong number of arguments for ") + command.name +
                     "; see larkspin-send --help");
            return kUsage;
        }
        return command.run(arguments, verify);
    }
    TellUser("unknown command " + words[0] + "; see larkspin-send --help");
    return kUsage;
}

} // namespace

} // namespace larkspin

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    int code = larkspin::kDone;
    try {
        code = larkspin::Run({argv + 1, argv + argc});
    } catch (const larkspin::PathError& error) {
        larkspin::TellUser(error.what());
        code = larkspin::kNoPath;
    } catch (const larkspin::SendError& error) {
        larkspin::TellUser(error.what());
        code = larkspin::kNoProgram;
    }
    // The bus has a thread, and a message that came while the statics go would find no types. To
    // disconnect ends the connection later, in that thread, and would open one for --help.
    std::fflush(nullptr);
    std::_Exit(code);
}
