#include "platform/linux/helper/ToolStart.h"

#include "platform/linux/helper/Refusal.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <vector>

namespace platform::native::helper {

Pipe makePipe(int flags) {
    std::array<int, 2> ends{-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC | flags) != 0) {
        throw Refusal{Status::startFailed, "pipe: " + std::to_string(errno)};
    }
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

void failToStart(const FileDescriptor& report) {
    const int error = errno;
    const ssize_t written = ::write(report.get(), &error, sizeof error);
    ::_exit(written == sizeof error ? 127 : 126);
}

void becomeTool(const Command& command, const FileDescriptor& report) {
    for (const auto& folder : command.folders) {
        ::fcntl(folder.descriptor.get(), F_SETFD, 0);
    }
    std::vector<std::string> strings{command.path};
    strings.insert(strings.end(), command.arguments.begin(), command.arguments.end());
    std::vector<char*> arguments;
    arguments.reserve(strings.size() + 1);
    for (auto& string : strings) {
        arguments.push_back(string.data());
    }
    arguments.push_back(nullptr);
    std::array<std::string, 2> variables{"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL=C.UTF-8"};
    const std::array<char*, 3> environment{variables[0].data(), variables[1].data(), nullptr};
    ::fexecve(command.tool.descriptor.get(), arguments.data(), environment.data());
    failToStart(report);
}

void leaveTheHelperBehind(int input, int output, int errors) {
    ::setsid();
    for (int signal = 1; signal < NSIG; ++signal) {
        ::signal(signal, SIG_DFL);
    }
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::dup2(input, STDIN_FILENO);
    ::dup2(output, STDOUT_FILENO);
    ::dup2(errors, STDERR_FILENO);
}

void awaitStart(Pipe& report, const std::string& path) {
    report.writeEnd.reset();
    int error = 0;
    ssize_t size = 0;
    do {
        size = ::read(report.readEnd.get(), &error, sizeof error);
    } while (size < 0 && errno == EINTR);
    if (size != 0) {
        throw Refusal{Status::startFailed, path + ": " + std::to_string(error)};
    }
}

} // namespace platform::native::helper
