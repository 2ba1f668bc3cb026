#include "platform/linux/authorization/ScopedUndumpable.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <optional>

using qf::native::ScopedUndumpable;

TEST(ScopedUndumpable, LastsUntilTheLastScopeEnds) {
    ASSERT_EQ(::prctl(PR_GET_DUMPABLE), 1);
    std::optional<ScopedUndumpable> first(std::in_place);
    std::optional<ScopedUndumpable> second(std::in_place);
    EXPECT_EQ(::prctl(PR_GET_DUMPABLE), 0);
    first.reset();
    EXPECT_EQ(::prctl(PR_GET_DUMPABLE), 0);
    second.reset();
    EXPECT_EQ(::prctl(PR_GET_DUMPABLE), 1);
}

TEST(ScopedUndumpable, LeavesAProcessAsItWasThatWasNotDumpableBefore) {
    ASSERT_EQ(::prctl(PR_SET_DUMPABLE, 0), 0);
    { const ScopedUndumpable undumpable; }
    EXPECT_EQ(::prctl(PR_GET_DUMPABLE), 0);
    ::prctl(PR_SET_DUMPABLE, 1);
}
