#include "platform/foundation/Text.h"
#include "platform/linux/tools/launchctl/Commands.h"

#include <sys/stat.h>

#include <algorithm>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    namespace launchctl = platform::native::launchctl;
    constexpr int failure = 1;
    constexpr int misuse = 2;
    // Unit files are read by more than their owner.
    ::umask(S_IWGRP | S_IWOTH);
    try {
        const std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
        if (launchctl::run(words) == launchctl::Outcome::misused) {
            std::cerr << "usage: launchctl load FILE | unload FILE | remove LABEL | list\n";
            return misuse;
        }
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "launchctl: " << platform::text::printable(error.what()) << '\n';
        return failure;
    }
}
