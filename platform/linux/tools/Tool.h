#pragma once

#include "platform/foundation/Text.h"

#include <algorithm>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// What the stand-ins for system tools have in common.
namespace platform::native::tool {

/// Why a command was not carried out.
class ToolError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The words that a tool was called with are none of its commands.
class Misuse : public std::exception {};

/// Writes one line, the tool's name before it, to standard error.
inline void report(std::string_view tool, std::string_view message) {
    std::cerr << tool << ": " << text::printable(message) << '\n';
}

/// All of a tool's main(): hands the words behind the tool's own name to `command` and gives the
/// exit status. It is 0 when the command gives true and its output could be written; 1 when not, or
/// when it throws, which leaves its reason in one line on standard error; 2 after Misuse, which
/// leaves `usage` there.
template <class Command>
int run(std::string_view tool, std::string_view usage, int argc, char** argv, Command command) {
    constexpr int failure = 1;
    constexpr int misuse = 2;
    try {
        const std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
        return command(words) && std::cout.flush() ? 0 : failure;
    } catch (const Misuse&) {
        std::cerr << "usage: " << usage << '\n';
        return misuse;
    } catch (const std::exception& error) {
        report(tool, error.what());
        return failure;
    }
}

} // namespace platform::native::tool
