#pragma once

#include "platform/LocalTime.h"

namespace platform::native {

/// Local time from the system clock and the time zone of TZ or /etc/localtime.
class LocalTime : public platform::LocalTime {
public:
    std::tm now() override;
};

} // namespace platform::native
