#include "platform/linux/files/FileCopier.h"

#include "platform/linux/posix/Errors.h"
#include "tests/support/NamedCase.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>

using qf::native::changedMeanwhile;
using qf::native::FileCopier;
using qf::native::FileDescriptor;

namespace {

class FileCopierTest : public testing::Test {
protected:
    FileDescriptor makeCopy() const {
        return FileDescriptor(
            ::open((directory_ / "copy").c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    }

    auto openItem() const { return FileCopier::open(top_.get(), "item"); }

    TemporaryDirectory directory_;
    FileDescriptor top_{::open(directory_.path().c_str(), O_PATH | O_CLOEXEC)};
    FileCopier copier_;
};

TEST_F(FileCopierTest, CopiesContentAndMetadata) {
    ASSERT_EQ(::chmod(directory_.write("item", "content").c_str(), 0640), 0);
    const std::array<timespec, 2> times{timespec{1, 2}, timespec{3, 4}};
    ASSERT_EQ(::utimensat(top_.get(), "item", times.data(), 0), 0);
    const auto source = openItem();
    const auto copy = makeCopy();
    ASSERT_TRUE(source);

    ASSERT_TRUE(copier_.fill(*source, copy));

    struct stat status {};
    ASSERT_EQ(::fstat(copy.get(), &status), 0);
    EXPECT_EQ(contentOf(directory_ / "copy"), "content");
    EXPECT_EQ(status.st_mode & ACCESSPERMS, 0640U);
    EXPECT_EQ(status.st_mtim.tv_sec, 3);
    EXPECT_EQ(status.st_mtim.tv_nsec, 4);
    EXPECT_TRUE(copier_.check(*source, copy));
}

TEST_F(FileCopierTest, TellsACopyThatDiffers) {
    directory_.write("item", "content");
    const auto source = openItem();
    const auto copy = makeCopy();
    ASSERT_TRUE(source && copier_.fill(*source, copy));
    ASSERT_EQ(::pwrite(copy.get(), "C", 1, 0), 1);

    EXPECT_FALSE(copier_.check(*source, copy));
}

TEST_F(FileCopierTest, NoticesThatTheSourceIsWrittenMeanwhile) {
    directory_.write("item", "content");
    const auto source = openItem();
    const auto copy = makeCopy();
    ASSERT_TRUE(source && copier_.fill(*source, copy));
    const std::array<timespec, 2> later{timespec{1, 0}, timespec{1, 0}};
    ASSERT_EQ(::utimensat(top_.get(), "item", later.data(), 0), 0);

    const auto checked = copier_.check(*source, copy);

    ASSERT_FALSE(checked);
    EXPECT_EQ(checked.error(), changedMeanwhile);
}

TEST_F(FileCopierTest, TellsThatThereIsNoFile) {
    EXPECT_EQ(openItem().error().number(), ENOENT);
}

/// What others may put in the place of a file.
using OtherItem = NamedValue<void (*)(const std::string& path)>;

class FileCopierOfOthers : public FileCopierTest, public testing::WithParamInterface<OtherItem> {};

TEST_P(FileCopierOfOthers, IsNotLedAstray) {
    GetParam().value(directory_ / "item");

    const auto source = openItem();

    ASSERT_FALSE(source);
    EXPECT_EQ(source.error(), changedMeanwhile);
}

INSTANTIATE_TEST_SUITE_P(, FileCopierOfOthers,
                         testing::Values(OtherItem{{"Link"},
                                                   [](const std::string& path) {
                                                       std::filesystem::create_symlink(
                                                           "/etc/passwd", path);
                                                   }},
                                         OtherItem{{"Pipe"},
                                                   [](const std::string& path) {
                                                       ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
                                                   }},
                                         OtherItem{{"Directory"},
                                                   [](const std::string& path) {
                                                       std::filesystem::create_directory(path);
                                                   }}),
                         nameOfCase);

} // namespace
