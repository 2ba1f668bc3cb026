#include "platform/linux/desktop/MountTable.h"

#include "tests/platform/linux/RunChild.h"
#include "tests/support/ScopedLimit.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <future>

namespace {

TEST(MountTable, KnowsTheVolumesOfTheMachine) {
    qf::native::MountTable table;

    EXPECT_TRUE(table.hasMountIn("/proc").value());
    EXPECT_FALSE(table.hasMountIn("/pro").value());
    EXPECT_FALSE(table.hasMountIn(TemporaryDirectory().path()).value());
    EXPECT_FALSE(table.hasMountOnLongPath().value());
}

TEST(MountTable, FailsWhileItCannotBeRead) {
    qf::native::MountTable table;
    {
        const ScopedLimit<RLIMIT_NOFILE> limit(0);
        EXPECT_TRUE(failedWith(table.hasMountIn("/proc"), EMFILE));
        EXPECT_TRUE(failedWith(table.hasMountOnLongPath(), EMFILE));
    }
    EXPECT_TRUE(table.hasMountIn("/proc").value());
}

TEST(MountTable, IsNotReadAgainWhileNothingChanges) {
    qf::native::MountTable table;
    ASSERT_TRUE(table.hasMountIn("/proc").value());

    // No more files can be opened, but the one that is open can be looked at.
    const ScopedLimit<RLIMIT_NOFILE> limit(1);

    EXPECT_TRUE(table.hasMountIn("/proc").ok());
}

TEST(MountTable, IsReadForSeveralThreadsAtOnce) {
    constexpr int rounds = 50;
    for (int round = 0; round < rounds; ++round) {
        qf::native::MountTable table;
        const auto isMount = [&] { return table.hasMountIn("/proc").value(); };
        const auto isMountFar = [&] { return table.hasMountOnLongPath().value(); };
        auto far = std::async(std::launch::async, isMountFar);
        auto near = std::async(std::launch::async, isMount);
        auto farAgain = std::async(std::launch::async, isMountFar);

        EXPECT_TRUE(isMount() && near.get());
        EXPECT_FALSE(far.get() || farAgain.get());
    }
}

TEST(MountTable, NoticesWhatIsMountedAndUnmountedMeanwhile) {
    if (const auto reason = whyNoMounts(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const TemporaryDirectory directory;
    directory.makeDirectory("a b/c/d");

    // Before, during and after a mount on the directory "c".
    EXPECT_EQ(runChild({"mounts-in", directory / "a b/c", directory / "a b"}).output, "0 1 0\n");
    EXPECT_EQ(runChild({"mounts-in", directory / "a b/c", directory / "a b/c"}).output, "0 1 0\n");
    EXPECT_EQ(runChild({"mounts-in", directory / "a b/c", directory / "a b/c/d"}).output,
              "0 0 0\n");
    EXPECT_EQ(runChild({"mounts-in", directory / "a b/c", directory / "a"}).output, "0 0 0\n");
}

} // namespace
