#include "platform/linux/files/FileContent.h"

#include "platform/linux/posix/FileDescriptor.h"
#include "platform/linux/posix/OpenDirectory.h"
#include "tests/platform/linux/RunChild.h"
#include "tests/platform/linux/files/Faults.h"
#include "tests/support/NamedCase.h"
#include "tests/support/PatternedText.h"
#include "tests/support/ScopedLimit.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

using qf::native::FileContent;
using qf::native::FileDescriptor;

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
        return content_.copy(source.get(), *qf::native::statusOf(source.get()), copy.get());
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

/// Why the content of one file could not be shared, and whether the next file is tried.
struct SharingFailure : NamedCase {
    int number;
    bool triesAgain;
};

class FileContentThatCannotBeShared : public FileContentTest,
                                      public testing::WithParamInterface<SharingFailure> {};

TEST_P(FileContentThatCannotBeShared, IsCopiedWhole) {
    directory_.write("tree/a", "first");
    directory_.write("tree/b", "second");
    // The first two tries fail, if there is a second.
    const auto fault = "ioctl:1:" + std::to_string(GetParam().number);

    const auto outcome = runChild({"copy", directory_ / "tree", directory_ / "new"},
                                  withFaults(fault + ',' + fault));

    EXPECT_EQ(outcome.output, GetParam().triesAgain ? "ok\nfaults: 2\n" : "ok\nfaults: 1\n");
    EXPECT_EQ(contentOf(directory_ / "new/a"), "first");
    EXPECT_EQ(contentOf(directory_ / "new/b"), "second");
}

INSTANTIATE_TEST_SUITE_P(, FileContentThatCannotBeShared,
                         testing::Values(SharingFailure{{"OfThisFile"}, EINVAL, true},
                                         SharingFailure{{"WithoutRoom"}, ENOSPC, true},
                                         SharingFailure{{"OnThisVolume"}, EOPNOTSUPP, false},
                                         SharingFailure{{"BySuchASystem"}, ENOTTY, false},
                                         SharingFailure{{"BetweenVolumes"}, EXDEV, false}),
                         nameOfCase);

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
