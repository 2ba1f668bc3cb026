#include "platform/linux/files/TreeCopy.h"

#include "platform/linux/posix/OpenFolder.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using platform::native::CopyFingerprints;
using platform::native::CopyPurpose;
using platform::native::copyTree;
using platform::native::FileDescriptor;
using platform::native::statusOfEntry;

namespace {

class TreeCopyTest : public testing::Test {
protected:
    auto copy(CopyPurpose purpose = CopyPurpose::keepBoth) {
        const FileDescriptor top(
            ::open(folder_.makeFolder("copy").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        return copyTree(parent_.get(), "tree", top, purpose, copied_);
    }

    bool isFingerprinted(const std::string& folder, const char* name) const {
        const FileDescriptor open(::open((folder_ / folder).c_str(), O_PATH | O_CLOEXEC));
        return copied_.contains(*statusOfEntry(open.get(), name));
    }

    TemporaryFolder folder_;
    FileDescriptor parent_{::open(folder_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    CopyFingerprints copied_;
};

TEST_F(TreeCopyTest, CopiesAllThatIsInATree) {
    folder_.write("tree/a/file", "content");
    folder_.makeFolder("tree/empty");
    ::symlink("a", (folder_ / "tree/link").c_str());

    ASSERT_TRUE(copy());

    EXPECT_EQ(contentOf(folder_ / "copy/a/file"), "content");
    EXPECT_TRUE(stands(folder_ / "copy/empty"));
    EXPECT_EQ(contentOf(folder_ / "copy/link/file"), "content");
}

TEST_F(TreeCopyTest, GoesDeeperThanItKeepsFoldersOpen) {
    std::string path = "tree";
    for (int i = 0; i < 40; ++i) {
        path += "/a";
    }
    folder_.write(path + "/file", "content");
    folder_.write("tree/z", "last");

    ASSERT_TRUE(copy());

    EXPECT_EQ(contentOf(folder_ / path.replace(0, 4, "copy") + "/file"), "content");
    EXPECT_EQ(contentOf(folder_ / "copy/z"), "last");
}

TEST_F(TreeCopyTest, KeepsHardLinksTogether) {
    folder_.write("tree/a/file", "content");
    folder_.makeFolder("tree/b");
    ::link((folder_ / "tree/a/file").c_str(), (folder_ / "tree/b/same").c_str());

    ASSERT_TRUE(copy());

    struct stat status {};
    ASSERT_EQ(::stat((folder_ / "copy/b/same").c_str(), &status), 0);
    EXPECT_EQ(status.st_nlink, 2U);
}

TEST_F(TreeCopyTest, RefusesACopyIntoItself) {
    folder_.write("tree/file");
    const FileDescriptor top(
        ::open(folder_.makeFolder("tree/inside").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));

    const auto done = copyTree(parent_.get(), "tree", top, CopyPurpose::keepBoth, copied_);

    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().number.number(), EINVAL);
}

TEST_F(TreeCopyTest, NamesTheEntryThatCouldNotBeCopied) {
    if (::geteuid() == 0) {
        GTEST_SKIP() << "the superuser may read everything";
    }
    ::chmod(folder_.write("tree/closed").c_str(), 0);

    const auto done = copy();

    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().name, "closed");
    EXPECT_EQ(done.error().number.number(), EACCES);
}

TEST_F(TreeCopyTest, TellsThatTheTreeIsMissing) {
    const auto done = copy();

    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().name, "tree");
}

TEST_F(TreeCopyTest, TakesFingerprintsOfWhatIsToBeRemoved) {
    folder_.write("tree/a/file");
    ::symlink("a", (folder_ / "tree/link").c_str());

    ASSERT_TRUE(copy(CopyPurpose::replaceSource));

    EXPECT_TRUE(isFingerprinted("tree/a", "file"));
    EXPECT_TRUE(isFingerprinted("tree", "a"));
    EXPECT_TRUE(isFingerprinted("tree", "link"));
    EXPECT_TRUE(isFingerprinted(".", "tree"));
}

TEST_F(TreeCopyTest, TakesNoneOfWhatIsToStay) {
    folder_.write("tree/file");

    ASSERT_TRUE(copy());

    EXPECT_FALSE(isFingerprinted("tree", "file"));
}

} // namespace
