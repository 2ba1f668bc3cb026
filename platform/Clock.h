#pragma once

#include "platform/Services.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/Timer.h"

#include <chrono>
#include <ctime>
#include <functional>
#include <thread>
#include <utility>

namespace qf {

/// The time of day, and what waits for its time. Any thread may call every member.
class Clock {
public:
    static constexpr const char* portName = "Clock";
    virtual ~Clock() = default;

    /// Returns the current time, which may step back when somebody sets the clock.
    virtual Date now() = 0;

    /// Returns the date and time of day that the machine's user sees at a moment, in the machine's
    /// time zone.
    virtual std::tm localTime(Date moment) = 0;

    /// Suspends the calling thread for `duration`.
    virtual void sleep(std::chrono::microseconds duration) {
        std::this_thread::sleep_for(duration);
    }

    /// Schedules `operation` to run after `delay` and returns at once, with the contract of
    /// qf::performAfter.
    virtual void performAfter(std::chrono::seconds delay, std::function<void()> operation) {
        qf::performAfter(delay, std::move(operation));
    }
};

/// Returns the current time by the installed clock. Any thread may call it.
inline Date now() {
    return service<Clock>().now();
}

/// Suspends the calling thread for `duration` by the installed clock.
inline void sleep(std::chrono::microseconds duration) {
    service<Clock>().sleep(duration);
}

} // namespace qf
