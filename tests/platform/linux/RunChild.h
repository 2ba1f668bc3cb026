#pragma once

#include "tests/support/RunCommand.h"

/// Runs the tests' child program with these arguments, prefixed by the command `prefix`.
inline Outcome runChild(const std::vector<std::string>& arguments,
                        const std::vector<std::string>& environment = {},
                        const std::vector<std::string>& prefix = {}) {
    std::vector<std::string> command = prefix;
    command.emplace_back(QF_CHILD);
    command.insert(command.end(), arguments.begin(), arguments.end());
    return run(command, environment);
}

/// Returns why the child's command "without-writing" cannot run another; empty if it can.
inline std::string whyNotWithoutWriting() {
    const auto outcome = runChild({"without-writing", "account"});
    return outcome.status == 0 ? "" : outcome.output;
}
