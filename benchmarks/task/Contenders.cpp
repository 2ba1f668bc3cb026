#include "benchmarks/task/Contenders.h"

#include "util/task/QFTaskEx.h"

#include <QProcess>

#include <fcntl.h>
#include <linux/close_range.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <stdexcept>

namespace {

void check(bool done) {
    if (!done) {
        throw std::runtime_error("a tool did not run");
    }
}

pid_t spawn(std::vector<std::string> command, const posix_spawn_file_actions_t* actions) {
    std::vector<char*> arguments;
    for (std::string& argument : command) {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    pid_t child = 0;
    check(::posix_spawn(&child, arguments.front(), actions, nullptr, arguments.data(), ::environ) ==
          0);
    return child;
}

} // namespace

void launchBare(const std::string& tool) {
    const pid_t child = spawn({tool}, nullptr);
    check(::waitpid(child, nullptr, 0) == child);
}

void launchWithQFTaskEx(const std::string& tool) {
    check(QFTaskEx::runTask(tool, {}));
}

void launchWithQProcess(const std::string& tool) {
    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(QString::fromStdString(tool), QStringList());
    check(process.waitForFinished(-1));
}

void launchCleanWithQProcess(const std::string& tool) {
    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.setChildProcessModifier([] {
        ::setpgid(0, 0);
        for (int signal = 1; signal < NSIG; ++signal) {
            ::signal(signal, SIG_DFL);
        }
        sigset_t none;
        ::sigemptyset(&none);
        ::sigprocmask(SIG_SETMASK, &none, nullptr);
        ::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
    });
    process.start(QString::fromStdString(tool), QStringList());
    check(process.waitForFinished(-1));
}

std::size_t captureBare(const std::vector<std::string>& command) {
    std::array<int, 2> ends{};
    check(::pipe2(ends.data(), O_CLOEXEC) == 0);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    const pid_t child = spawn(command, &actions);
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);

    std::vector<char> output;
    static std::array<char, 65536> buffer;
    for (ssize_t count = 0; (count = ::read(ends[0], buffer.data(), buffer.size())) > 0;) {
        output.insert(output.end(), buffer.begin(), buffer.begin() + count);
    }
    ::close(ends[0]);
    check(::waitpid(child, nullptr, 0) == child);
    return output.size();
}

std::size_t captureWithQFTaskEx(const std::vector<std::string>& command) {
    qf::TaskSlot task;
    const auto output = QFTaskEx::dataFromTask(
        command.front(), std::vector(command.begin() + 1, command.end()), task);
    check(output.has_value());
    return output->bytes.size();
}
