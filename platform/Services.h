#pragma once

#include "platform/foundation/Exception.h"

#include <atomic>
#include <string>

namespace platform {

namespace detail {
template <class Port>
inline std::atomic<Port*> installed{nullptr};
}

/// The implementation of a port that start-up, or a test's ScopedService, has put in place.
///
/// Throws platform::Exception "QFServiceUnavailable", whose reason names the port, when nothing
/// stands behind it, so that a missing service fails closed. Any thread may call it.
template <class Port>
Port& service() {
    Port* port = detail::installed<Port>.load(std::memory_order_acquire);
    if (port == nullptr) {
        throw Exception("QFServiceUnavailable",
                        std::string("no implementation of ") + Port::portName + " is installed");
    }
    return *port;
}

/// The same without the exception, for a caller that does without the port: null when nothing
/// stands behind it.
template <class Port>
Port* installedService() {
    return detail::installed<Port>.load(std::memory_order_acquire);
}

/// Puts `implementation` behind its port for the rest of the process; the caller keeps it alive
/// that long. Start-up calls it before any other thread runs.
template <class Port>
void install(Port& implementation) {
    detail::installed<Port>.store(&implementation, std::memory_order_release);
}

/// Puts a double behind its port for a scope; at the scope's end the former implementation is back.
template <class Port>
class ScopedService {
public:
    explicit ScopedService(Port& implementation)
        : former_(detail::installed<Port>.exchange(&implementation, std::memory_order_acq_rel)) {}
    ~ScopedService() { detail::installed<Port>.store(former_, std::memory_order_release); }

    ScopedService(const ScopedService&) = delete;
    ScopedService& operator=(const ScopedService&) = delete;
    ScopedService(ScopedService&&) = delete;
    ScopedService& operator=(ScopedService&&) = delete;

private:
    Port* former_;
};

} // namespace platform
