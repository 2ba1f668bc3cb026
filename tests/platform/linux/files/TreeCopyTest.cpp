#include "platform/linux/files/TreeCopy.h"

#include "platform/linux/posix/OpenDirectory.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using qf::native::CopyFingerprints;
using qf::native::CopyPurpose;
using qf::native::copyTree;
using qf::native::FileDescriptor;
using qf::native::statusOfEntry;

namespace {

class TreeCopyTest : public testing::Test {
protected:
    auto copy(CopyPurpose purpose = CopyPurpose::keepBoth) {
        const FileDescriptor top(
            ::open(directory_.makeDirectory("copy").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        return copyTree(parent_.get(), "tree", top, purpose, copied_);
    }

    bool isFingerprinted(const std::string& directory, const char* name) const {
        const FileDescriptor open(::open((directory_ / directory).c_str(), O_PATH | O_CLOEXEC));
        return copied_.contains(*statusOfEntry(open.get(), name));
    }

    TemporaryDirectory directory_;
    FileDescriptor parent_{::open(directory_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    CopyFingerprints copied_;
};

TEST_F(TreeCopyTest, CopiesAllThatIsInATree) {
    directory_.write("tree/a/file", "content");
    directory_.makeDirectory("tree/empty");
    ::symlink("a", (directory_ / "tree/link").c_str());

    ASSERT_TRUE(copy());

    EXPECT_EQ(contentOf(directory_ / "copy/a/file"), "content");
    EXPECT_TRUE(exists(directory_ / "copy/empty"));
    EXPECT_EQ(contentOf(directory_ / "copy/link/file"), "content");
}

TEST_F(TreeCopyTest, GoesDeeperThanItKeepsDirectoriesOpen) {
    std::string path = "tree";
    for (int i = 0; i < 40; ++i) {
        path += "/a";
    }
    directory_.write(path + "/file", "content");
    directory_.write("tree/z", "last");

    ASSERT_TRUE(copy());

    EXPECT_EQ(contentOf(directory_ / path.replace(0, 4, "copy") + "/file"), "content");
    EXPECT_EQ(contentOf(directory_ / "copy/z"), "last");
}

TEST_F(TreeCopyTest, KeepsHardLinksTogether) {
    directory_.write("tree/a/file", "content");
    directory_.makeDirectory("tree/b");
    ::link((directory_ / "tree/a/file").c_str(), (directory_ / "tree/b/same").c_str());

    ASSERT_TRUE(copy());

    struct stat status {};
    ASSERT_EQ(::stat((directory_ / "copy/b/same").c_str(), &status), 0);
    EXPECT_EQ(status.st_nlink, 2U);
}

TEST_F(TreeCopyTest, RefusesACopyIntoItself) {
    directory_.write("tree/file");
    const FileDescriptor top(::open(directory_.makeDirectory("tree/inside").c_str(),
                                    O_RDONLY | O_DIRECTORY | O_CLOEXEC));

    const auto done = copyTree(parent_.get(), "tree", top, CopyPurpose::keepBoth, copied_);

    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().number.number(), EINVAL);
}

TEST_F(TreeCopyTest, NamesTheEntryThatCouldNotBeCopied) {
    if (::geteuid() == 0) {
        GTEST_SKIP() << "the superuser may read everything";
    }
    ::chmod(directory_.write("tree/closed").c_str(), 0);

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
    directory_.write("tree/a/file");
    ::symlink("a", (directory_ / "tree/link").c_str());

    ASSERT_TRUE(copy(CopyPurpose::replaceSource));

    EXPECT_TRUE(isFingerprinted("tree/a", "file"));
    EXPECT_TRUE(isFingerprinted("tree", "a"));
    EXPECT_TRUE(isFingerprinted("tree", "link"));
    EXPECT_TRUE(isFingerprinted(".", "tree"));
}

TEST_F(TreeCopyTest, TakesNoneOfWhatIsToStay) {
    directory_.write("tree/file");

    ASSERT_TRUE(copy());

    EXPECT_FALSE(isFingerprinted("tree", "file"));
}

} // namespace
