#pragma once

#include "platform/Services.h"
#include "platform/foundation/Date.h"

#include <chrono>
#include <thread>

namespace platform {

/// The time of day. When nothing is installed for this port, the system clock is used.
class Clock {
public:
    static constexpr const char* portName = "Clock";
    virtual ~Clock() = default;

    /// Returns the current time, which may step back when somebody sets the clock. Any thread may
    /// call it.
    virtual Date now() = 0;

    /// Suspends the calling thread for `duration`.
    virtual void sleep(std::chrono::microseconds duration) {
        std::this_thread::sleep_for(duration);
    }
};

/// Returns the current time. Any thread may call it.
inline Date now() {
    auto* clock = installedService<Clock>();
    return clock != nullptr ? clock->now() : Date::clock::now();
}

/// Suspends the calling thread for `duration`.
inline void sleep(std::chrono::microseconds duration) {
    if (auto* clock = installedService<Clock>()) {
        clock->sleep(duration);
    } else {
        std::this_thread::sleep_for(duration);
    }
}

} // namespace platform
