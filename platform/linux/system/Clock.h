#pragma once

#include "platform/Clock.h"

namespace qf::native {

/// The system clock, and the time zone of TZ or /etc/localtime.
class Clock : public qf::Clock {
public:
    Date now() override;
    std::tm localTime(Date moment) override;
};

} // namespace qf::native
