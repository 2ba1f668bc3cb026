#pragma once

#include <chrono>
#include <functional>

namespace qf {

/// Schedules `operation` to run after `delay` and returns at once.
///
/// All such operations of the process share one thread, which runs them one at a time in the order
/// in which they are due, so none may block. Nobody waits for an operation, which may outlive the
/// caller and `main`, so it must own what it uses. An exception that leaves an operation ends the
/// process. Any thread may call it. Throws qf::Exception "NSGenericException" if it is the
/// first call and the system has no thread left.
void performAfter(std::chrono::seconds delay, std::function<void()> operation);

} // namespace qf
