#include "platform/linux/posix/Directories.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

using qf::native::FileDescriptor;
using qf::native::isDirectory;
using qf::native::lockedDirectory;
using qf::native::makeDirectories;
using qf::native::openThroughLinks;

namespace {

class DirectoriesTest : public testing::Test {
protected:
    static bool canLock(const std::string& path) {
        const FileDescriptor other(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        return ::flock(other.get(), LOCK_EX | LOCK_NB) == 0;
    }

    TemporaryDirectory directory_;
};

TEST_F(DirectoriesTest, MakesAllThatLeadToADirectory) {
    ASSERT_TRUE(makeDirectories(directory_ / "a/b/c", 0700));

    for (const auto* name : {"a", "a/b", "a/b/c"}) {
        struct stat status {};
        ASSERT_EQ(::stat((directory_ / name).c_str(), &status), 0) << name;
        EXPECT_EQ(status.st_mode & 07777U, 0700U) << name;
    }
}

TEST_F(DirectoriesTest, HonoursTheUmask) {
    const auto former = ::umask(027);
    ASSERT_TRUE(makeDirectories(directory_ / "a", 0777));
    ::umask(former);

    struct stat status {};
    ASSERT_EQ(::stat((directory_ / "a").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0750U);
}

TEST_F(DirectoriesTest, TakesAnExistingDirectoryForASuccess) {
    ::chmod(directory_.path().c_str(), 0711);

    EXPECT_TRUE(makeDirectories(directory_.path(), 0700));

    struct stat status {};
    ASSERT_EQ(::stat(directory_.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0711U);
}

TEST_F(DirectoriesTest, TakesALinkToADirectoryForOne) {
    ::symlink(directory_.path().c_str(), (directory_ / "link").c_str());

    EXPECT_TRUE(makeDirectories(directory_ / "link", 0700));
    EXPECT_TRUE(isDirectory(directory_ / "link"));
}

TEST_F(DirectoriesTest, TellsThatAFileIsInTheWay) {
    const auto file = directory_.write("file");

    EXPECT_EQ(makeDirectories(file + "/below", 0700).error().number(), ENOTDIR);
    EXPECT_FALSE(isDirectory(file));
}

/// Returns whether an open directory is the one at the path.
bool isAt(const qf::native::SystemResult<FileDescriptor>& directory, const std::string& path) {
    struct stat one {};
    struct stat other {};
    return directory && ::fstat(directory->get(), &one) == 0 && ::stat(path.c_str(), &other) == 0 &&
           one.st_ino == other.st_ino && one.st_dev == other.st_dev;
}

TEST_F(DirectoriesTest, OpensADirectoryThroughTheLinksThatItKnowsAlone) {
    directory_.makeDirectory("real/inside");
    ASSERT_EQ(::symlink("real", (directory_ / "link").c_str()), 0);
    ASSERT_EQ(::symlink("inside", (directory_ / "real/last").c_str()), 0);
    const auto real = directory_ / "real/inside";
    const auto links = std::vector{directory_ / "link"};

    EXPECT_TRUE(isAt(openThroughLinks(real, {}, {}), real));
    EXPECT_TRUE(isAt(openThroughLinks(directory_ / "link/inside", links, {}), real));
    EXPECT_TRUE(failedWith(openThroughLinks(directory_ / "link/inside", {}, {}), ENOTDIR));
    EXPECT_TRUE(failedWith(openThroughLinks(directory_ / "real/last", links, {}), ENOTDIR));
}

TEST_F(DirectoriesTest, MakesWhatIsMissingOnlyWhenAsked) {
    EXPECT_TRUE(failedWith(openThroughLinks(directory_ / "a/b", {}, {}), ENOENT));
    EXPECT_TRUE(isAt(openThroughLinks(directory_ / "a/b", {}, 0700), directory_ / "a/b"));
}

TEST_F(DirectoriesTest, MakesNothingBehindALinkThatItDoesNotKnow) {
    directory_.makeDirectory("real");
    ASSERT_EQ(::symlink("real", (directory_ / "link").c_str()), 0);
    ASSERT_EQ(::symlink("nowhere", (directory_ / "broken").c_str()), 0);

    EXPECT_TRUE(failedWith(openThroughLinks(directory_ / "link/new", {}, 0700), ENOTDIR));
    EXPECT_FALSE(openThroughLinks(directory_ / "broken/new", {}, 0700));

    EXPECT_FALSE(isDirectory(directory_ / "real/new"));
    EXPECT_FALSE(isDirectory(directory_ / "nowhere"));
}

TEST_F(DirectoriesTest, OpensOnlyAbsolutePaths) {
    EXPECT_TRUE(failedWith(openThroughLinks("tmp", {}, {}), EINVAL));
    EXPECT_TRUE(failedWith(openThroughLinks(std::string("/tmp\0x", 6), {}, {}), EINVAL));
}

TEST_F(DirectoriesTest, HoldsADirectoryUntilTheDescriptorIsClosed) {
    {
        const auto held = lockedDirectory(directory_.path());
        ASSERT_TRUE(held);
        EXPECT_FALSE(canLock(directory_.path()));
    }
    EXPECT_TRUE(canLock(directory_.path()));
}

TEST_F(DirectoriesTest, CannotHoldADirectoryThatIsMissing) {
    EXPECT_EQ(lockedDirectory(directory_ / "missing").error().number(), ENOENT);
}

} // namespace
