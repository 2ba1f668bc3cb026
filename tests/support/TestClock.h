#pragma once

#include "platform/Clock.h"

/// The system clock, with a local time that is always the last second of 2023.
class TestClock : public platform::Clock {
public:
    /// Installs one for the rest of the process, since detached threads may use it at any time.
    static void install();

    platform::Date now() override;
    std::tm localTime(platform::Date moment) override;
};
