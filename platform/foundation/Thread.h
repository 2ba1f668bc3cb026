#pragma once

#include <functional>

namespace platform {

/// Runs `body` on a new thread that nobody waits for; it may outlive the caller, so `body` owns
/// what it uses. An exception that leaves `body` is one that nobody caught: it ends the process.
/// Throws platform::Exception "NSGenericException" when the system has no thread left.
void detachNewThread(std::function<void()> body);

} // namespace platform
