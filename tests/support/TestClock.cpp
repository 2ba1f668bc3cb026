#include "tests/support/TestClock.h"

void TestClock::install() {
    static auto& clock = *new TestClock;
    platform::install<platform::Clock>(clock);
}

platform::Date TestClock::now() {
    return platform::Date::clock::now();
}

std::tm TestClock::localTime(platform::Date /*moment*/) {
    return {.tm_sec = 59, .tm_min = 59, .tm_hour = 23, .tm_mday = 31, .tm_mon = 11, .tm_year = 123};
}
