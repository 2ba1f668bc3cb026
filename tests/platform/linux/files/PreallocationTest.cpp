#include "platform/linux/files/Preallocation.h"

#include "platform/linux/posix/FileDescriptor.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <array>

using qf::native::FileDescriptor;
using qf::native::Preallocation;

namespace {

constexpr std::uint64_t mebibyte = 1'048'576;

class PreallocationTest : public testing::Test {
protected:
    void SetUp() override {
        struct statfs volume {};
        ASSERT_EQ(::fstatfs(file_.get(), &volume), 0);
        if (volume.f_type == TMPFS_MAGIC ||
            ::fallocate(file_.get(), FALLOC_FL_KEEP_SIZE, 0, 4096) != 0) {
            GTEST_SKIP() << "the temporary folder's volume reserves nothing";
        }
        ASSERT_EQ(::ftruncate(file_.get(), 0), 0);
    }

    std::uint64_t reserved() const {
        struct stat status {};
        ::fstat(file_.get(), &status);
        return static_cast<std::uint64_t>(status.st_blocks) * 512;
    }

    TemporaryDirectory directory_;
    FileDescriptor file_{::open((directory_ / "file").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)};
};

TEST_F(PreallocationTest, ReservesAPieceAndKeepsTheSize) {
    Preallocation preallocation(100 * mebibyte);

    preallocation.reserve(file_.get(), 0);

    struct stat status {};
    ASSERT_EQ(::fstat(file_.get(), &status), 0);
    EXPECT_EQ(status.st_size, 0);
    EXPECT_GE(reserved(), 16 * mebibyte);
    EXPECT_LT(reserved(), 17 * mebibyte);
}

TEST_F(PreallocationTest, ReservesNothingBeyondTheExpectedSize) {
    Preallocation preallocation(2 * mebibyte);

    preallocation.reserve(file_.get(), 0);

    EXPECT_GE(reserved(), 2 * mebibyte);
    EXPECT_LT(reserved(), 3 * mebibyte);
}

TEST_F(PreallocationTest, ReservesNothingForASmallFile) {
    Preallocation preallocation(mebibyte - 1);

    preallocation.reserve(file_.get(), 0);

    EXPECT_EQ(reserved(), 0U);
}

TEST_F(PreallocationTest, ReservesTheNextPieceWhereTheFirstEnds) {
    Preallocation preallocation(100 * mebibyte);
    preallocation.reserve(file_.get(), 0);
    preallocation.reserve(file_.get(), 15 * mebibyte);
    EXPECT_LT(reserved(), 17 * mebibyte);

    preallocation.reserve(file_.get(), 16 * mebibyte);

    EXPECT_GE(reserved(), 32 * mebibyte);
}

TEST_F(PreallocationTest, TriesNoMoreOnceTheVolumeHasReservedNothing) {
    const FileDescriptor unwritable(::open((directory_ / "file").c_str(), O_RDONLY | O_CLOEXEC));
    Preallocation preallocation(100 * mebibyte);

    preallocation.reserve(unwritable.get(), 0);
    preallocation.reserve(file_.get(), 0);

    EXPECT_EQ(reserved(), 0U);
}

TEST_F(PreallocationTest, ReturnsWhatLiesBehindTheEnd) {
    Preallocation preallocation(100 * mebibyte);
    preallocation.reserve(file_.get(), 0);
    ASSERT_EQ(::pwrite(file_.get(), "x", 1, 0), 1);

    preallocation.release(file_.get());

    EXPECT_LT(reserved(), mebibyte);
}

TEST_F(PreallocationTest, LeavesTheDateOfAFileThatFillsAll) {
    Preallocation preallocation(2 * mebibyte);
    preallocation.reserve(file_.get(), 0);
    ASSERT_EQ(::ftruncate(file_.get(), 2 * mebibyte), 0);
    const std::array<timespec, 2> epoch{};
    ASSERT_EQ(::futimens(file_.get(), epoch.data()), 0);

    preallocation.release(file_.get());

    struct stat status {};
    ASSERT_EQ(::fstat(file_.get(), &status), 0);
    EXPECT_EQ(status.st_mtime, 0);
}

} // namespace
