#pragma once

#include <functional>

namespace platform {

/// Runs `body` on a new thread that nobody waits for; it may outlive the caller, so `body` must own
/// what it uses. An exception that leaves `body` ends the process. Throws platform::Exception
/// "NSGenericException" if the system has no thread left.
void detachNewThread(std::function<void()> body);

} // namespace platform
