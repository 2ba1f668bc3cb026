#pragma once

#include "platform/foundation/Exception.h"
#include "platform/foundation/ServiceSlot.h"

#include <atomic>
#include <string>
#include <type_traits>

namespace qf {

namespace detail {
/// Returns the slot that holds the implementation of a port; looked up by name once.
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

/// Returns the implementation of a port that start-up, or a test's ScopedService, has installed.
///
/// Throws qf::Exception "QFServiceUnavailable", whose reason names the port, if none is
/// installed, so that a missing service fails closed. Any thread may call it.
template <class Port>
Port& service() {
    Port* port = detail::installed<Port>();
    if (port == nullptr) {
        throw Exception(exception_name::serviceUnavailable,
                        std::string("no implementation of ") + Port::portName + " is installed");
    }
    return *port;
}

/// Like service(), for a caller that can do without the port: returns null if no implementation is
/// installed.
template <class Port>
Port* installedService() {
    return detail::installed<Port>();
}

/// Installs `implementation` for its port for the rest of the process; the caller must keep it
/// alive that long. Start-up calls it before any other thread runs.
template <class Port>
void install(Port& implementation) {
    detail::slot<Port>().store(&implementation, std::memory_order_release);
}

/// Installs a double for a port for a scope; the destructor restores the former implementation.
template <class Port>
class ScopedService {
public:
    /// `implementation` must outlive this.
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

} // namespace qf
