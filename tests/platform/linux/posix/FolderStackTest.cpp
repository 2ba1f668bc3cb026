#include "platform/linux/posix/FolderStack.h"

#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>

using platform::native::Directory;
using platform::native::FileDescriptor;
using platform::native::FolderStack;
using platform::native::Identity;
using platform::native::identityOf;
using platform::native::openFolder;
using platform::native::statusOf;

namespace {

class FolderStackTest : public testing::Test {
protected:
    static Identity identity(int folder) { return identityOf(*statusOf(folder)); }

    /// Enters "a" in the deepest folder, or in the test's, as often as told.
    template <class Folder>
    void enter(FolderStack<Folder>& stack, int times) {
        for (int i = 0; i < times; ++i) {
            auto folder = openFolder(stack.empty() ? top_.get() : stack.descriptor(), "a");
            const auto entered = identity(folder->get());
            ASSERT_TRUE(stack.push(*std::move(folder), entered));
        }
    }

    static std::ptrdiff_t openDescriptors() {
        const FileDescriptor own(::open("/proc/self/fd", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        auto directory = Directory::of(FileDescriptor(::fcntl(own.get(), F_DUPFD_CLOEXEC, 0)));
        std::ptrdiff_t count = 0;
        while (*directory->next()) {
            ++count;
        }
        return count;
    }

    TemporaryFolder folder_;
    std::string deepest_ = folder_.makeFolder("a/a/a/a/a/a/a/a");
    FileDescriptor top_{::open(folder_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
};

TEST_F(FolderStackTest, KeepsOnlySoManyOpen) {
    const auto before = openDescriptors();
    FolderStack<FileDescriptor> stack(3);

    enter(stack, 8);

    EXPECT_EQ(stack.size(), 8U);
    EXPECT_EQ(openDescriptors() - before, 3);
}

TEST_F(FolderStackTest, OpensTheClosedOnesAgainOnTheWayBack) {
    FolderStack<FileDescriptor> stack(2);
    enter(stack, 4);
    for (int depth = 4; depth > 1; --depth) {
        ASSERT_TRUE(stack.reopenAbove()) << depth;
        stack.pop();
    }

    const auto first = openFolder(top_.get(), "a");
    EXPECT_EQ(identity(stack.descriptor()), identity(first->get()));
}

TEST_F(FolderStackTest, NoticesThatTheFolderBelowWasMovedElsewhere) {
    FolderStack<FileDescriptor> stack(2);
    enter(stack, 4);
    ASSERT_TRUE(stack.reopenAbove());
    stack.pop();
    folder_.makeFolder("elsewhere");
    ASSERT_EQ(::rename((folder_ / "a/a/a").c_str(), (folder_ / "elsewhere/a").c_str()), 0);

    const auto reopened = stack.reopenAbove();

    ASSERT_FALSE(reopened);
    EXPECT_EQ(reopened.error().number(), ESTALE);
}

TEST_F(FolderStackTest, LendsTheFolderAbove) {
    FolderStack<FileDescriptor> stack(1);
    enter(stack, 2);
    ASSERT_TRUE(stack.reopenAbove());

    const auto first = openFolder(top_.get(), "a");
    EXPECT_EQ(identity(stack.descriptorAbove()), identity(first->get()));
}

TEST_F(FolderStackTest, HasNothingToOpenAboveTheFirst) {
    FolderStack<FileDescriptor> stack(1);
    enter(stack, 1);

    EXPECT_TRUE(stack.reopenAbove());
    stack.pop();
    EXPECT_TRUE(stack.empty());
}

TEST_F(FolderStackTest, ReadsTheEntriesOfADirectory) {
    FolderStack<Directory> stack(1);
    enter(stack, 2);

    EXPECT_EQ((*stack.top().next())->name, "a");
    EXPECT_FALSE(stack.top().next()->has_value());
}

} // namespace
