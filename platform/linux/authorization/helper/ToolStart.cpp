#include "platform/linux/authorization/helper/ToolStart.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>

namespace qf::native::helper {

namespace {

/// What a child ends with that could not become its tool.
constexpr int noTool = 127;

} // namespace

Pipe makePipe(int flags) {
    std::array<int, 2> ends{-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC | flags) != 0) {
        throw Refusal{Status::startFailed, "pipe: " + std::to_string(errno)};
    }
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

Refusal startFailure(Errno error) {
    return {Status::startFailed, std::to_string(error.number())};
}

void endWithParent(pid_t parent) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) {
        ::_exit(noTool);
    }
}

void outliveParent() {
    ::prctl(PR_SET_PDEATHSIG, 0);
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

Errno becomeTool(const Tool& tool, const std::vector<std::string>& arguments) {
    std::vector<std::string> strings{tool.path};
    strings.insert(strings.end(), arguments.begin(), arguments.end());
    std::vector<char*> words;
    words.reserve(strings.size() + 1);
    for (auto& string : strings) {
        words.push_back(string.data());
    }
    words.push_back(nullptr);
    std::array<std::string, 2> variables{"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL=C.UTF-8"};
    const std::array<char*, 3> environment{variables[0].data(), variables[1].data(), nullptr};
    ::fexecve(tool.file.descriptor.get(), words.data(), environment.data());
    return Errno::last();
}

void becomeToolOrEnd(const Tool& tool, const std::vector<std::string>& arguments) noexcept {
    static_cast<void>(becomeTool(tool, arguments));
    ::_exit(noTool);
}

void reportFailure(const FileDescriptor& report, const Refusal& refusal) {
    const ssize_t written = ::write(report.get(), refusal.about.data(), refusal.about.size());
    ::_exit(written < 0 ? EXIT_FAILURE : noTool);
}

bool hasStarted(Pipe& report, const std::string& path, std::chrono::milliseconds limit) {
    report.writeEnd.reset();
    pollfd told{report.readEnd.get(), POLLIN, 0};
    if (::poll(&told, 1, static_cast<int>(limit.count())) == 0) {
        return false;
    }
    std::string about(PIPE_BUF, '\0');
    ssize_t size = 0;
    do {
        size = ::read(report.readEnd.get(), about.data(), about.size());
    } while (size < 0 && errno == EINTR);
    if (size != 0) {
        about.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
        throw Refusal{Status::startFailed, path + ": " + about};
    }
    return true;
}

} // namespace qf::native::helper
