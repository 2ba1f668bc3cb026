#pragma once

#include <string>
#include <vector>

namespace qf::terminal {

/// Replaces this process by a new run of its program with these arguments, of which the first is
/// the program's name. Returns only on failure. Any thread.
void runAgain(std::vector<std::string> arguments);

} // namespace qf::terminal
