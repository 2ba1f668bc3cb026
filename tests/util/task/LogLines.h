#pragma once

#include <string>
#include <vector>

/// Returns the lines logged since the last forgetLogLines(), in order.
std::vector<std::string> loggedLines();

/// Returns those of them that are written already.
std::vector<std::string> linesWrittenByNow();

/// Returns what was printed as well, since then.
std::string printed();

void forgetLogLines();
