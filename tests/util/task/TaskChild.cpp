// A program that runs a tool on its terminal, for the tests that need one of their own: task_child
// SCRIPT [SECONDS]. Tells that the shell script is over, its status, whether the terminal is the
// program's own again, and the next line that is typed.

#include "platform/StartUp.h"
#include "util/task/QFTaskEx.h"

#include <iostream>
#include <string>
#include <unistd.h>
#include <vector>

int main(int argc, char* argv[]) {
    const std::vector<std::string> given(argv + 1, argv + argc);
    platform::installServices();
    return platform::consoleMain([&given] {
        const TaskArguments arguments{"-c", given.at(0)};
        const int status =
            given.size() > 1
                ? QFTaskEx::terminationCodeFromTask("/bin/sh", arguments, std::stoi(given.at(1)))
                : QFTaskEx::terminationCodeFromTask("/bin/sh", arguments);
        std::cout << "over" << std::endl;
        const bool own = ::tcgetpgrp(STDIN_FILENO) == ::getpgrp();
        std::string line;
        std::getline(std::cin, line);
        std::cout << "status " << status << (own ? ", own terminal" : ", no terminal") << ", then "
                  << line << std::endl;
        return 0;
    });
}
