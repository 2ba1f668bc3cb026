#include "tests/support/TestClock.h"

void TestClock::install() {
    static auto& clock = *new TestClock;
    qf::install<qf::Clock>(clock);
}

qf::Date TestClock::now() {
    return qf::Date::clock::now();
}

std::tm TestClock::localTime(qf::Date /*moment*/) {
    return {.tm_sec = 59, .tm_min = 59, .tm_hour = 23, .tm_mday = 31, .tm_mon = 11, .tm_year = 123};
}
