#pragma once

#include "platform/foundation/Timeout.h"

#include <string>

/// Wait until nothing stands at a path any more, or until something does, and tell whether that
/// came to be within the time-out. The path is looked at once before any pause, so that a time-out
/// of zero makes none, and again after each. On the main thread a pause lets the user interface
/// handle an event, for at most 0.01 seconds; elsewhere it is 0.3 seconds long.
bool waitUntilGone(const std::string& path, platform::Timeout timeout);
bool waitUntilThere(const std::string& path, platform::Timeout timeout);
