#pragma once

#include <string>
#include <vector>

/// The entries of the program's log, without their dates, since the last call. The first call has
/// them recorded, so a test program calls it before what it looks at.
std::vector<std::string> loggedLines();
