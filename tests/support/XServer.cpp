#include "tests/support/XServer.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

ChildProgram::ChildProgram(std::vector<std::string> command, int openFile) {
    // A test program that dies early takes its children along.
    const auto withParent = {"setpriv", "--pdeathsig", "TERM"};
    command.insert(command.begin(), withParent.begin(), withParent.end());
    std::vector<char*> arguments;
    for (auto& argument : command) {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    constexpr int standardError = 2;
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, standardError, "/dev/null", O_WRONLY, 0);
    if (openFile >= 0) {
        // Duplicating a descriptor onto itself keeps it open in the child.
        ::posix_spawn_file_actions_adddup2(&actions, openFile, openFile);
    }
    if (::posix_spawnp(&process_, arguments[0], &actions, nullptr, arguments.data(), environ) !=
        0) {
        process_ = -1;
    }
    ::posix_spawn_file_actions_destroy(&actions);
}

ChildProgram::~ChildProgram() {
    if (process_ > 0) {
        ::kill(process_, SIGTERM);
        ::waitpid(process_, nullptr, 0);
    }
}

std::string missingCommands(const std::vector<std::string>& names) {
    std::string missing;
    for (const auto& name : names) {
        if (std::system(("command -v " + name + " >/dev/null").c_str()) != 0) {
            missing += (missing.empty() ? "" : ", ") + name;
        }
    }
    return missing;
}

XServer::XServer() {
    int pipe[2] = {-1, -1};
    if (::pipe2(pipe, O_CLOEXEC) != 0) {
        return;
    }
    // Without -noreset it would turn clients away for a moment whenever the last one leaves.
    server_ = std::make_unique<ChildProgram>(
        std::vector<std::string>{"Xvfb", "-displayfd", std::to_string(pipe[1]), "-screen", "0",
                                 "1366x768x24", "-nolisten", "tcp", "-noreset"},
        pipe[1]);
    ::close(pipe[1]);
    char digit = 0;
    while (::read(pipe[0], &digit, 1) == 1 && digit != '\n') {
        display_ += digit;
    }
    ::close(pipe[0]);
    if (!display_.empty()) {
        display_.insert(0, 1, ':');
    }
}
