#pragma once

#include <string>
#include <vector>

/// Returns the entries of the program's log, without their dates, since the last call. The first
/// call starts the recording, so a test calls it before the code under test.
std::vector<std::string> loggedLines();
