#include "platform/foundation/FileDate.h"

#include <gtest/gtest.h>

#include <array>

namespace {

using platform::Date;
using platform::FileDate;
using namespace std::chrono_literals;

constexpr Date epoch{};

} // namespace

TEST(FileDate, EveryDateConvertsThereAndBack) {
    for (const auto date : std::array{epoch, epoch + 1ns, epoch - 1ns, epoch + 1'700'000'000s + 5ns,
                                      epoch - 1'700'000'000s - 5ns}) {
        EXPECT_EQ(FileDate(date).nearestDate(), date);
    }
}

TEST(FileDate, NanosecondsCountFromTheSecondBefore) {
    EXPECT_EQ(FileDate(epoch - 1ns), FileDate({-1, 999'999'999}));
    EXPECT_EQ(FileDate(epoch + 1s + 5ns), FileDate({1, 5}));
}

TEST(FileDate, WhatIsBeyondEveryDateBecomesTheNearest) {
    EXPECT_EQ(FileDate({15'032'385'535, 0}).nearestDate(), Date::max()); // in 2446
    EXPECT_EQ(FileDate({-15'032'385'535, 0}).nearestDate(), Date::min());
    EXPECT_EQ(FileDate(Date::max()).nearestDate(), Date::max());
    EXPECT_EQ(FileDate(Date::min()).nearestDate(), Date::min());
}

TEST(FileDate, EarlierDatesAreLess) {
    EXPECT_LT(FileDate({1, 999'999'999}), FileDate({2, 0}));
    EXPECT_LT(FileDate({2, 0}), FileDate({2, 1}));
}
