#pragma once

#include <ctime>

namespace platform {

/// The date and time of day as the machine's user sees them.
class LocalTime {
public:
    static constexpr const char* portName = "LocalTime";
    virtual ~LocalTime() = default;

    /// Returns the current time in the machine's time zone. Any thread may call it.
    virtual std::tm now() = 0;
};

} // namespace platform
