#include "platform/linux/posix/DirectoryLock.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <chrono>
#include <optional>

using qf::native::DirectoryLock;

namespace {

using Clock = std::chrono::steady_clock;

} // namespace

TEST(DirectoryLockTest, IsOnlyOnesAtATime) {
    const TemporaryDirectory directory;
    const DirectoryLock first(directory.path());
    const DirectoryLock second(directory.path());
    EXPECT_TRUE(first.lockUntil(Clock::now()));

    EXPECT_FALSE(second.lockUntil(Clock::now()));
}

TEST(DirectoryLockTest, IsWaitedForUntilTheEnd) {
    const TemporaryDirectory directory;
    const DirectoryLock first(directory.path());
    const DirectoryLock second(directory.path());
    ASSERT_TRUE(first.lockUntil(Clock::now()));
    const auto end = Clock::now() + std::chrono::milliseconds(20);

    EXPECT_FALSE(second.lockUntil(end));

    EXPECT_GE(Clock::now(), end);
}

TEST(DirectoryLockTest, IsTheNextOnesWhenTheFirstHasGone) {
    const TemporaryDirectory directory;
    std::optional<DirectoryLock> first(directory.path());
    ASSERT_TRUE(first->lockUntil(Clock::now()));
    first.reset();

    EXPECT_TRUE(DirectoryLock(directory.path()).lockUntil(Clock::now()));
}

TEST(DirectoryLockTest, IsNotNeededForAMissingDirectory) {
    const TemporaryDirectory directory;
    const DirectoryLock first(directory / "missing");
    const DirectoryLock second(directory / "missing");

    EXPECT_TRUE(first.lockUntil(Clock::now()));
    EXPECT_TRUE(second.lockUntil(Clock::now()));
}
