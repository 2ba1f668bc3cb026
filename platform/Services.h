#pragma once

#include "platform/foundation/Exception.h"
#include "platform/foundation/ServiceSlot.h"

#include <atomic>
#include <string>
#include <type_traits>

namespace platform {

namespace detail {
/// Where the implementation of a port is kept; looked up by name once.
template <class Port>
std::atomic<void*>& slot() {
    static_assert(std::is_abstract_v<Port>, "a port, not one of its implementations");
    static auto& place = serviceSlot(Port::portName);
    return place;
}

template <class Port>
Port* installed() {
    return static_cast<Port*>(slot<Port>().load(std::memory_order_acquire));
}
} // namespace detail

/// The implementation of a port that start-up, or a test's ScopedService, has put in place.
///
/// Throws platform::Exception "QFServiceUnavailable", whose reason names the port, when nothing
/// stands behind it, so that a missing service fails closed. Any thread may call it.
template <class Port>
Port& service() {
    Port* port = detail::installed<Port>();
    if (port == nullptr) {
        throw Exception(exception_name::serviceUnavailable,
                        std::string("no implementation of ") + Port::portName + " is installed");
    }
    return *port;
}

/// The same without the exception, for a caller that does without the port: null when nothing
/// stands behind it.
template <class Port>
Port* installedService() {
    return detail::installed<Port>();
}

/// Puts `implementation` behind its port for the rest of the process; the caller keeps it alive
/// that long. Start-up calls it before any other thread runs.
template <class Port>
void install(Port& implementation) {
    detail::slot<Port>().store(&implementation, std::memory_order_release);
}

/// Puts a double behind its port for a scope; at the scope's end the former implementation is back.
template <class Port>
class ScopedService {
public:
    /// `implementation` outlives the scope.
    explicit ScopedService(Port& implementation)
        : former_(detail::slot<Port>().exchange(&implementation, std::memory_order_acq_rel)) {}
    ~ScopedService() { detail::slot<Port>().store(former_, std::memory_order_release); }

    ScopedService(const ScopedService&) = delete;
    ScopedService& operator=(const ScopedService&) = delete;
    ScopedService(ScopedService&&) = delete;
    ScopedService& operator=(ScopedService&&) = delete;

private:
    void* former_;
};

} // namespace platform
