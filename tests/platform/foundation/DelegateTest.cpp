#include "platform/foundation/Delegate.h"

#include <gtest/gtest.h>

namespace {

TEST(Delegate, AnOperationTakesAsManyArgumentsAsItsSelectorHasColons) {
    EXPECT_EQ(platform::argumentCount("stop"), 0U);
    EXPECT_EQ(platform::argumentCount("printed:"), 1U);
    EXPECT_EQ(platform::argumentCount("printed:runner:object:"), 3U);
    EXPECT_EQ(platform::argumentCount(""), 0U);
}

} // namespace
