#include "platform/linux/system/LocalTime.h"

#include <gtest/gtest.h>

#include <ctime>

TEST(LocalTime, IsThePresentMomentInTheTimeZoneOfTheMachine) {
    platform::native::LocalTime localTime;
    const std::time_t before = std::time(nullptr);
    std::tm parts = localTime.now();
    const std::time_t after = std::time(nullptr);
    const std::time_t moment = std::mktime(&parts);
    EXPECT_LE(before, moment);
    EXPECT_GE(after, moment);
}
