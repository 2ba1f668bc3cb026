#pragma once

#include "platform/foundation/Date.h"

namespace platform {

/// The time of day. Where nothing is installed behind this port, the system's own clock tells it.
class Clock {
public:
    static constexpr const char* portName = "Clock";
    virtual ~Clock() = default;

    /// The present moment; it may step back when somebody sets the clock. Any thread may call it.
    virtual Date now() = 0;
};

} // namespace platform
