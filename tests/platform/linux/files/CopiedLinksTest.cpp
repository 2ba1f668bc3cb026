#include "platform/linux/files/CopiedLinks.h"

#include "tests/support/NamedCase.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

using qf::native::CopiedLinks;
using qf::native::FileDescriptor;
using qf::native::statusOf;

namespace {

class CopiedLinksTest : public testing::Test {
protected:
    void remember(const std::string& file, std::vector<std::string> path) {
        const FileDescriptor copy(::open(file.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        links_.remember(source(), *statusOf(copy.get()), std::move(path));
    }
    bool link(const struct statx& source) { return links_.link(source, top_.get(), "second"); }

    static struct statx source() {
        struct statx status {};
        status.stx_dev_minor = 1;
        status.stx_ino = 2;
        status.stx_mode = S_IFREG | 0644;
        status.stx_size = 100;
        status.stx_ctime = {.tv_sec = 1'700'000'000, .tv_nsec = 5};
        return status;
    }

    TemporaryDirectory directory_;
    FileDescriptor top_{::open(directory_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    CopiedLinks links_{top_};
};

TEST_F(CopiedLinksTest, LinksToTheCopyUnderTheFormerName) {
    const auto file = directory_.write("a/b/first", "content");
    remember(file, {"a", "b", "first"});

    ASSERT_TRUE(link(source()));

    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_nlink, 2U);
    EXPECT_EQ(contentOf(directory_ / "second"), "content");
}

TEST_F(CopiedLinksTest, KnowsNoOtherFile) {
    remember(directory_.write("first"), {"first"});

    auto other = source();
    ++other.stx_ino;
    EXPECT_FALSE(link(other));
}

/// How a file differs from another with the same number.
using Difference = NamedValue<void (*)(struct statx&)>;

class CopiedLinksToAnother : public CopiedLinksTest,
                             public testing::WithParamInterface<Difference> {};

TEST_P(CopiedLinksToAnother, WithTheSameNumberAreNotMade) {
    remember(directory_.write("first"), {"first"});

    auto other = source();
    GetParam().value(other);
    EXPECT_FALSE(link(other));
}

INSTANTIATE_TEST_SUITE_P(
    , CopiedLinksToAnother,
    testing::Values(
        Difference{{"Size"}, [](struct statx& file) { ++file.stx_size; }},
        Difference{{"Seconds"}, [](struct statx& file) { ++file.stx_ctime.tv_sec; }},
        Difference{{"Nanoseconds"}, [](struct statx& file) { ++file.stx_ctime.tv_nsec; }},
        Difference{{"Kind"}, [](struct statx& file) { file.stx_mode = S_IFIFO | 0644; }}),
    nameOfCase);

TEST_F(CopiedLinksTest, LinksALinkItself) {
    ::symlink("nowhere", (directory_ / "first").c_str());
    remember(directory_ / "first", {"first"});

    ASSERT_TRUE(link(source()));

    EXPECT_EQ(std::filesystem::read_symlink(directory_ / "second"), "nowhere");
}

TEST_F(CopiedLinksTest, DoesNotLinkToAnotherFileOfTheName) {
    const auto file = directory_.write("first", "content");
    remember(file, {"first"});
    ASSERT_EQ(::rename(file.c_str(), (directory_ / "moved").c_str()), 0);
    directory_.write("first", "another");

    EXPECT_FALSE(link(source()));

    EXPECT_FALSE(exists(directory_ / "second"));
}

TEST_F(CopiedLinksTest, FollowsNoLinkOnTheWayToTheCopy) {
    const auto file = directory_.write("a/first");
    remember(file, {"a", "first"});
    ASSERT_EQ(::rename((directory_ / "a").c_str(), (directory_ / "moved").c_str()), 0);
    ::symlink("moved", (directory_ / "a").c_str());

    EXPECT_FALSE(link(source()));
}

TEST_F(CopiedLinksTest, ReplacesNothing) {
    remember(directory_.write("first", "content"), {"first"});
    directory_.write("second", "own");

    EXPECT_FALSE(link(source()));

    EXPECT_EQ(contentOf(directory_ / "second"), "own");
}

} // namespace
