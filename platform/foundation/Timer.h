#pragma once

#include <chrono>
#include <functional>

namespace platform {

/// Runs `operation` once `delay` is over and returns at once.
///
/// All such operations of the process share one thread, which runs them one at a time in the order
/// in which they are due, so none may wait for anything. Nobody waits for an operation, which may
/// outlive the caller and `main`, so it owns what it uses. An exception that leaves an operation is
/// one that nobody caught: it ends the process. Any thread may call it. Throws platform::Exception
/// "NSGenericException" when it is the first call and the system has no thread left.
void performAfter(std::chrono::seconds delay, std::function<void()> operation);

} // namespace platform
