#pragma once

#include <string>
#include <vector>

/// The lines logged since the last forgetLogLines(), in order.
std::vector<std::string> loggedLines();

/// What was printed as well, since then.
std::string printed();

void forgetLogLines();
