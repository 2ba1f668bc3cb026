#include "platform/foundation/Delegate.h"

#include <gtest/gtest.h>

namespace {

TEST(Delegate, AnOperationTakesAsManyArgumentsAsItsSelectorHasColons) {
    EXPECT_EQ(qf::argumentCount("stop"), 0U);
    EXPECT_EQ(qf::argumentCount("printed:"), 1U);
    EXPECT_EQ(qf::argumentCount("printed:runner:object:"), 3U);
    EXPECT_EQ(qf::argumentCount(""), 0U);
}

} // namespace
