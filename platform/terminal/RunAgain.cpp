#include "platform/terminal/RunAgain.h"

#include <unistd.h>

namespace qf::terminal {

void runAgain(std::vector<std::string> arguments) {
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (auto& argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    ::execv("/proc/self/exe", pointers.data());
}

} // namespace qf::terminal
