#include "platform/linux/files/AtomicFile.h"

#include "platform/linux/posix/FileDescriptor.h"
#include "tests/support/ScopedLimit.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <filesystem>

using qf::native::FileDescriptor;
using qf::native::readFile;
using qf::native::replaceFile;
using qf::native::writeAll;

namespace {

constexpr std::size_t plenty = 1'000'000;

class AtomicFileTest : public testing::Test {
protected:
    std::ptrdiff_t itemsInDirectory() const {
        return std::distance(std::filesystem::directory_iterator(directory_.path()),
                             std::filesystem::directory_iterator());
    }

    TemporaryDirectory directory_;
};

TEST_F(AtomicFileTest, ReadsAWholeFile) {
    const std::string content(200'000, 'x');

    EXPECT_EQ(readFile(directory_.write("file", content), plenty), content);
}

TEST_F(AtomicFileTest, ReadsNoMoreThanTheLimit) {
    const auto file = directory_.write("file", "12345");

    EXPECT_EQ(readFile(file, 5), "12345");
    EXPECT_EQ(readFile(file, 4), std::nullopt);
}

TEST_F(AtomicFileTest, ReadsThroughALink) {
    directory_.write("file", "content");
    ::symlink("file", (directory_ / "link").c_str());

    EXPECT_EQ(readFile(directory_ / "link", plenty), "content");
}

TEST_F(AtomicFileTest, ReadsNothingButARegularFile) {
    ::mkfifo((directory_ / "fifo").c_str(), 0600);

    EXPECT_EQ(readFile(directory_ / "fifo", plenty), std::nullopt);
    EXPECT_EQ(readFile("/dev/zero", plenty), std::nullopt);
    EXPECT_EQ(readFile(directory_.path(), plenty), std::nullopt);
    EXPECT_EQ(readFile(directory_ / "missing", plenty), std::nullopt);
}

TEST_F(AtomicFileTest, ReadsNothingThatCannotBeReadToTheEnd) {
    const std::string memory = "/proc/self/mem"; // Its first page is never there.
    if (!FileDescriptor(::open(memory.c_str(), O_RDONLY | O_CLOEXEC))) {
        GTEST_SKIP() << "a process cannot open " << memory << " here";
    }
    EXPECT_EQ(readFile(memory, plenty), std::nullopt);
}

TEST_F(AtomicFileTest, MakesAFileWithTheModeThatTheUmaskLeaves) {
    const auto former = ::umask(027);
    const auto replaced = replaceFile(directory_ / "file", "content");
    ::umask(former);

    ASSERT_TRUE(replaced);
    struct stat status {};
    ASSERT_EQ(::stat((directory_ / "file").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
    EXPECT_EQ(contentOf(directory_ / "file"), "content");
}

TEST_F(AtomicFileTest, LeavesTheFormerFileToWhoeverHasItOpen) {
    const auto file = directory_.write("file", "former");
    const FileDescriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC));

    ASSERT_TRUE(replaceFile(file, "content"));

    std::string former(6, '\0');
    EXPECT_EQ(::pread(opened.get(), former.data(), former.size(), 0), 6);
    EXPECT_EQ(former, "former");
}

TEST_F(AtomicFileTest, ReplacesALinkItself) {
    const auto target = directory_.write("target", "target");
    ::symlink("target", (directory_ / "link").c_str());

    ASSERT_TRUE(replaceFile(directory_ / "link", "content"));

    EXPECT_FALSE(std::filesystem::is_symlink(directory_ / "link"));
    EXPECT_EQ(contentOf(target), "target");
}

TEST_F(AtomicFileTest, LeavesThePathAsItWasWhenNotAllCanBeWritten) {
    const auto file = directory_.write("file", "former");
    const ScopedLimit<RLIMIT_FSIZE> limit(10);

    const auto replaced = replaceFile(file, std::string(11, 'x'));

    ASSERT_FALSE(replaced);
    EXPECT_EQ(replaced.error().number(), EFBIG);
    EXPECT_EQ(contentOf(file), "former");
    EXPECT_EQ(itemsInDirectory(), 1);
}

TEST_F(AtomicFileTest, TellsThatTheDirectoryIsMissing) {
    EXPECT_EQ(replaceFile(directory_ / "missing/file", "").error().number(), ENOENT);
}

TEST_F(AtomicFileTest, TellsThatADescriptorCannotBeWritten) {
    const FileDescriptor file(::open(directory_.write("file").c_str(), O_RDONLY | O_CLOEXEC));

    EXPECT_EQ(writeAll(file.get(), "content").error().number(), EBADF);
}

} // namespace
