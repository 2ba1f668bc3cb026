#pragma once

#include "platform/Services.h"
#include "platform/foundation/Date.h"

#include <chrono>
#include <thread>

namespace platform {

/// The time of day. Where nothing is installed behind this port, the system's own clock tells it.
class Clock {
public:
    static constexpr const char* portName = "Clock";
    virtual ~Clock() = default;

    /// The present moment; it may step back when somebody sets the clock. Any thread may call it.
    virtual Date now() = 0;

    /// Lets the calling thread rest.
    virtual void sleep(std::chrono::microseconds duration) {
        std::this_thread::sleep_for(duration);
    }
};

/// The present moment. Any thread may call it.
inline Date now() {
    auto* clock = installedService<Clock>();
    return clock != nullptr ? clock->now() : Date::clock::now();
}

/// Lets the calling thread rest.
inline void sleep(std::chrono::microseconds duration) {
    if (auto* clock = installedService<Clock>()) {
        clock->sleep(duration);
    } else {
        std::this_thread::sleep_for(duration);
    }
}

} // namespace platform
