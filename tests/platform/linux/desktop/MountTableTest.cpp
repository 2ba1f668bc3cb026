#include "platform/linux/desktop/MountTable.h"

#include "tests/platform/linux/RunChild.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace {

TEST(MountTable, KnowsTheVolumesOfTheMachine) {
    platform::native::MountTable table;

    EXPECT_TRUE(table.hasMountIn("/proc"));
    EXPECT_FALSE(table.hasMountIn("/pro"));
    EXPECT_FALSE(table.hasMountIn(TemporaryDirectory().path()));
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
