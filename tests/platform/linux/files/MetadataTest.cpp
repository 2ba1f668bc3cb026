#include "platform/linux/files/Metadata.h"

#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/posix/OpenDirectory.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

using qf::native::copyMetadata;
using qf::native::copyMetadataToEntry;
using qf::native::FileDescriptor;
using qf::native::statusOfEntry;

namespace {

class MetadataTest : public testing::Test {
protected:
    struct stat statusOfCopy() const {
        struct stat status {};
        ::lstat((directory_ / "copy").c_str(), &status);
        return status;
    }

    auto copyToFile() {
        return copyMetadata(source_.get(), *qf::native::statusOf(source_.get()), copy_.get());
    }

    TemporaryDirectory directory_;
    FileDescriptor source_{::open(directory_.write("source").c_str(), O_RDWR | O_CLOEXEC)};
    FileDescriptor copy_{::open(directory_.write("copy").c_str(), O_RDWR | O_CLOEXEC)};
};

TEST_F(MetadataTest, CopiesTheMode) {
    ::fchmod(source_.get(), 0751);

    ASSERT_TRUE(copyToFile());

    EXPECT_EQ(statusOfCopy().st_mode & 07777U, 0751U);
}

TEST_F(MetadataTest, CopiesTheTimes) {
    const timespec times[2] = {{.tv_sec = 1'000'000'001, .tv_nsec = 2},
                               {.tv_sec = 1'000'000'003, .tv_nsec = 4}};
    ::futimens(source_.get(), times);

    ASSERT_TRUE(copyToFile());

    EXPECT_EQ(statusOfCopy().st_atim.tv_sec, 1'000'000'001);
    EXPECT_EQ(statusOfCopy().st_mtim.tv_sec, 1'000'000'003);
    EXPECT_EQ(statusOfCopy().st_mtim.tv_nsec, 4);
}

TEST_F(MetadataTest, CopiesTheUsersAttributes) {
    if (::fsetxattr(source_.get(), "user.name", "value", 5, 0) != 0) {
        GTEST_SKIP() << "the temporary folder's volume has no extended attributes";
    }

    ASSERT_TRUE(copyToFile());

    char value[8] = {};
    EXPECT_EQ(::fgetxattr(copy_.get(), "user.name", value, sizeof value), 5);
    EXPECT_STREQ(value, "value");
}

TEST_F(MetadataTest, CopiesOwnerAndGroupAsTheSuperuser) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only the superuser gives files away";
    }
    ASSERT_EQ(::fchown(source_.get(), 65534, 65533), 0);
    ::fchmod(source_.get(), 06755);

    ASSERT_TRUE(copyToFile());

    EXPECT_EQ(statusOfCopy().st_uid, 65534U);
    EXPECT_EQ(statusOfCopy().st_gid, 65533U);
    EXPECT_EQ(statusOfCopy().st_mode & 07777U, 06755U);
}

TEST_F(MetadataTest, CopiesALinksOwnTimes) {
    ::unlink((directory_ / "copy").c_str());
    ::symlink("nowhere", (directory_ / "copy").c_str());
    ::symlink("nowhere", (directory_ / "link").c_str());
    const timespec times[2] = {{.tv_sec = 1'000'000'001, .tv_nsec = 0},
                               {.tv_sec = 1'000'000'003, .tv_nsec = 0}};
    ::utimensat(AT_FDCWD, (directory_ / "link").c_str(), times, AT_SYMLINK_NOFOLLOW);
    const FileDescriptor directory(::open(directory_.path().c_str(), O_PATH | O_CLOEXEC));
    const auto status = statusOfEntry(directory.get(), "link");

    ASSERT_TRUE(copyMetadataToEntry(*status, {directory.get(), "copy"}));

    EXPECT_EQ(statusOfCopy().st_mtim.tv_sec, 1'000'000'003);
}

TEST_F(MetadataTest, CopiesTheModeOfAFifo) {
    ::unlink((directory_ / "copy").c_str());
    ::mkfifo((directory_ / "copy").c_str(), 0600);
    ::mkfifo((directory_ / "fifo").c_str(), 0600);
    ::chmod((directory_ / "fifo").c_str(), 0666);
    const FileDescriptor directory(::open(directory_.path().c_str(), O_PATH | O_CLOEXEC));
    const auto status = statusOfEntry(directory.get(), "fifo");

    ASSERT_TRUE(copyMetadataToEntry(*status, {directory.get(), "copy"}));

    EXPECT_EQ(statusOfCopy().st_mode & 07777U, 0666U);
}

TEST_F(MetadataTest, TellsThatTheEntryIsMissing) {
    const FileDescriptor directory(::open(directory_.path().c_str(), O_PATH | O_CLOEXEC));
    const auto status = qf::native::statusOf(source_.get());

    EXPECT_EQ(copyMetadataToEntry(*status, {directory.get(), "missing"}).error().number(), ENOENT);
}

} // namespace
