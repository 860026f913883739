#include "drive/linux/system_calls.h"

#include <array>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace larkspin {

namespace {

class RealSystemCalls final : public ISystemCalls {
  public:
    int Open(const std::string& path, int flags) override {
        const int descriptor = ::open(path.c_str(), flags);
        return descriptor >= 0 ? descriptor : -errno;
    }

    void Close(int descriptor) override { ::close(descriptor); }

    int Ioctl(int descriptor, unsigned long request, void* argument) override {
        const int result = ::ioctl(descriptor, request, argument);
        return result >= 0 ? result : -errno;
    }

    std::string ReadText(const std::string& path) override {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    std::string ReadLink(const std::string& path) override {
        std::array<char, PATH_MAX> target = {};
        const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
        return length > 0 ? std::string(target.data(), static_cast<size_t>(length)) : std::string();
    }

    bool Unmount(const std::string& devicePath) override {
        std::string device = devicePath;
        std::string program = "udisksctl";
        std::string verb = "unmount";
        std::string deviceOption = "-b";
        std::string quietOption = "--no-user-interaction";
        const std::array<char*, 6> arguments = {program.data(),      verb.data(),
                                                deviceOption.data(), device.data(),
                                                quietOption.data(),  nullptr};
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            ::posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_RDWR, 0);
        pid_t child = -1;
        const int error =
            ::posix_spawnp(&child, program.c_str(), &actions, nullptr, arguments.data(), environ);
        ::posix_spawn_file_actions_destroy(&actions);
        if (error != 0)
            return false;
        int status = 0;
        while (::waitpid(child, &status, 0) < 0) {
            if (errno != EINTR)
                return false;
        }
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
};

} // namespace

ISystemCalls& LinuxSystemCalls() {
    static RealSystemCalls calls;
    return calls;
}

} // namespace larkspin
