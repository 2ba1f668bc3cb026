#include "platform/linux/files/SpecialFiles.h"

#include "platform/linux/posix/Errors.h"
#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/posix/OpenDirectory.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

using qf::native::changedMeanwhile;
using qf::native::copyUnopened;
using qf::native::FileDescriptor;
using qf::native::statusOfEntry;

namespace {

class SpecialFilesTest : public testing::Test {
protected:
    auto copy() {
        const auto status = statusOfEntry(top_.get(), "item");
        return copyUnopened({top_.get(), "item"}, *status, {top_.get(), "copy"});
    }

    mode_t modeOfCopy() const {
        struct stat status {};
        ::lstat((directory_ / "copy").c_str(), &status);
        return status.st_mode;
    }

    TemporaryDirectory directory_;
    FileDescriptor top_{::open(directory_.path().c_str(), O_PATH | O_CLOEXEC)};
};

TEST_F(SpecialFilesTest, CopiesALinkWithItsText) {
    ::symlink("some where", (directory_ / "item").c_str());

    ASSERT_TRUE(copy());

    EXPECT_EQ(std::filesystem::read_symlink(directory_ / "copy"), "some where");
}

TEST_F(SpecialFilesTest, CopiesAFifoWithItsMode) {
    ::mkfifo((directory_ / "item").c_str(), 0600);
    ::chmod((directory_ / "item").c_str(), 0622);

    ASSERT_TRUE(copy());

    EXPECT_EQ(modeOfCopy(), S_IFIFO | 0622U);
}

TEST_F(SpecialFilesTest, CopiesASocket) {
    ASSERT_EQ(::mknod((directory_ / "item").c_str(), S_IFSOCK | 0600, 0), 0);

    ASSERT_TRUE(copy());

    EXPECT_TRUE(S_ISSOCK(modeOfCopy()));
}

TEST_F(SpecialFilesTest, ReplacesNothing) {
    ::symlink("some where", (directory_ / "item").c_str());
    directory_.write("copy", "own");

    EXPECT_EQ(copy().error().number(), EEXIST);

    EXPECT_EQ(contentOf(directory_ / "copy"), "own");
}

TEST_F(SpecialFilesTest, RefusesFilesAndDirectories) {
    directory_.write("item");

    EXPECT_EQ(copy().error(), changedMeanwhile);

    EXPECT_FALSE(exists(directory_ / "copy"));
}

TEST_F(SpecialFilesTest, NoticesThatALinkHasBecomeSomethingElse) {
    ::symlink("some where", (directory_ / "item").c_str());
    const auto status = statusOfEntry(top_.get(), "item");
    ::unlink((directory_ / "item").c_str());
    directory_.write("item");

    EXPECT_EQ(copyUnopened({top_.get(), "item"}, *status, {top_.get(), "copy"}).error(),
              changedMeanwhile);
}

} // namespace
