#pragma once

#include "platform/foundation/Text.h"

#include <algorithm>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// Code shared by the stand-ins for system tools.
namespace qf::native::tool {

/// Why a command was not carried out.
class ToolError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Thrown if the arguments are not a command of the tool.
class Misuse : public std::exception {};

/// Writes one line, preceded by the tool's name, to standard error.
inline void report(std::string_view tool, std::string_view message) {
    std::cerr << tool << ": " << text::printable(message) << '\n';
}

/// A tool's name, and what follows "usage: " if it is misused.
struct Description {
    std::string_view name;
    std::string_view usage;
};

/// Implements a tool's main(): passes the arguments after the tool's name to `command` and returns
/// the exit status. It is 0 if the command returns true and its output was written; 1 otherwise, or
/// if the command throws, which also writes one line with the reason to standard error; 2 after
/// Misuse, which also writes the usage there.
template <class Command>
int run(const Description& tool, int argc, char** argv, Command command) {
    constexpr int failure = 1;
    constexpr int misuse = 2;
    try {
        const std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
        return command(words) && std::cout.flush() ? 0 : failure;
    } catch (const Misuse&) {
        std::cerr << "usage: " << tool.usage << '\n';
        return misuse;
    } catch (const std::exception& error) {
        report(tool.name, error.what());
        return failure;
    }
}

} // namespace qf::native::tool
