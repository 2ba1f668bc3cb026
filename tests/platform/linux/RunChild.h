#pragma once

#include "tests/support/RunCommand.h"

/// Runs the test's own child program, behind `prefix`, with these arguments.
inline Outcome runChild(const std::vector<std::string>& arguments,
                        const std::vector<std::string>& environment = {},
                        const std::vector<std::string>& prefix = {}) {
    std::vector<std::string> command = prefix;
    command.emplace_back(QF_CHILD);
    command.insert(command.end(), arguments.begin(), arguments.end());
    return run(command, environment);
}

/// Why the child's command "without-writing" does not run another; empty when it does.
inline std::string whyNotWithoutWriting() {
    const auto outcome = runChild({"without-writing", "account"});
    return outcome.status == 0 ? "" : outcome.output;
}
