#pragma once

#include "platform/foundation/Exception.h"

#include <functional>
#include <system_error>

namespace qf {

/// The exception "NSGenericException" of everything that needs a new thread, if the system has none
/// left.
class NoThreadLeft : public Exception {
public:
    /// Makes the exception with the cause as its reason.
    explicit NoThreadLeft(const std::error_code& cause)
        : Exception(exception_name::generic, "could not start a thread: " + cause.message()) {}
};

/// Runs `body` on a new thread that nobody waits for; it may outlive the caller, so `body` must own
/// what it uses. An exception that leaves `body` ends the process. Throws NoThreadLeft.
void detachNewThread(std::function<void()> body);

} // namespace qf
