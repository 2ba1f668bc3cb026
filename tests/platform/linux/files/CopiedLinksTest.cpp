#include "platform/linux/files/CopiedLinks.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

using platform::FileId;
using platform::native::CopiedLinks;
using platform::native::FileDescriptor;

namespace {

class CopiedLinksTest : public testing::Test {
protected:
    void remember(const std::string& file, std::vector<std::string> path) {
        const FileDescriptor copy(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
        ASSERT_TRUE(links_.remember(source_, copy, std::move(path)));
    }
    bool link(const FileId& source) { return links_.link(source, top_.get(), "second"); }

    TemporaryDirectory directory_;
    FileDescriptor top_{::open(directory_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    CopiedLinks links_{top_};
    const FileId source_{1, 2};
};

TEST_F(CopiedLinksTest, LinksToTheCopyUnderTheFormerName) {
    const auto file = directory_.write("a/b/first", "content");
    remember(file, {"a", "b", "first"});

    ASSERT_TRUE(link(source_));

    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_nlink, 2U);
    EXPECT_EQ(contentOf(directory_ / "second"), "content");
}

TEST_F(CopiedLinksTest, KnowsNoOtherFile) {
    remember(directory_.write("first"), {"first"});

    EXPECT_FALSE(link({1, 3}));
}

TEST_F(CopiedLinksTest, DoesNotLinkToAnotherFileOfTheName) {
    const auto file = directory_.write("first", "content");
    remember(file, {"first"});
    ASSERT_EQ(::rename(file.c_str(), (directory_ / "moved").c_str()), 0);
    directory_.write("first", "another");

    EXPECT_FALSE(link(source_));

    EXPECT_FALSE(stands(directory_ / "second"));
}

TEST_F(CopiedLinksTest, FollowsNoLinkOnTheWayToTheCopy) {
    const auto file = directory_.write("a/first");
    remember(file, {"a", "first"});
    ASSERT_EQ(::rename((directory_ / "a").c_str(), (directory_ / "moved").c_str()), 0);
    ::symlink("moved", (directory_ / "a").c_str());

    EXPECT_FALSE(link(source_));
}

TEST_F(CopiedLinksTest, ReplacesNothing) {
    remember(directory_.write("first", "content"), {"first"});
    directory_.write("second", "own");

    EXPECT_FALSE(link(source_));

    EXPECT_EQ(contentOf(directory_ / "second"), "own");
}

} // namespace
