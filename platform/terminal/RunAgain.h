#pragma once

#include <string>
#include <vector>

namespace platform::terminal {

/// Runs the program of this process anew in its place, with these arguments, of which the first is
/// the program's name. Returns only when that cannot be done. Any thread.
void runAgain(std::vector<std::string> arguments);

} // namespace platform::terminal
