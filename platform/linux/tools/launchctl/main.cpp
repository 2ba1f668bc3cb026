#include "platform/linux/tools/Tool.h"
#include "platform/linux/tools/launchctl/Commands.h"

#include <sys/stat.h>

int main(int argc, char** argv) {
    // Others than their owner read unit files.
    ::umask(S_IWGRP | S_IWOTH);
    return qf::native::tool::run(
        {.name = "launchctl", .usage = "launchctl load FILE | unload FILE | remove LABEL | list"},
        argc, argv, [](const std::vector<std::string>& words) {
            qf::native::launchctl::run(words);
            return true;
        });
}
