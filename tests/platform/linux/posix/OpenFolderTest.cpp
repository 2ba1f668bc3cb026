#include "platform/linux/posix/OpenFolder.h"

#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>

using platform::native::FileDescriptor;
using platform::native::identityOf;
using platform::native::openFolder;
using platform::native::openFolderAbove;
using platform::native::statusOf;
using platform::native::statusOfEntry;

namespace {

class OpenFolderTest : public testing::Test {
protected:
    TemporaryFolder folder_;
    FileDescriptor parent_{::open(folder_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
};

TEST_F(OpenFolderTest, OpensAFolderForReading) {
    folder_.makeFolder("folder");

    EXPECT_TRUE(openFolder(parent_.get(), "folder"));
}

TEST_F(OpenFolderTest, FollowsNoLink) {
    folder_.makeFolder("folder");
    ::symlink("folder", (folder_ / "link").c_str());

    EXPECT_FALSE(openFolder(parent_.get(), "link"));
}

TEST_F(OpenFolderTest, OpensNoFile) {
    folder_.write("file");

    EXPECT_EQ(openFolder(parent_.get(), "file").error().number(), ENOTDIR);
}

TEST_F(OpenFolderTest, OpensTheFolderAbove) {
    folder_.makeFolder("folder");
    const auto lower = openFolder(parent_.get(), "folder");
    const auto expected = identityOf(*statusOf(parent_.get()));

    const auto above = openFolderAbove(lower->get(), expected);

    ASSERT_TRUE(above);
    EXPECT_EQ(identityOf(*statusOf(above->get())), expected);
}

TEST_F(OpenFolderTest, NoticesThatAFolderWasMovedElsewhere) {
    folder_.makeFolder("folder");
    folder_.makeFolder("elsewhere");
    const auto lower = openFolder(parent_.get(), "folder");
    const auto expected = identityOf(*statusOf(parent_.get()));
    ASSERT_EQ(::rename((folder_ / "folder").c_str(), (folder_ / "elsewhere/folder").c_str()), 0);

    EXPECT_EQ(openFolderAbove(lower->get(), expected).error().number(), ESTALE);
}

TEST_F(OpenFolderTest, TellsALinksOwnStatus) {
    ::symlink("nowhere", (folder_ / "link").c_str());

    const auto status = statusOfEntry(parent_.get(), "link");

    ASSERT_TRUE(status);
    EXPECT_TRUE(S_ISLNK(status->stx_mode));
}

TEST_F(OpenFolderTest, TellsThatAnEntryIsMissing) {
    EXPECT_EQ(statusOfEntry(parent_.get(), "missing").error().number(), ENOENT);
}

TEST_F(OpenFolderTest, TellsTheRootOfAVolume) {
    const FileDescriptor root(::open("/proc", O_PATH | O_CLOEXEC));

    EXPECT_TRUE(statusOf(root.get())->stx_attributes & STATX_ATTR_MOUNT_ROOT);
    EXPECT_FALSE(statusOf(parent_.get())->stx_attributes & STATX_ATTR_MOUNT_ROOT);
}

TEST_F(OpenFolderTest, TellsOneItemFromAnother) {
    folder_.write("a");
    folder_.write("b");
    ::link((folder_ / "a").c_str(), (folder_ / "same").c_str());
    const auto identity = [&](const char* name) {
        return identityOf(*statusOfEntry(parent_.get(), name));
    };

    EXPECT_EQ(identity("a"), identity("same"));
    EXPECT_NE(identity("a"), identity("b"));
}

} // namespace
