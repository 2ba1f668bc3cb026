// A program that runs a tool on its terminal, for tests that need a separate process: task_child
// SCRIPT [SECONDS [OTHER]]. Prints that the shell script has ended, its status, whether the
// terminal is the program's own again, and the next line that is typed. OTHER runs at the same
// time; SCRIPT is started once OTHER has created the file "begun" in the home directory, and the
// output is printed once both have ended.

#include "platform/StartUp.h"
#include "util/task/QFTaskEx.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <iostream>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr const char* shell = "/bin/sh";

int statusOf(const std::vector<std::string>& given) {
    const qf::TaskArguments arguments{"-c", given.at(0)};
    return given.size() > 1
               ? QFTaskEx::terminationCodeFromTask(shell, arguments, std::stoi(given.at(1)))
               : QFTaskEx::terminationCodeFromTask(shell, arguments);
}

std::future<bool> startOther(const std::vector<std::string>& given) {
    if (given.size() < 3) {
        return {};
    }
    auto run = std::async(std::launch::async, [other = given.at(2)] {
        return QFTaskEx::runTask(shell, {"-c", other});
    });
    const auto begun = std::filesystem::path(std::getenv("HOME")) / "begun";
    while (!std::filesystem::exists(begun)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return run;
}

} // namespace

int main(int argc, char* argv[]) {
    const std::vector<std::string> given(argv + 1, argv + argc);
    qf::installServices();
    return qf::consoleMain([&given] {
        const auto other = startOther(given);
        const int status = statusOf(given);
        std::cout << "over" << std::endl;
        if (other.valid()) {
            other.wait();
        }
        const bool own = ::tcgetpgrp(STDIN_FILENO) == ::getpgrp();
        std::string line;
        std::getline(std::cin, line);
        std::cout << "status " << status << (own ? ", own terminal" : ", no terminal") << ", then "
                  << line << std::endl;
        return 0;
    });
}
