#pragma once

#include "platform/LocalTime.h"

namespace platform::native {

/// The system's clock in the time zone of TZ or /etc/localtime.
class LocalTime : public platform::LocalTime {
public:
    std::tm now() override;
};

} // namespace platform::native
