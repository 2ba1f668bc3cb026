#pragma once

#include "platform/Clock.h"

namespace platform::native {

/// The system clock, and the time zone of TZ or /etc/localtime.
class Clock : public platform::Clock {
public:
    Date now() override;
    std::tm localTime(Date moment) override;
};

} // namespace platform::native
