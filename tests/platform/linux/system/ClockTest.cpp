#include "platform/linux/system/Clock.h"

#include "tests/support/ScopedEnvironment.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

namespace {

constexpr qf::Date noon =
    std::chrono::sys_days(std::chrono::year(2026) / 11 / 16) + std::chrono::hours(12);

/// Returns the local time at noon UTC.
std::string localNoon() {
    const std::tm parts = qf::native::Clock().localTime(noon);
    std::string text(100, '\0');
    text.resize(std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts));
    return text;
}

TEST(Clock, TellsThePresentMoment) {
    qf::native::Clock clock;
    const auto before = std::chrono::system_clock::now();
    const auto now = clock.now();
    EXPECT_LE(before, now);
    EXPECT_LE(now, std::chrono::system_clock::now());
}

TEST(Clock, TellsTheTimeOfDayInTheTimeZoneOfTheMachine) {
    const ScopedEnvironment zone("TZ", "JST-9");
    EXPECT_EQ(localNoon(), "2026-11-16 21:00:00");
}

TEST(Clock, FollowsAChangeOfTheTimeZone) {
    const ScopedEnvironment zone("TZ", "JST-9");
    localNoon();
    const ScopedEnvironment newZone("TZ", "EST5");
    EXPECT_EQ(localNoon(), "2026-11-16 07:00:00");
}

} // namespace
