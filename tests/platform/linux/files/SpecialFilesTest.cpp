#include "platform/linux/files/SpecialFiles.h"

#include "platform/linux/posix/Errors.h"
#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/posix/OpenFolder.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

using platform::native::changedMeanwhile;
using platform::native::copyUnopened;
using platform::native::FileDescriptor;
using platform::native::statusOfEntry;

namespace {

class SpecialFilesTest : public testing::Test {
protected:
    auto copy() {
        const auto status = statusOfEntry(top_.get(), "item");
        return copyUnopened(top_.get(), "item", *status, top_.get(), "copy");
    }

    mode_t modeOfCopy() const {
        struct stat status {};
        ::lstat((folder_ / "copy").c_str(), &status);
        return status.st_mode;
    }

    TemporaryFolder folder_;
    FileDescriptor top_{::open(folder_.path().c_str(), O_PATH | O_CLOEXEC)};
};

TEST_F(SpecialFilesTest, CopiesALinkWithItsText) {
    ::symlink("some where", (folder_ / "item").c_str());

    ASSERT_TRUE(copy());

    EXPECT_EQ(std::filesystem::read_symlink(folder_ / "copy"), "some where");
}

TEST_F(SpecialFilesTest, CopiesAFifoWithItsMode) {
    ::mkfifo((folder_ / "item").c_str(), 0600);
    ::chmod((folder_ / "item").c_str(), 0622);

    ASSERT_TRUE(copy());

    EXPECT_EQ(modeOfCopy(), S_IFIFO | 0622U);
}

TEST_F(SpecialFilesTest, CopiesASocket) {
    ASSERT_EQ(::mknod((folder_ / "item").c_str(), S_IFSOCK | 0600, 0), 0);

    ASSERT_TRUE(copy());

    EXPECT_TRUE(S_ISSOCK(modeOfCopy()));
}

TEST_F(SpecialFilesTest, ReplacesNothing) {
    ::symlink("some where", (folder_ / "item").c_str());
    folder_.write("copy", "own");

    EXPECT_EQ(copy().error().number(), EEXIST);

    EXPECT_EQ(contentOf(folder_ / "copy"), "own");
}

TEST_F(SpecialFilesTest, RefusesFilesAndFolders) {
    folder_.write("item");

    EXPECT_EQ(copy().error(), changedMeanwhile);

    EXPECT_FALSE(stands(folder_ / "copy"));
}

TEST_F(SpecialFilesTest, NoticesThatALinkHasBecomeSomethingElse) {
    ::symlink("some where", (folder_ / "item").c_str());
    const auto status = statusOfEntry(top_.get(), "item");
    ::unlink((folder_ / "item").c_str());
    folder_.write("item");

    EXPECT_EQ(copyUnopened(top_.get(), "item", *status, top_.get(), "copy").error(),
              changedMeanwhile);
}

} // namespace
