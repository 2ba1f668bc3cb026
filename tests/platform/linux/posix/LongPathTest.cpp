#include "platform/linux/posix/LongPath.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <climits>

using qf::native::atPath;
using qf::native::FileDescriptor;
using qf::native::openAtPath;
using qf::native::opened;
using qf::native::walkTowards;

namespace {

/// A directory so deep that no system call accepts its path.
class LongPathTest : public testing::Test {
protected:
    LongPathTest() : path_(directory_.path()) {
        FileDescriptor current(::open(path_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        while (path_.size() < 2 * PATH_MAX) {
            EXPECT_EQ(::mkdirat(current.get(), name_.c_str(), 0700), 0);
            current =
                *opened(::openat(current.get(), name_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
            path_ += "/" + name_;
        }
        deepest_ = std::move(current);
    }

    const TemporaryDirectory directory_;
    const std::string name_ = std::string(200, 'n');
    std::string path_;
    FileDescriptor deepest_;
};

TEST_F(LongPathTest, LeavesAShortPathToTheSystemCall) {
    const auto way = walkTowards(directory_.path());

    ASSERT_TRUE(way);
    EXPECT_EQ(way->directory(), AT_FDCWD);
    EXPECT_EQ(way->rest, directory_.path());
}

TEST_F(LongPathTest, ReachesAnItemThatNoSystemCallDoes) {
    ASSERT_EQ(::openat(deepest_.get(), "item", O_CREAT | O_WRONLY | O_CLOEXEC, 0600) >= 0, true);
    ASSERT_EQ(::open((path_ + "/item").c_str(), O_RDONLY | O_CLOEXEC), -1);
    ASSERT_EQ(errno, ENAMETOOLONG);

    EXPECT_TRUE(openAtPath(path_ + "/item", O_RDONLY));
}

TEST_F(LongPathTest, ReachesADirectoryWithSlashesBehindIt) {
    EXPECT_TRUE(openAtPath(path_ + std::string(PATH_MAX, '/'), O_PATH));
}

TEST_F(LongPathTest, OpensNothingThatAProgramInherits) {
    const auto item = openAtPath(directory_.path(), O_PATH);

    ASSERT_TRUE(item);
    EXPECT_EQ(::fcntl(item->get(), F_GETFD), FD_CLOEXEC);
}

TEST_F(LongPathTest, ReturnsWhatTheCallReturns) {
    const auto made =
        atPath(path_ + "/made", [](int at, const char* rest) { return ::mkdirat(at, rest, 0700); });

    EXPECT_EQ(made.value(), 0);
    EXPECT_EQ(::faccessat(deepest_.get(), "made", F_OK, 0), 0);
}

TEST_F(LongPathTest, TellsTheCallsOwnFailure) {
    EXPECT_EQ(openAtPath(path_ + "/missing", O_RDONLY).error().number(), ENOENT);
}

TEST_F(LongPathTest, TellsThatTheWayCannotBeGone) {
    const auto missing = directory_ / "missing/" + path_;

    EXPECT_EQ(openAtPath(missing, O_RDONLY).error().number(), ENOENT);
}

TEST_F(LongPathTest, LeavesANameThatIsTooLongToTheSystemCall) {
    const auto path = directory_ / std::string(2 * PATH_MAX, 'n');

    EXPECT_EQ(openAtPath(path, O_RDONLY).error().number(), ENAMETOOLONG);
}

} // namespace
