#include "platform/linux/files/AtomicFile.h"

#include "platform/linux/posix/FileDescriptor.h"
#include "tests/support/ScopedLimit.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <filesystem>

using platform::native::FileDescriptor;
using platform::native::readFile;
using platform::native::replaceFile;
using platform::native::writeAll;

namespace {

constexpr std::size_t plenty = 1'000'000;

class AtomicFileTest : public testing::Test {
protected:
    std::ptrdiff_t itemsInFolder() const {
        return std::distance(std::filesystem::directory_iterator(folder_.path()),
                             std::filesystem::directory_iterator());
    }

    TemporaryFolder folder_;
};

TEST_F(AtomicFileTest, ReadsAWholeFile) {
    const std::string content(200'000, 'x');

    EXPECT_EQ(readFile(folder_.write("file", content), plenty), content);
}

TEST_F(AtomicFileTest, ReadsNoMoreThanTheLimit) {
    const auto file = folder_.write("file", "12345");

    EXPECT_EQ(readFile(file, 5), "12345");
    EXPECT_EQ(readFile(file, 4), std::nullopt);
}

TEST_F(AtomicFileTest, ReadsThroughALink) {
    folder_.write("file", "content");
    ::symlink("file", (folder_ / "link").c_str());

    EXPECT_EQ(readFile(folder_ / "link", plenty), "content");
}

TEST_F(AtomicFileTest, ReadsNothingButARegularFile) {
    ::mkfifo((folder_ / "fifo").c_str(), 0600);

    EXPECT_EQ(readFile(folder_ / "fifo", plenty), std::nullopt);
    EXPECT_EQ(readFile("/dev/zero", plenty), std::nullopt);
    EXPECT_EQ(readFile(folder_.path(), plenty), std::nullopt);
    EXPECT_EQ(readFile(folder_ / "missing", plenty), std::nullopt);
}

TEST_F(AtomicFileTest, MakesAFileWithTheModeThatTheUmaskLeaves) {
    const auto former = ::umask(027);
    const auto replaced = replaceFile(folder_ / "file", "content");
    ::umask(former);

    ASSERT_TRUE(replaced);
    struct stat status {};
    ASSERT_EQ(::stat((folder_ / "file").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
    EXPECT_EQ(contentOf(folder_ / "file"), "content");
}

TEST_F(AtomicFileTest, LeavesTheFormerFileToWhoeverHasItOpen) {
    const auto file = folder_.write("file", "former");
    const FileDescriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC));

    ASSERT_TRUE(replaceFile(file, "content"));

    std::string former(6, '\0');
    EXPECT_EQ(::pread(opened.get(), former.data(), former.size(), 0), 6);
    EXPECT_EQ(former, "former");
}

TEST_F(AtomicFileTest, ReplacesALinkItself) {
    const auto target = folder_.write("target", "target");
    ::symlink("target", (folder_ / "link").c_str());

    ASSERT_TRUE(replaceFile(folder_ / "link", "content"));

    EXPECT_FALSE(std::filesystem::is_symlink(folder_ / "link"));
    EXPECT_EQ(contentOf(target), "target");
}

TEST_F(AtomicFileTest, LeavesThePathAsItWasWhenNotAllCanBeWritten) {
    const auto file = folder_.write("file", "former");
    const ScopedLimit<RLIMIT_FSIZE> limit(10);

    const auto replaced = replaceFile(file, std::string(11, 'x'));

    ASSERT_FALSE(replaced);
    EXPECT_EQ(replaced.error().number(), EFBIG);
    EXPECT_EQ(contentOf(file), "former");
    EXPECT_EQ(itemsInFolder(), 1);
}

TEST_F(AtomicFileTest, TellsThatTheFolderIsMissing) {
    EXPECT_EQ(replaceFile(folder_ / "missing/file", "").error().number(), ENOENT);
}

TEST_F(AtomicFileTest, TellsThatADescriptorCannotBeWritten) {
    const FileDescriptor file(::open(folder_.write("file").c_str(), O_RDONLY | O_CLOEXEC));

    EXPECT_EQ(writeAll(file.get(), "content").error().number(), EBADF);
}

} // namespace
