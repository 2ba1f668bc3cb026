#include "platform/linux/system/LocalTime.h"

#include "tests/support/ScopedEnvironment.h"

#include <gtest/gtest.h>

#include <ctime>

TEST(LocalTime, FollowsTheTimeZone) {
    constexpr std::time_t ahead = (5 * 60 + 45) * 60;
    const ScopedEnvironment zone("TZ", "QFT-5:45");
    platform::native::LocalTime localTime;
    const std::time_t before = std::time(nullptr);
    std::tm parts = localTime.now();
    const std::time_t after = std::time(nullptr);
    const std::time_t moment = ::timegm(&parts) - ahead;
    EXPECT_LE(before, moment);
    EXPECT_GE(after, moment);
}

TEST(LocalTime, IsThePresentMomentInTheTimeZoneOfTheMachine) {
    platform::native::LocalTime localTime;
    const std::time_t before = std::time(nullptr);
    std::tm parts = localTime.now();
    const std::time_t after = std::time(nullptr);
    const std::time_t moment = std::mktime(&parts);
    EXPECT_LE(before, moment);
    EXPECT_GE(after, moment);
}
