#pragma once

#include <functional>

namespace platform {

/// Runs an operation on the process's global concurrent queue and returns at once.
///
/// Operations are begun in the order in which they were added, each on a thread of the queue, and
/// may run at the same time as others: up to 64 do, so that one that blocks holds nobody up. Any
/// thread may call it, also an operation of the queue. Nobody waits for an operation, which may
/// outlive the caller and `main`, so it owns what it uses. An exception that leaves an operation is
/// one that nobody caught: it ends the process. Throws platform::Exception "NSGenericException"
/// when the queue has no thread and the system has none left.
void dispatchAsync(std::function<void()> operation);

} // namespace platform
