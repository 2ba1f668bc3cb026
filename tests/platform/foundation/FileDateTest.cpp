#include "platform/foundation/FileDate.h"

#include "tests/support/NamedCase.h"

#include <gtest/gtest.h>

namespace {

using qf::Date;
using qf::FileDate;
using namespace std::chrono_literals;

constexpr Date epoch{};

} // namespace

class EveryDate : public testing::TestWithParam<NamedValue<Date>> {};

TEST_P(EveryDate, ConvertsThereAndBack) {
    EXPECT_EQ(FileDate(GetParam().value).nearestDate(), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    , EveryDate,
    testing::Values(NamedValue<Date>{{"Epoch"}, epoch}, NamedValue<Date>{{"After"}, epoch + 1ns},
                    NamedValue<Date>{{"Before"}, epoch - 1ns},
                    NamedValue<Date>{{"LongAfter"}, epoch + 1'700'000'000s + 5ns},
                    NamedValue<Date>{{"LongBefore"}, epoch - 1'700'000'000s - 5ns}),
    nameOfCase);

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
