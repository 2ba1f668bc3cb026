#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace cli {

/// The options on the program's command line.
struct Options {
    bool uninstall = false;
    bool allUsers = false;
    bool removeShared = false;
    bool quiet = false;
    bool terminal = false;
    bool list = false;
    bool json = false;
    bool putBack = false;
    bool window = false;
    bool empty = false;
    bool yes = false;
    bool listRuns = false;
    bool showLast = false;
    /// The number of the run to put back or empty; the last uninstall if there is none.
    std::optional<unsigned> run;
    /// Where the report goes.
    std::optional<std::string> report;
};

/// The report's name that means standard output.
inline constexpr const char* standardOutput = "-";

/// Returns the words that make the program do as one account, silently, what it was asked to do for
/// all; its report goes to standard output.
std::vector<std::string> optionsForAccount(const Options& options);

/// Returns the options, or the status with which the process must end at once: help or the version
/// was printed on standard output, or an error on standard error.
std::variant<Options, int> parseCommandLine(int argc, char** argv, const std::string& version);

/// The option that makes the program ask on the terminal.
inline constexpr const char* terminalOption = "--terminal";
inline constexpr const char* putBackOption = "--put-back";

} // namespace cli
