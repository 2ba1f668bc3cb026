#include "platform/linux/posix/DirectoryLock.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <optional>

using qf::native::DirectoryLock;

namespace {

using Clock = std::chrono::steady_clock;

const auto forLong = std::chrono::minutes(5);

} // namespace

TEST(DirectoryLockTest, IsOnlyOnesAtATime) {
    const TemporaryDirectory directory;
    const DirectoryLock first(directory.path());
    const DirectoryLock second(directory.path());
    EXPECT_TRUE(first.lockUntil(Clock::now()));

    EXPECT_FALSE(second.lockUntil(Clock::now()));
}

TEST(DirectoryLockTest, IsWaitedFor) {
    const TemporaryDirectory directory;
    std::optional<DirectoryLock> first(directory.path());
    ASSERT_TRUE(first->lockUntil(Clock::now()));

    auto second = std::async(std::launch::async, [&] {
        const DirectoryLock lock(directory.path());
        return lock.lockUntil(Clock::now() + forLong);
    });
    first.reset();

    EXPECT_TRUE(second.get());
}

TEST(DirectoryLockTest, IsNotNeededForAMissingDirectory) {
    const TemporaryDirectory directory;
    const DirectoryLock first(directory / "missing");
    const DirectoryLock second(directory / "missing");

    EXPECT_TRUE(first.lockUntil(Clock::now()));
    EXPECT_TRUE(second.lockUntil(Clock::now()));
}
