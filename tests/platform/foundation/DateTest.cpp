#include "platform/foundation/Date.h"

#include <gtest/gtest.h>

using namespace std::chrono;

TEST(Date, IsDescribedInUniversalTimeWithItsOffset) {
    const qf::Date date = sys_days(2026y / November / 16) + 6h + 39min + 54s;
    EXPECT_EQ(qf::description(date), "2026-11-16 06:39:54 +0000");
}

TEST(Date, DropsTheFractionOfASecond) {
    const qf::Date date = sys_days(2026y / November / 16) + 999ms;
    EXPECT_EQ(qf::description(date), "2026-11-16 00:00:00 +0000");
}

TEST(Date, IsDescribedBeforeTheEpochToo) {
    EXPECT_EQ(qf::description(qf::Date(-1ms)), "1969-12-31 23:59:59 +0000");
}

TEST(Date, KnowsLeapDays) {
    EXPECT_EQ(qf::description(sys_days(2024y / February / 29) + 23h + 59min + 59s),
              "2024-02-29 23:59:59 +0000");
}

TEST(Date, IsDescribedAtTheEndsOfAClockOfNanoseconds) {
    using Moment = std::chrono::sys_time<std::chrono::nanoseconds>;
    const auto date = [](Moment moment) {
        return std::chrono::time_point_cast<qf::Date::duration>(moment);
    };
    EXPECT_EQ(qf::description(date(Moment::max())), "2262-04-11 23:47:16 +0000");
    EXPECT_EQ(qf::description(date(Moment::min())), "1677-09-21 00:12:43 +0000");
}
