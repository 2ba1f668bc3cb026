#pragma once

#include "platform/Clock.h"

/// The system clock, with a local time that is always the last second of 2023.
class TestClock : public qf::Clock {
public:
    /// Installs one for the rest of the process, since detached threads may use it at any time.
    static void install();

    qf::Date now() override;
    std::tm localTime(qf::Date moment) override;
};
