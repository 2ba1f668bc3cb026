#pragma once

#include <string>

namespace qf {

/// Sets the application's name for the desktop, its lock and its messages: the last component of
/// its first argument. Must be called first, on the main thread.
void nameApplication(const char* const* arguments);

/// Returns the name; empty before it is set. Any thread.
const std::string& applicationName();

} // namespace qf
