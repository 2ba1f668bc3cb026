#include "platform/linux/posix/DirectoryStack.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>

using qf::FileId;
using qf::native::DirectoryReader;
using qf::native::DirectoryStack;
using qf::native::FileDescriptor;
using qf::native::fileIdOf;
using qf::native::openDirectory;
using qf::native::statusOf;

namespace {

class DirectoryStackTest : public testing::Test {
protected:
    static FileId identity(int directory) { return fileIdOf(*statusOf(directory)); }

    /// Enters "a" in the deepest directory, or in the test's, so many times.
    template <class Handle>
    void enter(DirectoryStack<Handle>& stack, int times) {
        for (int i = 0; i < times; ++i) {
            auto directory = openDirectory(stack.empty() ? top_.get() : stack.descriptor(), "a");
            const auto entered = identity(directory->get());
            ASSERT_TRUE(stack.push(*std::move(directory), entered));
        }
    }

    static std::ptrdiff_t openDescriptors() {
        const FileDescriptor own(::open("/proc/self/fd", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        auto reader = DirectoryReader::of(FileDescriptor(::fcntl(own.get(), F_DUPFD_CLOEXEC, 0)));
        std::ptrdiff_t count = 0;
        while (*reader->next()) {
            ++count;
        }
        return count;
    }

    TemporaryDirectory directory_;
    std::string deepest_ = directory_.makeDirectory("a/a/a/a/a/a/a/a");
    FileDescriptor top_{::open(directory_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
};

TEST_F(DirectoryStackTest, KeepsOnlySoManyOpen) {
    const auto before = openDescriptors();
    DirectoryStack<FileDescriptor> stack(3);

    enter(stack, 8);

    EXPECT_EQ(stack.size(), 8U);
    EXPECT_EQ(openDescriptors() - before, 3);
}

TEST_F(DirectoryStackTest, OpensTheClosedOnesAgainOnTheWayBack) {
    DirectoryStack<FileDescriptor> stack(2);
    enter(stack, 4);
    for (int depth = 4; depth > 1; --depth) {
        ASSERT_TRUE(stack.reopenAbove()) << depth;
        stack.pop();
    }

    const auto first = openDirectory(top_.get(), "a");
    EXPECT_EQ(identity(stack.descriptor()), identity(first->get()));
}

TEST_F(DirectoryStackTest, NoticesThatTheDirectoryBelowWasMovedElsewhere) {
    DirectoryStack<FileDescriptor> stack(2);
    enter(stack, 4);
    ASSERT_TRUE(stack.reopenAbove());
    stack.pop();
    directory_.makeDirectory("elsewhere");
    ASSERT_EQ(::rename((directory_ / "a/a/a").c_str(), (directory_ / "elsewhere/a").c_str()), 0);

    const auto reopened = stack.reopenAbove();

    ASSERT_FALSE(reopened);
    EXPECT_EQ(reopened.error().number(), ESTALE);
}

TEST_F(DirectoryStackTest, LendsTheDirectoryAbove) {
    DirectoryStack<FileDescriptor> stack(1);
    enter(stack, 2);
    ASSERT_TRUE(stack.reopenAbove());

    const auto first = openDirectory(top_.get(), "a");
    EXPECT_EQ(identity(stack.descriptorAbove()), identity(first->get()));
}

TEST_F(DirectoryStackTest, HasNothingToOpenAboveTheFirst) {
    DirectoryStack<FileDescriptor> stack(1);
    enter(stack, 1);

    EXPECT_TRUE(stack.reopenAbove());
    stack.pop();
    EXPECT_TRUE(stack.empty());
}

TEST_F(DirectoryStackTest, ReadsTheEntriesOfADirectory) {
    DirectoryStack<DirectoryReader> stack(1);
    enter(stack, 2);

    EXPECT_EQ((*stack.top().next())->name, "a");
    EXPECT_FALSE(stack.top().next()->has_value());
}

} // namespace
