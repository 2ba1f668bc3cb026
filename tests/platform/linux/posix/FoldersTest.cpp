#include "platform/linux/posix/Folders.h"

#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

using platform::native::FileDescriptor;
using platform::native::isFolder;
using platform::native::lockedFolder;
using platform::native::makeFolders;

namespace {

class FoldersTest : public testing::Test {
protected:
    static bool canLock(const std::string& path) {
        const FileDescriptor other(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        return ::flock(other.get(), LOCK_EX | LOCK_NB) == 0;
    }

    TemporaryFolder folder_;
};

TEST_F(FoldersTest, MakesAllThatLeadToAFolder) {
    ASSERT_TRUE(makeFolders(folder_ / "a/b/c", 0700));

    for (const auto* name : {"a", "a/b", "a/b/c"}) {
        struct stat status {};
        ASSERT_EQ(::stat((folder_ / name).c_str(), &status), 0) << name;
        EXPECT_EQ(status.st_mode & 07777U, 0700U) << name;
    }
}

TEST_F(FoldersTest, HonoursTheUmask) {
    const auto former = ::umask(027);
    ASSERT_TRUE(makeFolders(folder_ / "a", 0777));
    ::umask(former);

    struct stat status {};
    ASSERT_EQ(::stat((folder_ / "a").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0750U);
}

TEST_F(FoldersTest, TakesAnExistingFolderForASuccess) {
    ::chmod(folder_.path().c_str(), 0711);

    EXPECT_TRUE(makeFolders(folder_.path(), 0700));

    struct stat status {};
    ASSERT_EQ(::stat(folder_.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0711U);
}

TEST_F(FoldersTest, TakesALinkToAFolderForOne) {
    ::symlink(folder_.path().c_str(), (folder_ / "link").c_str());

    EXPECT_TRUE(makeFolders(folder_ / "link", 0700));
    EXPECT_TRUE(isFolder(folder_ / "link"));
}

TEST_F(FoldersTest, TellsThatAFileIsInTheWay) {
    const auto file = folder_.write("file");

    EXPECT_EQ(makeFolders(file + "/below", 0700).error().number(), ENOTDIR);
    EXPECT_FALSE(isFolder(file));
}

TEST_F(FoldersTest, HoldsAFolderUntilTheDescriptorIsClosed) {
    {
        const auto held = lockedFolder(folder_.path());
        ASSERT_TRUE(held);
        EXPECT_FALSE(canLock(folder_.path()));
    }
    EXPECT_TRUE(canLock(folder_.path()));
}

TEST_F(FoldersTest, CannotHoldAFolderThatIsMissing) {
    EXPECT_EQ(lockedFolder(folder_ / "missing").error().number(), ENOENT);
}

} // namespace
