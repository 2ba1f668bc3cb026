#pragma once

#include "platform/foundation/Timeout.h"

#include <string>

/// Wait until no item exists at a path, or until one does, and return whether that happened within
/// the time-out. The path is checked once before any pause, so a time-out of zero does not pause,
/// and again after each. On the main thread a pause lets the user interface handle an event, for at
/// most 0.01 seconds; on other threads it is 0.3 seconds long.
bool waitUntilGone(const std::string& path, platform::Timeout timeout);
bool waitUntilThere(const std::string& path, platform::Timeout timeout);
