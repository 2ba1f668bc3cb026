#include "platform/linux/posix/OpenDirectory.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>

using qf::native::FileDescriptor;
using qf::native::fileIdOf;
using qf::native::openDirectory;
using qf::native::openDirectoryAbove;
using qf::native::statusOf;
using qf::native::statusOfEntry;

namespace {

class OpenDirectoryTest : public testing::Test {
protected:
    TemporaryDirectory directory_;
    FileDescriptor parent_{::open(directory_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
};

TEST_F(OpenDirectoryTest, OpensADirectoryForReading) {
    directory_.makeDirectory("folder");

    EXPECT_TRUE(openDirectory(parent_.get(), "folder"));
}

TEST_F(OpenDirectoryTest, FollowsNoLink) {
    directory_.makeDirectory("folder");
    ::symlink("folder", (directory_ / "link").c_str());

    EXPECT_FALSE(openDirectory(parent_.get(), "link"));
}

TEST_F(OpenDirectoryTest, OpensNoFile) {
    directory_.write("file");

    EXPECT_EQ(openDirectory(parent_.get(), "file").error().number(), ENOTDIR);
}

TEST_F(OpenDirectoryTest, OpensTheDirectoryAbove) {
    directory_.makeDirectory("folder");
    const auto lower = openDirectory(parent_.get(), "folder");
    const auto expected = fileIdOf(*statusOf(parent_.get()));

    const auto above = openDirectoryAbove(lower->get(), expected);

    ASSERT_TRUE(above);
    EXPECT_EQ(fileIdOf(*statusOf(above->get())), expected);
}

TEST_F(OpenDirectoryTest, NoticesThatADirectoryWasMovedElsewhere) {
    directory_.makeDirectory("folder");
    directory_.makeDirectory("elsewhere");
    const auto lower = openDirectory(parent_.get(), "folder");
    const auto expected = fileIdOf(*statusOf(parent_.get()));
    ASSERT_EQ(::rename((directory_ / "folder").c_str(), (directory_ / "elsewhere/folder").c_str()),
              0);

    EXPECT_EQ(openDirectoryAbove(lower->get(), expected).error().number(), ESTALE);
}

TEST_F(OpenDirectoryTest, TellsALinksOwnStatus) {
    ::symlink("nowhere", (directory_ / "link").c_str());

    const auto status = statusOfEntry(parent_.get(), "link");

    ASSERT_TRUE(status);
    EXPECT_TRUE(S_ISLNK(status->stx_mode));
}

TEST_F(OpenDirectoryTest, TellsThatAnEntryIsMissing) {
    EXPECT_EQ(statusOfEntry(parent_.get(), "missing").error().number(), ENOENT);
}

TEST_F(OpenDirectoryTest, TellsTheRootOfAVolume) {
    const FileDescriptor root(::open("/proc", O_PATH | O_CLOEXEC));

    EXPECT_TRUE(statusOf(root.get())->stx_attributes & STATX_ATTR_MOUNT_ROOT);
    EXPECT_FALSE(statusOf(parent_.get())->stx_attributes & STATX_ATTR_MOUNT_ROOT);
}

TEST_F(OpenDirectoryTest, TellsOneItemFromAnother) {
    directory_.write("a");
    directory_.write("b");
    ::link((directory_ / "a").c_str(), (directory_ / "same").c_str());
    const auto identity = [&](const char* name) {
        return fileIdOf(*statusOfEntry(parent_.get(), name));
    };

    EXPECT_EQ(identity("a"), identity("same"));
    EXPECT_NE(identity("a"), identity("b"));
}

} // namespace
