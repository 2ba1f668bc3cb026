#pragma once

#include "platform/foundation/Timeout.h"
#include "util/files/DoneBy.h"

#include <string>

namespace qf {

/// Wait until no item exists at a path, or until one does, and return whether that happened within
/// the time-out. The path is checked once before any pause, so a time-out of zero does not pause,
/// and again after each. On the main thread a pause lets the user interface handle an event, for at
/// most 0.01 seconds; on other threads it is 0.3 seconds long.
bool waitUntilGone(const std::string& path, Timeout timeout);
bool waitUntilThere(const std::string& path, Timeout timeout);

/// Wait likewise for what an operation has begun, unless it failed, and return its result, or that
/// the time has passed.
FileResult onceGone(FileResult begun, const std::string& path, Timeout timeout);
FileResult onceThere(FileResult begun, const std::string& path, Timeout timeout);

/// Returns why an item that was to go is still there, as the reason of a time-out.
Error stillThere(const std::string& path);

} // namespace qf
