#pragma once

#include <string>

namespace platform::qt {

/// Names the application after its first argument, as the desktop, its lock and its messages know
/// it: the last component. Called first, on the main thread.
void nameApplication(const char* const* arguments);

/// The name; empty before there is one. Any thread.
const std::string& applicationName();

} // namespace platform::qt
