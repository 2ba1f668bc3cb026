#pragma once

#include <ctime>

namespace platform {

/// The date and time of day as the person in front of the machine reads them off its clock.
class LocalTime {
public:
    static constexpr const char* portName = "LocalTime";
    virtual ~LocalTime() = default;

    /// This moment in the machine's time zone. Any thread may call it.
    virtual std::tm now() = 0;
};

} // namespace platform
