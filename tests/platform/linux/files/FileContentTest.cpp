#include "platform/linux/files/FileContent.h"

#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/posix/OpenDirectory.h"
#include "tests/support/PatternedText.h"
#include "tests/support/ScopedLimit.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using platform::native::FileContent;
using platform::native::FileDescriptor;

namespace {

class FileContentTest : public testing::Test {
protected:
    FileDescriptor open(const std::string& name) const {
        return FileDescriptor(
            ::open((directory_ / name).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    }

    auto copy() {
        const auto source = open("source");
        const auto copy = open("copy");
        return content_.copy(source.get(), *platform::native::statusOf(source.get()), copy.get());
    }

    auto compare(const std::string& one, const std::string& other) {
        directory_.write("one", one);
        directory_.write("other", other);
        return content_.compare(open("one").get(), open("other").get());
    }

    TemporaryDirectory directory_;
    FileContent content_;
};

class FileContentOfSize : public FileContentTest,
                          public testing::WithParamInterface<std::size_t> {};

TEST_P(FileContentOfSize, IsCopiedWhole) {
    const auto text = patternedText(GetParam());
    directory_.write("source", text);

    ASSERT_TRUE(copy());

    EXPECT_EQ(contentOf(directory_ / "copy"), text);
}

INSTANTIATE_TEST_SUITE_P(All, FileContentOfSize,
                         testing::Values(0, 1, 4095, 4096, 4097, 262'143, 262'144, 262'145,
                                         1'000'000));

TEST_F(FileContentTest, KeepsHolesAndTheirSize) {
    constexpr off_t size = 8'000'000;
    directory_.write("source", "begin");
    ASSERT_EQ(::truncate((directory_ / "source").c_str(), size), 0);

    ASSERT_TRUE(copy());

    struct stat status {};
    ASSERT_EQ(::stat((directory_ / "copy").c_str(), &status), 0);
    EXPECT_EQ(status.st_size, size);
    EXPECT_LT(status.st_blocks * 512, size / 2);
    EXPECT_EQ(contentOf(directory_ / "copy"), contentOf(directory_ / "source"));
}

TEST_F(FileContentTest, TellsThatTheCopyCannotGrow) {
    directory_.write("source", patternedText(100'000));
    const ScopedLimit<RLIMIT_FSIZE> limit(50'000);

    EXPECT_EQ(copy().error().number(), EFBIG);
}

TEST_F(FileContentTest, ComparesEqualFiles) {
    EXPECT_TRUE(compare("", ""));
    EXPECT_TRUE(compare(patternedText(600'000), patternedText(600'000)));
}

TEST_F(FileContentTest, FindsADifferenceInTheLastByte) {
    auto other = patternedText(600'000);
    other.back() ^= 1;

    EXPECT_EQ(compare(patternedText(600'000), other).error().number(), EIO);
}

TEST_F(FileContentTest, FindsADifferenceInLength) {
    EXPECT_EQ(compare("text", "texts").error().number(), EIO);
    EXPECT_EQ(compare("texts", "text").error().number(), EIO);
}

} // namespace
