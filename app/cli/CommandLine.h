#pragma once

#include <optional>
#include <string>
#include <variant>

namespace cli {

/// What the program was told on its command line.
struct Options {
    bool uninstall = false;
    bool removeShared = false;
    bool quiet = false;
    bool terminal = false;
    bool list = false;
    bool json = false;
    /// Where the report goes.
    std::optional<std::string> report;
};

/// The options, or the status with which the process ends at once: help or the version was printed
/// on standard output, or a line on standard error says what is wrong.
std::variant<Options, int> parseCommandLine(int argc, char** argv, const std::string& version);

/// The option that has a program without a display ask on the terminal.
inline constexpr const char* terminalOption = "--terminal";

} // namespace cli
