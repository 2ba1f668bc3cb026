#pragma once

#include <functional>

namespace qf {

/// Runs an operation on the process's global concurrent queue and returns at once.
///
/// Operations start in the order in which they were added, each on a thread of the queue. Up to 64
/// run at the same time, so that one that blocks does not hold up the others. Any thread may call
/// it, including an operation of the queue. Nobody waits for an operation, which may outlive the
/// caller and `main`, so it must own what it uses. An exception that leaves an operation ends the
/// process. Throws qf::Exception "NSGenericException" if the queue has no thread and the
/// system cannot start one.
void dispatchAsync(std::function<void()> operation);

} // namespace qf
