#include "platform/linux/authorization/helper/Terms.h"

#include <gtest/gtest.h>

using qf::native::helper::terms;

TEST(GeneralTerms, StartAnyTool) {
    EXPECT_FALSE(terms.plan.has_value());
}

TEST(GeneralTerms, LastForFiveMinutesWithoutARequest) {
    EXPECT_EQ(terms.patience, std::chrono::minutes(5));
}
